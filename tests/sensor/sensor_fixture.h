#pragma once
// A virtual camera opened through Kavix_Open, with what went over the wire.
#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <vector>

#include <cstring>
#include <functional>

#include "KavixD.h"
#include "KavixSim.h"
#include "session/export_frame.h"
#include "session/session.h"

namespace kavix::test {

inline constexpr uint8_t kRequestScanState = 18;
inline constexpr uint8_t kRequestShutterGain = 33;
inline constexpr uint8_t kRequestClock = 34;
inline constexpr uint8_t kRequestSoftTrigger = 48;
inline constexpr uint8_t kRequestStatus = 128;
inline constexpr uint8_t kRequestOut = 0x40;
inline constexpr uint8_t kRequestIn = 0xC0;

inline uint16_t le16(const uint8_t *p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
inline uint32_t le32(const uint8_t *p) { return le16(p) | (uint32_t{le16(p + 2)} << 16); }

// A scan mode and window, as the session or the camera has it.
struct Size {
    uint16_t mode = 0;
    uint32_t x = 0, y = 0, width = 0, height = 0;
};

inline void with_function(KavixSimCameraConfig &config, unsigned id, bool on) {
    const auto bit = static_cast<uint16_t>(1u << (id % 16));
    uint16_t &word = config.function_bits[id / 16];
    word = static_cast<uint16_t>(on ? word | bit : word & ~bit);
}

// A clean bus per test; open_model plugs a camera of a model, changed as the
// test wants, and opens it with Kavix_Open. A camera opened before is closed.
class SensorCameraTest : public ::testing::Test {
protected:
    void SetUp() override { KavixSim_UnplugAll(); }
    void TearDown() override {
        if (handle != nullptr) Kavix_Close(handle);
        KavixSim_UnplugAll();
    }

    void open_model(uint16_t product_id,
                    const std::function<void(KavixSimCameraConfig &)> &change = {}) {
        if (handle != nullptr) Kavix_Close(handle);
        handle = nullptr;
        KavixSim_UnplugAll();
        KavixSimCameraConfig config;
        ASSERT_NE(KavixSim_InitConfig(&config, product_id, 0), 0);
        if (change) change(config);
        camera = KavixSim_Plug(&config);
        ASSERT_NE(camera, 0u) << "the simulator refused the camera";
        handle = Kavix_Open(config.user_id);
        ASSERT_NE(handle, nullptr) << "open failed: " << std::hex << Kavix_GetLastError(nullptr);
    }

    Session &session() const { return *session_of(handle); }

    KavixSimCameraState state() const {
        KavixSimCameraState s;
        std::memset(&s, 0, sizeof s);
        EXPECT_NE(KavixSim_GetState(camera, &s), 0);
        return s;
    }

    uint16_t status_word(uint16_t id) const {
        uint16_t word = 0;
        EXPECT_NE(KavixSim_GetStatusWords(camera, 0, id, 1, &word), 0);
        return word;
    }

    std::vector<KavixSimControlRecord> wire() const {
        std::vector<KavixSimControlRecord> records(KAVIXSIM_CONTROL_LOG_SIZE);
        uint32_t count = 0;
        EXPECT_NE(KavixSim_GetControlLog(camera, records.data(), KAVIXSIM_CONTROL_LOG_SIZE, &count), 0);
        records.resize(count);
        return records;
    }
    void clear_wire() const { EXPECT_NE(KavixSim_ClearControlLog(camera), 0); }

    // The transfers of one request in one direction, in order.
    std::vector<KavixSimControlRecord> transfers(uint8_t request, uint8_t type) const {
        std::vector<KavixSimControlRecord> out;
        for (const KavixSimControlRecord &r : wire()) {
            if (r.request == request && r.request_type == type) out.push_back(r);
        }
        return out;
    }

    uint32_t last_error() const { return Kavix_GetLastError(handle); }

    Size session_size() const {
        Size s;
        EXPECT_NE(Kavix_GetImageSize(handle, nullptr, &s.mode, &s.x, &s.y, &s.width, &s.height), 0);
        return s;
    }
    Size camera_size() const {
        const KavixSimCameraState st = state();
        return Size{st.scan_mode, st.offset_x, st.offset_y, st.width, st.height};
    }

    KAVIXSIM_CAMERA camera = 0;
    KAVIX_HANDLE handle = nullptr;
};

inline bool operator==(const Size &a, const Size &b) {
    return a.mode == b.mode && a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height;
}
inline std::ostream &operator<<(std::ostream &o, const Size &s) {
    return o << "mode " << s.mode << " (" << s.x << "," << s.y << ") " << s.width << "x" << s.height;
}

}  // namespace kavix::test
