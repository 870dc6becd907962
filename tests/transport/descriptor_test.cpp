// Configuration descriptors of virtual cameras and the USB speed they tell.
#include <gtest/gtest.h>

#include "transport/sim_fixture.h"

namespace kavix::test {
namespace {

using Descriptors = SimBusTest;

// The speed by the first bulk IN endpoint's packet size: below 65 full speed
// (0), below 513 high speed (1), else SuperSpeed (2); a descriptor set shorter
// than 10 bytes counts as high speed. Kept here as the reference of what a
// reader of the descriptors concludes.
int speed_of(const std::vector<uint8_t> &d) {
    if (d.size() < 10) return 1;
    for (size_t at = 0; at < d.size() && d[at] != 0; at += d[at]) {
        if (at + 6 > d.size()) break;
        if (d[at + 1] == 5 && (d[at + 2] & 0x80) && (d[at + 3] & 3) == 2) {
            const unsigned packet = d[at + 4] | d[at + 5] << 8;
            return packet < 65 ? 0 : packet < 513 ? 1 : 2;
        }
    }
    return 0;
}

std::vector<uint8_t> descriptor_of(KAVIXUSB_HANDLE h) {
    std::vector<uint8_t> d(1024);
    uint32_t length = 0;
    EXPECT_EQ(KavixUSBD_GetConfigDescriptor(h, d.data(), 1024, &length), 1);
    d.resize(length);
    return d;
}

TEST_F(Descriptors, SpeedFollowsTheBulkEndpointNotTheInterruptOne) {
    struct Case {
        uint8_t speed;
        bool interrupt_first;
        size_t length;
    };
    const Case cases[] = {
        {KAVIXSIM_SPEED_FULL, false, 25},  {KAVIXSIM_SPEED_HIGH, false, 25},
        {KAVIXSIM_SPEED_SUPER, false, 31}, {KAVIXSIM_SPEED_FULL, true, 32},
        {KAVIXSIM_SPEED_HIGH, true, 32},   {KAVIXSIM_SPEED_SUPER, true, 44},
    };
    for (const Case &k : cases) {
        plug(0x0810, [&](auto &c) {
            c.usb_speed = k.speed;
            c.interrupt_endpoint_first = k.interrupt_first;
        });
    }
    for (size_t i = 0; i < std::size(cases); ++i) {
        const Case &k = cases[i];
        const std::vector<uint8_t> d = descriptor_of(open(static_cast<uint32_t>(i)));
        ASSERT_EQ(d.size(), k.length) << i;
        EXPECT_EQ(d[0], 9);
        EXPECT_EQ(d[1], 2);
        EXPECT_EQ(u16(d, 2), k.length);  // total length
        EXPECT_EQ(d[9 + 1], 4);          // interface
        EXPECT_EQ(d[9 + 4], k.interrupt_first ? 2 : 1);
        EXPECT_EQ(speed_of(d), k.speed) << i;
        if (k.interrupt_first) {
            // The interrupt endpoint comes first, with a packet size that on
            // its own would read as full speed.
            EXPECT_EQ(d[18 + 1], 5);
            EXPECT_EQ(d[18 + 2], 0x81);
            EXPECT_EQ(d[18 + 3], 3);
            EXPECT_EQ(u16(d, 18 + 4), 64);
        }
        if (k.speed == KAVIXSIM_SPEED_SUPER) {
            // Each endpoint is followed by its SuperSpeed companion.
            EXPECT_EQ(d[d.size() - 6], 6);
            EXPECT_EQ(d[d.size() - 5], 0x30);
        }
    }
}

TEST_F(Descriptors, SmallBufferGets122AndTheNeededLength) {
    plug(0x0810);
    KAVIXUSB_HANDLE h = open(0);
    uint8_t small[8];
    uint32_t length = 0;
    EXPECT_EQ(KavixUSBD_GetConfigDescriptor(h, small, sizeof small, &length), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 122u);
    EXPECT_EQ(length, 25u);
    EXPECT_EQ(KavixUSBD_GetConfigDescriptor(h, nullptr, 0, &length), 0);
    EXPECT_EQ(length, 25u);
    EXPECT_EQ(KavixUSBD_GetConfigDescriptor(h, small, sizeof small, nullptr), 0);
    EXPECT_EQ(KavixUSBD_GetLastError(), 87u);
}

TEST(DescriptorWalk, ReferenceRulesOnHandMadeSets) {
    // Shorter than 10 bytes: high speed.
    EXPECT_EQ(speed_of({9, 2, 9, 0, 0, 1, 0, 0x80, 50}), 1);
    // A bulk OUT endpoint of 1024 ahead of a bulk IN of 512 decides nothing.
    EXPECT_EQ(speed_of({9, 2, 23, 0, 1, 1, 0, 0x80, 50, 7, 5, 0x01, 2, 0, 4, 0, 7, 5, 0x82, 2, 0,
                        2, 0}),
              1);
    // No bulk IN at all: full speed.
    EXPECT_EQ(speed_of({9, 2, 16, 0, 1, 1, 0, 0x80, 50, 7, 5, 0x81, 3, 64, 0, 4}), 0);
}

}  // namespace
}  // namespace kavix::test
