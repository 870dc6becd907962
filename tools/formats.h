#pragma once
// Names of the library's numbered formats, as the tool shows and accepts them.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kavix::tool {

// Transfer formats: "raw8" for KAVIX_TRANSFER_RAW8 and so on.
std::string transfer_format_name(uint32_t bits);
std::optional<uint32_t> transfer_format_by_name(std::string_view name);
// The names of the formats in a mask, in bit order, separated by spaces;
// `current` gets a "*".
std::string transfer_format_list(uint32_t mask, uint32_t current);
// Every transfer format name, for help texts: "raw8, raw10, ...".
std::string transfer_format_names();

// "mono", "Bayer R Gr / Gb B", ...
std::string color_array_name(uint16_t color_array);
// "mono8", "bgr24", "bgr32".
std::string preview_format_name(uint32_t format);

}  // namespace kavix::tool
