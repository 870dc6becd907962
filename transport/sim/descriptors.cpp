#include "transport/sim/descriptors.h"

#include <cstddef>

#include "KavixSim.h"
#include "transport/wire.h"

namespace kavix::sim {

namespace {

constexpr uint8_t kTypeConfiguration = 2;
constexpr uint8_t kTypeInterface = 4;
constexpr uint8_t kTypeEndpoint = 5;
constexpr uint8_t kTypeSuperSpeedCompanion = 0x30;
constexpr uint8_t kAttributesBulk = 2;
constexpr uint8_t kAttributesInterrupt = 3;

// Byte by byte: g++ 12 misjudges range inserts into a growing vector.
void append(std::vector<uint8_t> &d, const uint8_t *bytes, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) d.push_back(bytes[i]);
}

void endpoint(std::vector<uint8_t> &d, uint8_t address, uint8_t attributes, uint16_t max_packet,
              uint8_t interval, bool super_speed) {
    uint8_t e[7] = {7, kTypeEndpoint, address, attributes, 0, 0, interval};
    transport::put_u16(e + 4, max_packet);
    append(d, e, 7);
    if (super_speed) {
        // Bulk: bursts of 16 packets; interrupt: one packet per interval.
        const bool bulk = attributes == kAttributesBulk;
        uint8_t c[6] = {6, kTypeSuperSpeedCompanion, static_cast<uint8_t>(bulk ? 15 : 0), 0, 0, 0};
        transport::put_u16(c + 4, bulk ? 0 : max_packet);
        append(d, c, 6);
    }
}

}  // namespace

std::vector<uint8_t> config_descriptor(uint8_t speed, bool interrupt_endpoint_first) {
    const bool super_speed = speed == KAVIXSIM_SPEED_SUPER;
    const uint16_t bulk_packet =
        speed == KAVIXSIM_SPEED_FULL ? 64 : speed == KAVIXSIM_SPEED_HIGH ? 512 : 1024;
    const uint8_t endpoints = interrupt_endpoint_first ? 2 : 1;

    const uint8_t configuration[9] = {9, kTypeConfiguration, 0, 0, 1, 1, 0, 0x80, 250};
    const uint8_t interface[9] = {9, kTypeInterface, 0, 0, endpoints, 0xFF, 0, 0, 0};
    std::vector<uint8_t> d;
    append(d, configuration, 9);
    append(d, interface, 9);
    if (interrupt_endpoint_first)
        endpoint(d, kInterruptInEndpoint, kAttributesInterrupt, 64,
                 speed == KAVIXSIM_SPEED_FULL ? 10 : 4, super_speed);
    endpoint(d, kBulkInEndpoint, kAttributesBulk, bulk_packet, 0, super_speed);
    transport::put_u16(d.data() + 2, static_cast<uint16_t>(d.size()));
    return d;
}

}  // namespace kavix::sim
