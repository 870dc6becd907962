#pragma once
#include <cstdint>

namespace kavix {

// The library's own version, as the build stamped it: major, minor, patch.
struct LibraryVersion {
    uint32_t major;
    uint32_t minor;
    uint32_t patch;
};

LibraryVersion library_version();

}  // namespace kavix
