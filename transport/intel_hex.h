#pragma once
#include <cstdint>
#include <string_view>

namespace kavix::transport {

// Parses Intel HEX text (data records 00 and an end record 01, 16-bit
// addresses) into a memory image: `image[a]` holds the byte at address a and
// `mask[a]` is 1 where a record gave one, 0 elsewhere. Both buffers hold
// `capacity` bytes and are cleared first. `count` becomes the highest address
// given plus one. Result: 0, 13 for text that isn't a valid image (bad
// character, length, checksum, record type, no end record, text after it), or
// 122 when an address lies at or beyond `capacity`.
uint32_t parse_intel_hex(std::string_view text, uint8_t *image, uint8_t *mask, uint32_t capacity,
                         uint32_t &count);

}  // namespace kavix::transport
