#pragma once
#include <cstdint>

// Little-endian fields of the hand-made file headers.
namespace kavix::stills {

inline void PutU16(uint8_t* at, uint16_t value) {
    at[0] = static_cast<uint8_t>(value);
    at[1] = static_cast<uint8_t>(value >> 8);
}

inline void PutU32(uint8_t* at, uint32_t value) {
    PutU16(at, static_cast<uint16_t>(value));
    PutU16(at + 2, static_cast<uint16_t>(value >> 16));
}

}  // namespace kavix::stills
