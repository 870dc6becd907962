#include "transport/intel_hex.h"

#include <cstring>
#include <vector>

#include "transport/windows_errors.h"

namespace kavix::transport {

namespace {

int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

// The bytes of one record line (without its colon), or false.
bool decode_line(std::string_view line, std::vector<uint8_t> &bytes) {
    if (line.size() % 2) return false;
    bytes.clear();
    for (size_t i = 0; i < line.size(); i += 2) {
        const int hi = hex_digit(line[i]), lo = hex_digit(line[i + 1]);
        if (hi < 0 || lo < 0) return false;
        bytes.push_back(static_cast<uint8_t>(hi << 4 | lo));
    }
    return true;
}

bool blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\0'; }

}  // namespace

uint32_t parse_intel_hex(std::string_view text, uint8_t *image, uint8_t *mask, uint32_t capacity,
                         uint32_t &count) {
    count = 0;
    std::memset(image, 0, capacity);
    std::memset(mask, 0, capacity);

    uint32_t highest = 0;
    bool ended = false;
    std::vector<uint8_t> bytes;
    size_t pos = 0;
    while (pos < text.size()) {
        size_t eol = text.find('\n', pos);
        if (eol == std::string_view::npos) eol = text.size();
        std::string_view line = text.substr(pos, eol - pos);
        pos = eol + 1;
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);

        if (ended) {
            // After the end record only padding may follow.
            for (char c : line)
                if (!blank(c)) return win::kInvalidData;
            continue;
        }
        if (line.empty()) continue;
        if (line[0] != ':' || !decode_line(line.substr(1), bytes) || bytes.size() < 5)
            return win::kInvalidData;
        const uint32_t length = bytes[0];
        if (bytes.size() != length + 5u) return win::kInvalidData;
        uint8_t sum = 0;
        for (uint8_t b : bytes) sum = static_cast<uint8_t>(sum + b);
        if (sum != 0) return win::kInvalidData;

        const uint32_t address = uint32_t{bytes[1]} << 8 | bytes[2];
        switch (bytes[3]) {
            case 0x00:
                if (address + length > capacity) return win::kInsufficientBuffer;
                std::memcpy(image + address, bytes.data() + 4, length);
                std::memset(mask + address, 1, length);
                if (length && address + length > highest) highest = address + length;
                break;
            case 0x01:
                if (length != 0) return win::kInvalidData;
                ended = true;
                break;
            default:
                return win::kInvalidData;  // no segment or linear addressing here
        }
    }
    if (!ended) return win::kInvalidData;
    count = highest;
    return win::kSuccess;
}

}  // namespace kavix::transport
