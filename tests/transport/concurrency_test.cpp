// Transfers from several threads at once on shared and separate handles,
// beside plugging and unplugging.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "transport/sim_fixture.h"

namespace kavix::test {
namespace {

using Concurrency = SimBusTest;

TEST_F(Concurrency, ControlTransfersFromManyThreads) {
    const KAVIXSIM_CAMERA cam = plug(0x0810);
    KAVIXUSB_HANDLE shared = open(0);
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            KAVIXUSB_HANDLE own = KavixUSBD_OpenDevice(0);
            if (!own) ++failures;
            for (int i = 0; i < 200; ++i) {
                KAVIXUSB_HANDLE h = (i % 2 && own) ? own : shared;
                Reply info = vendor_in(h, 17, 64);
                if (!info.ok || info.transferred != 64) ++failures;
                const uint16_t word = static_cast<uint16_t>(t * 1000 + i);
                if (!vendor_out(h, 128, {static_cast<uint8_t>(word), static_cast<uint8_t>(word >> 8)},
                                0x8000 | (t + 4))
                         .ok)
                    ++failures;
                Reply back = vendor_in(h, 128, 2, static_cast<uint16_t>(t + 4));
                if (u16(back.data, 0) != word) ++failures;  // each thread owns its id
                uint8_t eeprom[16];
                if (!KavixUSBD_ReadEeprom(h, 512, 527, eeprom, nullptr)) ++failures;
            }
            if (own) KavixUSBD_CloseDevice(own);
        });
    }
    for (auto &t : threads) t.join();
    EXPECT_EQ(failures.load(), 0);
    uint32_t count = 0;
    ASSERT_EQ(KavixUSBD_GetOpenCount(shared, &count), 1);
    EXPECT_EQ(count, 1u);
    KavixSimCameraState s;
    ASSERT_EQ(KavixSim_GetState(cam, &s), 1);
    EXPECT_GE(s.control_transfers, 4u * 200 * 3);
}

TEST_F(Concurrency, UnplugWhileTransfersRun) {
    const KAVIXSIM_CAMERA cam = plug(0x0810);
    KAVIXUSB_HANDLE h = open(0);
    std::atomic<bool> started{false};
    std::atomic<int> bad_errors{0};
    std::thread worker([&] {
        for (;;) {
            Reply r = vendor_in(h, 18, 64);
            started = true;
            if (!r.ok) {
                if (r.error != 1167) ++bad_errors;
                return;
            }
        }
    });
    while (!started) std::this_thread::yield();
    ASSERT_EQ(KavixSim_Unplug(cam), 1);
    worker.join();
    EXPECT_EQ(bad_errors.load(), 0);
}

}  // namespace
}  // namespace kavix::test
