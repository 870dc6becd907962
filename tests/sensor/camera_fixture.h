#pragma once
// Virtual cameras for the model, format, FPGA and memory tests: a clean bus
// per test, a camera of a chosen model opened through Kavix_Open, and the
// camera's own view of what happened.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "KavixD.h"
#include "KavixSim.h"
#include "session/export_frame.h"
#include "session/session.h"

namespace kavix::test {

inline void set_function_bit(KavixSimCameraConfig &config, unsigned id, bool on) {
    const auto bit = static_cast<uint16_t>(1u << (id % 16));
    if (on)
        config.function_bits[id / 16] = static_cast<uint16_t>(config.function_bits[id / 16] | bit);
    else
        config.function_bits[id / 16] = static_cast<uint16_t>(config.function_bits[id / 16] & ~bit);
}

class VirtualCameraTest : public ::testing::Test {
protected:
    void SetUp() override { KavixSim_UnplugAll(); }
    void TearDown() override {
        if (handle != nullptr) Kavix_Close(handle);
        KavixSim_UnplugAll();
    }

    static KavixSimCameraConfig config_of(uint16_t product_id, bool second_model = false) {
        KavixSimCameraConfig config;
        EXPECT_NE(KavixSim_InitConfig(&config, product_id, second_model ? 1 : 0), 0);
        return config;
    }

    // Plugs a camera of `config` in and opens it; `camera` and `handle` are
    // then the camera and its session. A camera opened before is closed.
    void open(const KavixSimCameraConfig &config) {
        if (handle != nullptr) Kavix_Close(handle);
        handle = nullptr;
        KavixSim_UnplugAll();
        camera = KavixSim_Plug(&config);
        ASSERT_NE(camera, 0u) << "the simulator refused the camera";
        handle = Kavix_Open(config.user_id);
        ASSERT_NE(handle, nullptr) << "open failed: " << std::hex << Kavix_GetLastError(nullptr);
    }
    void open_model(uint16_t product_id, const std::function<void(KavixSimCameraConfig &)> &change = {}) {
        KavixSimCameraConfig config = config_of(product_id);
        if (change) change(config);
        open(config);
    }

    Session &session() { return *session_of(handle); }

    KavixSimCameraState state() const {
        KavixSimCameraState s;
        std::memset(&s, 0, sizeof s);
        EXPECT_NE(KavixSim_GetState(camera, &s), 0);
        return s;
    }
    uint32_t transfers() const { return state().control_transfers; }

    uint16_t status_word(uint16_t id) const {
        uint16_t word = 0;
        EXPECT_NE(KavixSim_GetStatusWords(camera, 0, id, 1, &word), 0);
        return word;
    }

    KAVIXSIM_CAMERA camera = 0;
    KAVIX_HANDLE handle = nullptr;
};

}  // namespace kavix::test
