#pragma once
// Virtual cameras for the session tests: a clean bus per test and a few
// shorthand configurations.
#include <gtest/gtest.h>

#include <cstring>

#include "KavixD.h"
#include "KavixSim.h"
#include "KavixUSBD.h"

namespace kavix::test {

inline KavixSimCameraConfig camera_config(uint16_t product_id, uint32_t user_id = 0) {
    KavixSimCameraConfig config;
    EXPECT_NE(KavixSim_InitConfig(&config, product_id, 0), 0);
    config.user_id = user_id;
    return config;
}

inline KAVIXSIM_CAMERA plug(const KavixSimCameraConfig &config) {
    const KAVIXSIM_CAMERA camera = KavixSim_Plug(&config);
    EXPECT_NE(camera, 0u) << "last error " << KavixUSBD_GetLastError();
    return camera;
}

inline KAVIXSIM_CAMERA plug_camera(uint32_t user_id, uint16_t product_id = 0x0210) {
    return plug(camera_config(product_id, user_id));
}

inline KavixSimCameraState camera_state(KAVIXSIM_CAMERA camera) {
    KavixSimCameraState state;
    std::memset(&state, 0, sizeof state);
    EXPECT_NE(KavixSim_GetState(camera, &state), 0);
    return state;
}

inline uint32_t user_id_of(KAVIX_HANDLE session) {
    uint32_t id = 0;
    char text[64];
    EXPECT_NE(Kavix_ReadCameraUserIDA(session, &id, text, sizeof text), 0);
    return id;
}

// How many clients hold the device at `index`, not counting the asker.
inline uint32_t other_clients(uint32_t index) {
    KAVIXUSB_HANDLE device = KavixUSBD_OpenDevice(index);
    if (device == nullptr) return 0;
    uint32_t count = 0;
    EXPECT_NE(KavixUSBD_GetOpenCount(device, &count), 0);
    KavixUSBD_CloseDevice(device);
    return count - 1;
}

class SimBus : public ::testing::Test {
protected:
    void SetUp() override { KavixSim_UnplugAll(); }
    void TearDown() override { KavixSim_UnplugAll(); }
};

}  // namespace kavix::test
