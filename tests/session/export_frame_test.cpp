#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "session/export_frame.h"

namespace kavix {
namespace {

// Any non-null value serves: validation only tests the pointer.
KAVIXUSB_HANDLE fake_transport() { return reinterpret_cast<KAVIXUSB_HANDLE>(uintptr_t{0x1000}); }

TEST(ExportFrame, NullHandleSetsTheGlobalError) {
    set_global_last_error(0);
    EXPECT_EQ(validate(nullptr), nullptr);
    EXPECT_EQ(global_last_error(), KAVIX_E_BAD_HANDLE);
    EXPECT_EQ(session_export(nullptr, [](Session &) { return 1; }), 0);
}

TEST(ExportFrame, HandleWithoutTransportSetsTheSessionError) {
    set_global_last_error(0);
    Session s;
    bool ran = false;
    EXPECT_EQ(session_export(handle_of(&s), [&](Session &) { ran = true; return 1; }), 0);
    EXPECT_FALSE(ran);
    EXPECT_EQ(s.last_error(), KAVIX_E_BAD_HANDLE);
    EXPECT_EQ(global_last_error(), 0u);
}

TEST(ExportFrame, SuccessKeepsTheLastErrorAndPassesTheResultOn) {
    Session s;
    s.transport.TransportHandle = fake_transport();
    s.set_error(KAVIX_E_TRANSFER_FAILED);
    EXPECT_EQ(session_export(handle_of(&s), [](Session &) { return 0x10000u; }), 0x10000);
    EXPECT_EQ(s.last_error(), KAVIX_E_TRANSFER_FAILED);
    EXPECT_EQ(session_export(handle_of(&s), [](Session &x) { return x.fail(87); }), 0);
    EXPECT_EQ(s.last_error(), 87u);
}

TEST(ExportFrame, ExceptionsBecomeErrorNumbers) {
    struct Case {
        void (*thrower)();
        uint32_t error;
    };
    const Case cases[] = {
        {[] { throw std::bad_alloc(); }, KAVIX_ERROR_NOT_ENOUGH_MEMORY},
        {[] { throw std::length_error("vector"); }, KAVIX_ERROR_NOT_ENOUGH_MEMORY},
        {[] { throw std::invalid_argument("x"); }, KAVIX_ERROR_INVALID_PARAMETER},
        {[] { throw 5; }, KAVIX_ERROR_INVALID_PARAMETER},
    };
    for (const Case &c : cases) {
        Session s;
        s.transport.TransportHandle = fake_transport();
        EXPECT_EQ(session_export(handle_of(&s), [&](Session &) { c.thrower(); return 1; }), 0);
        EXPECT_EQ(s.last_error(), c.error);

        set_global_last_error(0);
        EXPECT_EQ(global_export<KAVIX_HANDLE>(nullptr, [&]() -> KAVIX_HANDLE {
                      c.thrower();
                      return handle_of(&s);
                  }),
                  nullptr);
        EXPECT_EQ(global_last_error(), c.error);
    }
}

TEST(SessionRecord, ConstructionDefaults) {
    Session s;
    EXPECT_EQ(s.usb(), nullptr);
    EXPECT_EQ(s.info.ClockMax, 24545455u);
    EXPECT_EQ(s.info.ClockMin, 24545455u);
    EXPECT_EQ(s.info.ClockDefault, 24545455u);
    EXPECT_EQ(s.info.Reserved3, 130u);
    EXPECT_EQ(s.info.MaxWidth, 0u);
    EXPECT_EQ(s.mode.Width, 0u);
    EXPECT_EQ(s.defaults.MaxGain, 255);
    EXPECT_EQ(s.processing.InterpolationMethod[0], 3);
    EXPECT_EQ(s.processing.InterpolationMethod[1], 3);
    EXPECT_EQ(s.preview.ColorKey, 0xFF00FFu);
    EXPECT_EQ(s.recorder.AVIBufferCount, 10u);
    EXPECT_EQ(s.recorder.AVIQuality, 75u);
    EXPECT_EQ(s.last_error(), 0u);
    for (uint16_t w : s.functions) EXPECT_EQ(w, 0);
}

}  // namespace
}  // namespace kavix
