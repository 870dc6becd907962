#pragma once
// The version the build stamps into the library file, read back from the file
// that holds the running code: an ELF note (name "Kavix", type 1) with four
// u32 words, laid out as Windows file version information is: file version
// high and low, product version high and low; high = major << 16 | minor,
// low = patch << 16 | build.
#include <cstdint>
#include <string>

namespace kavix::sensor {

struct ModuleVersion {
    uint32_t file_high = 0;
    uint32_t file_low = 0;
    uint32_t product_high = 0;
    uint32_t product_low = 0;
};

inline constexpr char kVersionNoteName[] = "Kavix";
inline constexpr uint32_t kVersionNoteType = 1;

// The file the library's code was loaded from; empty if it can't be told.
std::string own_module_path();

// Reads the version note from the ELF file at `path`. False, with `version`
// untouched, when the file can't be read, isn't a 64-bit little-endian ELF
// file, or carries no such note.
bool read_module_version(const std::string &path, ModuleVersion &version);

}  // namespace kavix::sensor
