#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

#include "KavixSim.h"
#include "KavixUSBD.h"

namespace kavix::test {

// A virtual bus emptied after every test.
class SimBusTest : public ::testing::Test {
protected:
    void TearDown() override {
        for (KAVIXUSB_HANDLE h : handles_) KavixUSBD_CloseDevice(h);
        KavixSim_UnplugAll();
    }

    static KavixSimCameraConfig config(uint16_t product_id, bool second_model = false) {
        KavixSimCameraConfig c;
        EXPECT_EQ(KavixSim_InitConfig(&c, product_id, second_model), 1);
        return c;
    }

    KAVIXSIM_CAMERA plug(const KavixSimCameraConfig &c) {
        const KAVIXSIM_CAMERA id = KavixSim_Plug(&c);
        EXPECT_NE(id, 0u) << "error " << KavixUSBD_GetLastError();
        return id;
    }
    KAVIXSIM_CAMERA plug(uint16_t product_id,
                         const std::function<void(KavixSimCameraConfig &)> &tweak = {}) {
        KavixSimCameraConfig c = config(product_id);
        if (tweak) tweak(c);
        return plug(c);
    }

    // Opens a device index; the handle is closed after the test.
    KAVIXUSB_HANDLE open(uint32_t index) {
        KAVIXUSB_HANDLE h = KavixUSBD_OpenDevice(index);
        EXPECT_NE(h, nullptr) << "index " << index << " error " << KavixUSBD_GetLastError();
        if (h) handles_.push_back(h);
        return h;
    }
    void close(KAVIXUSB_HANDLE h) {
        std::erase(handles_, h);
        EXPECT_EQ(KavixUSBD_CloseDevice(h), 1);
    }

private:
    std::vector<KAVIXUSB_HANDLE> handles_;
};

// One vendor transfer in, with what came back.
struct Reply {
    int32_t ok = 0;
    uint32_t error = 0;
    uint32_t transferred = 0;
    std::vector<uint8_t> data;
};

inline Reply vendor_in(KAVIXUSB_HANDLE h, uint8_t request, uint16_t length, uint16_t value = 0,
                       uint16_t index = 0) {
    Reply r;
    r.data.assign(length, 0xEE);
    KavixUSBD_SetLastError(0);
    r.ok = KavixUSBD_ControlTransfer(h, KAVIXUSBD_REQUEST_IN, request, value, index, length,
                                     r.data.data(), &r.transferred);
    r.error = KavixUSBD_GetLastError();
    return r;
}

inline Reply vendor_out(KAVIXUSB_HANDLE h, uint8_t request, std::vector<uint8_t> data,
                        uint16_t value = 0, uint16_t index = 0) {
    Reply r;
    r.data = std::move(data);
    KavixUSBD_SetLastError(0);
    r.ok = KavixUSBD_ControlTransfer(h, KAVIXUSBD_REQUEST_OUT, request, value, index,
                                     static_cast<uint16_t>(r.data.size()),
                                     r.data.empty() ? nullptr : r.data.data(), &r.transferred);
    r.error = KavixUSBD_GetLastError();
    return r;
}

inline uint16_t u16(const std::vector<uint8_t> &d, size_t at) {
    return static_cast<uint16_t>(d.at(at) | d.at(at + 1) << 8);
}
inline uint32_t u32(const std::vector<uint8_t> &d, size_t at) {
    return u16(d, at) | uint32_t{u16(d, at + 2)} << 16;
}
inline void put16(std::vector<uint8_t> &d, size_t at, uint16_t v) {
    d.at(at) = static_cast<uint8_t>(v);
    d.at(at + 1) = static_cast<uint8_t>(v >> 8);
}
inline void put32(std::vector<uint8_t> &d, size_t at, uint32_t v) {
    put16(d, at, static_cast<uint16_t>(v));
    put16(d, at + 2, static_cast<uint16_t>(v >> 16));
}

}  // namespace kavix::test
