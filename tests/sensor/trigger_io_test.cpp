// Trigger and I/O against virtual cameras: one status transfer per call,
// with its id, and nothing on models without an FPGA.
#include <gtest/gtest.h>

#include "sensor/sensor_fixture.h"
#include "sensor/trigger_io.h"
#include "session/session.h"

namespace kavix::test {
namespace {

constexpr uint16_t kColourModel = 0x0810;
constexpr uint16_t kLedModel = 0x0609;       // an FPGA model with function 5
constexpr uint16_t kModelWithoutFpga = 0x0305;

class TriggerIo : public SensorCameraTest {
protected:
    void SetUp() override {
        SensorCameraTest::SetUp();
        open_model(kColourModel);
        clear_wire();
    }
    // The one status transfer a call made.
    KavixSimControlRecord only_status_transfer() const {
        const auto all = wire();
        EXPECT_EQ(all.size(), 1u);
        return all.empty() ? KavixSimControlRecord{} : all.front();
    }
};

TEST_F(TriggerIo, TriggerTimingTypesMapToTheirStatusIds) {
    struct Case {
        uint32_t type;
        uint16_t id;
    };
    const Case cases[] = {{0, 50}, {1, 52}, {2, 54}, {3, 56}, {4, 58}, {5, 60}, {6, 50}, {99, 50},
                          {0xFFFFFFFF, 50}};
    for (const Case &c : cases) {
        EXPECT_EQ(sensor::trigger_timing_status_id(c.type), c.id) << c.type;
        clear_wire();
        ASSERT_NE(Kavix_SetTriggerTiming(handle, c.type, 0x12345678u + c.type), 0);
        const KavixSimControlRecord w = only_status_transfer();
        EXPECT_EQ(w.request, kRequestStatus);
        EXPECT_EQ(w.request_type, kRequestOut);
        EXPECT_EQ(w.value, 0x8000 | c.id) << c.type;
        EXPECT_EQ(w.index, 0);
        EXPECT_EQ(w.length, 4);
        EXPECT_EQ(le32(w.data), 0x12345678u + c.type);
        uint32_t value = 0;
        clear_wire();
        ASSERT_NE(Kavix_GetTriggerTiming(handle, c.type, &value), 0);
        EXPECT_EQ(only_status_transfer().value, c.id);
        // The last write to the id stands; an unknown type shares 50.
        uint16_t words[2] = {};
        ASSERT_NE(KavixSim_GetStatusWords(camera, 0, c.id, 2, words), 0);
        EXPECT_EQ(value, words[0] | (uint32_t{words[1]} << 16));
    }
}

TEST_F(TriggerIo, TriggerTiming99WritesStatus0x8032) {
    ASSERT_NE(Kavix_SetTriggerTiming(handle, 99, 0xCAFE), 0);
    EXPECT_EQ(only_status_transfer().value, 0x8032);
    EXPECT_EQ(status_word(50), 0xCAFE);
}

TEST_F(TriggerIo, TriggerModeIsWrittenAndTheScanStateReadBack) {
    ASSERT_NE(Kavix_SetTriggerMode(handle, 0x00030001), 0);
    const auto writes = transfers(kRequestStatus, kRequestOut);
    ASSERT_EQ(writes.size(), 1u);
    EXPECT_EQ(writes[0].value, 0x8030);
    EXPECT_EQ(writes[0].length, 4);
    EXPECT_EQ(le32(writes[0].data), 0x00030001u);
    EXPECT_EQ(transfers(kRequestScanState, kRequestIn).size(), 1u);
    EXPECT_EQ(state().trigger_mode, 0x00030001u);
    uint32_t flags = 0;
    ASSERT_NE(Kavix_GetTriggerMode(handle, &flags), 0);
    EXPECT_EQ(flags, 0x00030001u);
}

TEST_F(TriggerIo, AFailedTriggerModeWriteReadsNothingBack) {
    ASSERT_NE(KavixSim_SetRequestFault(camera, kRequestStatus, KAVIXSIM_FAULT_FAIL, 0, 1), 0);
    EXPECT_EQ(Kavix_SetTriggerMode(handle, 1), 0);
    EXPECT_EQ(last_error(), KAVIX_E_TRANSFER_FAILED);
    EXPECT_TRUE(transfers(kRequestScanState, kRequestIn).empty());
}

TEST_F(TriggerIo, SoftTriggersAndPulses) {
    ASSERT_EQ(Kavix_SoftTrigger(handle), 1);
    auto w = only_status_transfer();
    EXPECT_EQ(w.request, kRequestSoftTrigger);
    EXPECT_EQ(w.request_type, kRequestOut);
    EXPECT_EQ(w.length, 0);
    EXPECT_EQ(state().soft_triggers, 1u);

    struct Case {
        KAVIX_BOOL (*call)(KAVIX_HANDLE);
        uint16_t bits;
    };
    for (const Case c : {Case{Kavix_SoftSubTrigger, 0x4000}, Case{Kavix_TriggerReadOut, 4}}) {
        clear_wire();
        ASSERT_NE(c.call(handle), 0);
        w = only_status_transfer();
        EXPECT_EQ(w.value, 80) << "the pulse word has no write bit";
        EXPECT_EQ(w.length, 2);
        EXPECT_EQ(le16(w.data), c.bits);
    }
}

TEST_F(TriggerIo, AFailedSoftTriggerFails) {
    ASSERT_NE(KavixSim_SetRequestFault(camera, kRequestSoftTrigger, KAVIXSIM_FAULT_FAIL, 0, 1), 0);
    EXPECT_EQ(Kavix_SoftTrigger(handle), 0);
    EXPECT_EQ(last_error(), KAVIX_E_TRANSFER_FAILED);
}

TEST_F(TriggerIo, IoPinWordsGoToTheirIds) {
    struct Case {
        KAVIX_BOOL (*set)(KAVIX_HANDLE, uint16_t);
        KAVIX_BOOL (*get)(KAVIX_HANDLE, uint32_t *);
        uint16_t id;
    };
    const Case cases[] = {{Kavix_SetIOPinDirection, Kavix_GetIOPinDirection, 0},
                          {Kavix_SetIOPinPolarity, Kavix_GetIOPinPolarity, 1},
                          {Kavix_SetIOPinStatus, Kavix_GetIOPinStatus, 2}};
    for (const Case &c : cases) {
        clear_wire();
        ASSERT_NE(c.set(handle, static_cast<uint16_t>(0xA5 + c.id)), 0);
        auto w = only_status_transfer();
        EXPECT_EQ(w.value, 0x8000 | c.id);
        EXPECT_EQ(w.length, 2);
        EXPECT_EQ(le16(w.data), 0xA5 + c.id);
        uint32_t bits = 0xFFFFFFFF;
        clear_wire();
        ASSERT_NE(c.get(handle, &bits), 0);
        EXPECT_EQ(only_status_transfer().value, c.id);
        EXPECT_EQ(bits, 0xA5u + c.id) << "the low 16 bits, the rest clear";
    }
    for (uint32_t pin = 0; pin < 4; ++pin) {
        clear_wire();
        ASSERT_NE(Kavix_SetIOPinMode(handle, pin, static_cast<uint16_t>(10 + pin)), 0);
        EXPECT_EQ(only_status_transfer().value, 0x8000 | (4 + pin));
        uint32_t mode = 0;
        ASSERT_NE(Kavix_GetIOPinMode(handle, pin, &mode), 0);
        EXPECT_EQ(mode, 10u + pin);
    }
}

TEST_F(TriggerIo, PinsFromFourOnAreRefusedBeforeTheHandle) {
    uint32_t mode = 7;
    EXPECT_EQ(Kavix_SetIOPinMode(handle, 4, 1), 0);
    EXPECT_EQ(last_error(), 87u);
    EXPECT_EQ(Kavix_GetIOPinMode(handle, 0xFFFFFFFF, &mode), 0);
    EXPECT_EQ(last_error(), 87u);
    EXPECT_EQ(mode, 7u) << "that path leaves the output alone";
    EXPECT_TRUE(wire().empty());
    // With no session the error goes to the process-wide word.
    EXPECT_EQ(Kavix_SetIOPinMode(nullptr, 4, 1), 0);
    EXPECT_EQ(Kavix_GetLastError(nullptr), 87u);
    EXPECT_EQ(Kavix_SetIOPinMode(nullptr, 3, 1), 0);
    EXPECT_EQ(Kavix_GetLastError(nullptr), KAVIX_E_BAD_HANDLE);
}

TEST_F(TriggerIo, FailedReadsWriteZero) {
    using Get = KAVIX_BOOL (*)(KAVIX_HANDLE, uint32_t *);
    const Get gets[] = {Kavix_GetTriggerMode, Kavix_GetIOPinDirection, Kavix_GetIOPinPolarity,
                        Kavix_GetIOPinStatus, Kavix_GetSwStatus};
    const uint16_t ones[2] = {0xFFFF, 0xFFFF};
    for (uint16_t id : {0, 1, 2, 48, 49}) ASSERT_NE(KavixSim_SetStatusWords(camera, 0, id, 1, ones), 0);
    for (const Get get : gets) {
        ASSERT_NE(KavixSim_SetRequestFault(camera, kRequestStatus, KAVIXSIM_FAULT_FAIL, 0, 1), 0);
        uint32_t value = 0xDEADBEEF;
        EXPECT_EQ(get(handle, &value), 0);
        EXPECT_EQ(value, 0u);
        EXPECT_EQ(last_error(), KAVIX_E_TRANSFER_FAILED);
    }
    ASSERT_NE(KavixSim_SetRequestFault(camera, kRequestStatus, KAVIXSIM_FAULT_FAIL, 0, 1), 0);
    uint32_t value = 0xDEADBEEF;
    EXPECT_EQ(Kavix_GetTriggerTiming(handle, 1, &value), 0);
    EXPECT_EQ(value, 0u);
    ASSERT_NE(KavixSim_SetRequestFault(camera, kRequestStatus, KAVIXSIM_FAULT_FAIL, 0, 1), 0);
    value = 0xDEADBEEF;
    EXPECT_EQ(Kavix_GetIOPinMode(handle, 2, &value), 0);
    EXPECT_EQ(value, 0u);
}

TEST_F(TriggerIo, SwitchStatusIsStatus102) {
    const uint16_t switches = 0x0005;
    ASSERT_NE(KavixSim_SetStatusWords(camera, 0, 102, 1, &switches), 0);
    uint32_t value = 0;
    ASSERT_NE(Kavix_GetSwStatus(handle, &value), 0);
    EXPECT_EQ(value, 5u);
    EXPECT_EQ(only_status_transfer().value, 102);
}

TEST_F(TriggerIo, NullOutputsAreRefused) {
    EXPECT_EQ(Kavix_GetTriggerMode(handle, nullptr), 0);
    EXPECT_EQ(last_error(), 87u);
    EXPECT_EQ(Kavix_GetIOPinStatus(handle, nullptr), 0);
    EXPECT_EQ(Kavix_GetIOExistence(handle, nullptr), 0);
    EXPECT_EQ(Kavix_GetLEDExistence(handle, nullptr), 0);
    EXPECT_EQ(Kavix_GetEnableTriggerVersion(handle, nullptr), 0);
    EXPECT_EQ(last_error(), 87u);
    EXPECT_TRUE(wire().empty());
}

TEST_F(SensorCameraTest, WithoutAnFpgaEveryTriggerAndIoCallFails) {
    open_model(kModelWithoutFpga);
    clear_wire();
    uint32_t value = 0xDEADBEEF;
    const auto expect_no_fpga = [&](KAVIX_BOOL result, const char *what) {
        EXPECT_EQ(result, 0) << what;
        EXPECT_EQ(last_error(), KAVIX_E_NO_FPGA) << what;
    };
    expect_no_fpga(Kavix_SoftTrigger(handle), "SoftTrigger");
    expect_no_fpga(Kavix_SoftSubTrigger(handle), "SoftSubTrigger");
    expect_no_fpga(Kavix_TriggerReadOut(handle), "TriggerReadOut");
    expect_no_fpga(Kavix_SetTriggerMode(handle, 1), "SetTriggerMode");
    expect_no_fpga(Kavix_GetTriggerMode(handle, &value), "GetTriggerMode");
    EXPECT_EQ(value, 0u);
    expect_no_fpga(Kavix_SetTriggerTiming(handle, 1, 1), "SetTriggerTiming");
    expect_no_fpga(Kavix_GetTriggerTiming(handle, 1, &value), "GetTriggerTiming");
    expect_no_fpga(Kavix_SetIOPinDirection(handle, 1), "SetIOPinDirection");
    expect_no_fpga(Kavix_GetIOPinPolarity(handle, &value), "GetIOPinPolarity");
    expect_no_fpga(Kavix_SetIOPinMode(handle, 0, 1), "SetIOPinMode");
    expect_no_fpga(Kavix_GetSwStatus(handle, &value), "GetSwStatus");
    EXPECT_TRUE(wire().empty());
    // The capability answers need no FPGA: none there.
    ASSERT_NE(Kavix_GetIOExistence(handle, &value), 0);
    EXPECT_EQ(value, 0u);
    ASSERT_NE(Kavix_GetLEDExistence(handle, &value), 0);
    EXPECT_EQ(value, 0u);
    ASSERT_NE(Kavix_GetEnableTriggerVersion(handle, &value), 0);
    EXPECT_EQ(value, session().info.EnableTriggerVersion);
}

TEST_F(SensorCameraTest, IoExistenceComesFromWord6WithFunction66) {
    struct Case {
        bool function66;
        uint16_t word6;
        uint32_t pins;
    };
    for (const Case c : {Case{true, 0x0000, 0}, Case{true, 0x0003, 3}, Case{true, 0x00FF, 0xFF},
                         Case{false, 0x0000, 15}, Case{false, 0x0003, 15}}) {
        open_model(kColourModel, [&](KavixSimCameraConfig &config) {
            with_function(config, 66, c.function66);
            config.function_bits[6] = c.word6;
        });
        uint32_t pins = 0xDEAD;
        ASSERT_NE(Kavix_GetIOExistence(handle, &pins), 0);
        EXPECT_EQ(pins, c.pins) << c.function66 << " " << c.word6;
    }
}

TEST_F(SensorCameraTest, LedExistenceMapsOnlyTheTwoKnownMasks) {
    for (uint32_t mask = 0; mask < 32; ++mask) {
        const uint32_t expected = mask == 1 ? 3 : mask == 2 ? 1 : 0;
        EXPECT_EQ(sensor::led_existence(mask), expected) << mask;
    }
    struct Case {
        std::vector<unsigned> functions;
        uint32_t leds;
    };
    const Case cases[] = {{{}, 0}, {{5}, 3}, {{76}, 1}, {{5, 76}, 0}, {{77}, 0}, {{79}, 0}, {{76, 77}, 0}};
    for (const Case &c : cases) {
        open_model(kLedModel, [&](KavixSimCameraConfig &config) {
            for (unsigned f : {5u, 76u, 77u, 78u, 79u}) with_function(config, f, false);
            for (unsigned f : c.functions) with_function(config, f, true);
        });
        uint32_t leds = 0xDEAD;
        ASSERT_NE(Kavix_GetLEDExistence(handle, &leds), 0);
        EXPECT_EQ(leds, c.leds) << "functions " << c.functions.size();
    }
}

}  // namespace
}  // namespace kavix::test
