#pragma once
// Firmware images for the tests: a controller program of made-up bytes,
// written as Intel HEX text the way the vendor images are laid out (records
// of at most 16 bytes, 16-bit addresses, line feeds only, an end record).
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace kavix::test {

// Bytes by address; gaps are allowed.
using ProgramImage = std::map<uint16_t, uint8_t>;

// A program shaped like the vendor images: a reset vector, interrupt vectors
// and a body of code, with `seed` varying the bytes.
inline ProgramImage make_program(uint8_t seed, uint32_t body_bytes = 2000) {
    ProgramImage program;
    // Reset vector: a long jump to 0x0100.
    program[0] = 0x02;
    program[1] = 0x01;
    program[2] = 0x00;
    for (uint16_t vector : {0x0B, 0x13, 0x1B, 0x23, 0x2B, 0x3B, 0x43, 0x4B, 0x53}) {
        program[vector] = 0x32;  // return from interrupt
    }
    for (uint32_t i = 0; i < body_bytes; ++i) {
        program[static_cast<uint16_t>(0x0100 + i)] = static_cast<uint8_t>(i * 7 + seed);
    }
    return program;
}

inline std::string hex_record(uint16_t address, uint8_t type, const std::vector<uint8_t> &data) {
    char text[16];
    std::string line = ":";
    uint8_t sum = static_cast<uint8_t>(data.size() + (address >> 8) + (address & 0xFF) + type);
    std::snprintf(text, sizeof text, "%02X%04X%02X", static_cast<unsigned>(data.size()),
                  static_cast<unsigned>(address), static_cast<unsigned>(type));
    line += text;
    for (uint8_t byte : data) {
        std::snprintf(text, sizeof text, "%02X", static_cast<unsigned>(byte));
        line += text;
        sum = static_cast<uint8_t>(sum + byte);
    }
    std::snprintf(text, sizeof text, "%02X", static_cast<unsigned>(static_cast<uint8_t>(-sum)));
    line += text;
    line += '\n';
    return line;
}

// Intel HEX text of `program`: runs of consecutive bytes cut into records of
// at most 16 bytes, then the end record.
inline std::string to_intel_hex(const ProgramImage &program) {
    std::string text;
    std::vector<uint8_t> run;
    uint16_t run_start = 0;
    uint32_t next = 0x10000;  // the address a continuing run would have
    auto flush = [&] {
        if (!run.empty()) text += hex_record(run_start, 0x00, run);
        run.clear();
    };
    for (const auto &[address, byte] : program) {
        if (address != next || run.size() == 16) {
            flush();
            run_start = address;
        }
        run.push_back(byte);
        next = uint32_t{address} + 1;
    }
    flush();
    text += hex_record(0, 0x01, {});
    return text;
}

// A fresh directory for firmware images, removed again by the destructor.
class FirmwareDirectory {
public:
    FirmwareDirectory() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "kavix-firmware-XXXXXX").string();
        std::vector<char> name(pattern.begin(), pattern.end());
        name.push_back('\0');
        if (::mkdtemp(name.data()) != nullptr) path_ = name.data();
    }
    ~FirmwareDirectory() {
        std::error_code ignored;
        if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
    }
    FirmwareDirectory(const FirmwareDirectory &) = delete;
    FirmwareDirectory &operator=(const FirmwareDirectory &) = delete;

    const std::string &path() const { return path_; }

    void write(const std::string &file_name, const std::string &content) const {
        std::ofstream out(std::filesystem::path(path_) / file_name, std::ios::binary);
        out << content;
    }
    void write_image(uint16_t resource_id, const ProgramImage &program) const {
        write(std::to_string(resource_id) + ".hex", to_intel_hex(program));
    }

private:
    std::string path_;
};

}  // namespace kavix::test
