#pragma once
// Command-line options: a table of what a command accepts, a parser that
// applies each option as it meets it, and the help text made from the table.
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kavix::tool {

// A mistake in how the command was called: exit code 2 with a usage hint.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct OptionDef {
    char short_name;         // 0 for none
    std::string long_name;   // without the dashes
    std::string value_name;  // empty for a flag
    std::string help;
    std::function<void(std::string_view value)> apply;  // value empty for a flag
};

using OptionTables = std::vector<const std::vector<OptionDef> *>;

// Walks `args`, applying options from `tables`. Accepts --name value,
// --name=value, -x value, -xvalue and "--" to end the options. Returns the
// words that are not options, in order. Throws UsageError.
std::vector<std::string> parse_options(const std::vector<std::string> &args,
                                       const OptionTables &tables);

// The same up to the first word: returns its position in `args` (args.size()
// if there is none), having applied the options before it.
size_t parse_options_to_word(const std::vector<std::string> &args, const OptionTables &tables);

// The options as help lines: "  -n, --frames N    Frames to grab ...".
std::string format_options(const std::vector<OptionDef> &defs);

// Value parsers that name the option in their error.
uint32_t parse_uint(std::string_view option, std::string_view value, uint32_t min, uint32_t max);
double parse_number(std::string_view option, std::string_view value, double min, double max);
// "WxH", e.g. "640x480".
struct Size {
    uint32_t width;
    uint32_t height;
};
Size parse_size(std::string_view option, std::string_view value);
// A list of `count` whole numbers separated by commas, e.g. "128,128,160".
std::vector<uint32_t> parse_uint_list(std::string_view option, std::string_view value, size_t count,
                                      uint32_t max);

}  // namespace kavix::tool
