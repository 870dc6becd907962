#pragma once
#include <cstdint>

namespace kavix::transport {

// Little-endian fields of the camera's records.
inline void put_u16(uint8_t *p, uint16_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}
inline void put_u32(uint8_t *p, uint32_t v) {
    put_u16(p, static_cast<uint16_t>(v));
    put_u16(p + 2, static_cast<uint16_t>(v >> 16));
}
inline uint16_t get_u16(const uint8_t *p) {
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}
inline uint32_t get_u32(const uint8_t *p) {
    return get_u16(p) | (uint32_t{get_u16(p + 2)} << 16);
}

}  // namespace kavix::transport
