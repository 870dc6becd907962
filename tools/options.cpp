#include "tools/options.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>

namespace kavix::tool {

namespace {

const OptionDef *find_long(const OptionTables &defs,
                            std::string_view name) {
    for (const auto *table : defs)
        for (const OptionDef &s : *table)
            if (s.long_name == name) return &s;
    return nullptr;
}

const OptionDef *find_short(const OptionTables &defs, char name) {
    for (const auto *table : defs)
        for (const OptionDef &s : *table)
            if (s.short_name != 0 && s.short_name == name) return &s;
    return nullptr;
}

std::string display_name(const OptionDef &s) { return "--" + s.long_name; }

// The walk behind both parse functions: options are applied, words collected;
// with `stop_at_word` it ends at the first word. Returns where it ended.
size_t walk(const std::vector<std::string> &args, const OptionTables &defs, bool stop_at_word,
            std::vector<std::string> &words) {
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string &arg = args[i];
        if (arg == "--") {
            if (stop_at_word) return i + 1 < args.size() ? i + 1 : args.size();
            words.insert(words.end(), args.begin() + static_cast<long>(i) + 1, args.end());
            break;
        }
        if (arg.size() < 2 || arg[0] != '-') {
            if (stop_at_word) return i;
            words.push_back(arg);
            continue;
        }
        const OptionDef *def = nullptr;
        std::string value;
        bool has_value = false;
        if (arg[1] == '-') {
            const size_t eq = arg.find('=');
            const std::string name = arg.substr(2, eq == std::string::npos ? std::string::npos : eq - 2);
            def = find_long(defs, name);
            if (!def) throw UsageError("unknown option '--" + name + "'");
            if (eq != std::string::npos) {
                if (def->value_name.empty())
                    throw UsageError("option '--" + name + "' takes no value");
                value = arg.substr(eq + 1);
                has_value = true;
            }
        } else {
            def = find_short(defs, arg[1]);
            if (!def) throw UsageError(std::string("unknown option '-") + arg[1] + "'");
            if (arg.size() > 2) {
                if (def->value_name.empty())
                    throw UsageError(std::string("option '-") + arg[1] + "' takes no value (in '" +
                                     arg + "')");
                value = arg.substr(2);
                has_value = true;
            }
        }
        if (!def->value_name.empty() && !has_value) {
            if (i + 1 >= args.size())
                throw UsageError("option '" + display_name(*def) + "' needs a value (" +
                                 def->value_name + ")");
            value = args[++i];
        }
        def->apply(value);
    }
    return args.size();
}

}  // namespace

std::vector<std::string> parse_options(const std::vector<std::string> &args,
                                       const OptionTables &tables) {
    std::vector<std::string> words;
    walk(args, tables, false, words);
    return words;
}

size_t parse_options_to_word(const std::vector<std::string> &args, const OptionTables &tables) {
    std::vector<std::string> unused;
    return walk(args, tables, true, unused);
}

std::string format_options(const std::vector<OptionDef> &defs) {
    std::vector<std::string> heads;
    size_t width = 0;
    for (const OptionDef &s : defs) {
        std::string head = s.short_name ? std::string("-") + s.short_name + ", " : "    ";
        head += "--" + s.long_name;
        if (!s.value_name.empty()) head += " " + s.value_name;
        width = std::max(width, head.size());
        heads.push_back(std::move(head));
    }
    std::string out;
    for (size_t i = 0; i < defs.size(); ++i) {
        out += "  " + heads[i] + std::string(width - heads[i].size() + 2, ' ');
        // Continuation lines of the help line up under its first line.
        const std::string &help = defs[i].help;
        for (char c : help) {
            out += c;
            if (c == '\n') out += std::string(width + 4, ' ');
        }
        out += '\n';
    }
    return out;
}

uint32_t parse_uint(std::string_view option, std::string_view value, uint32_t min, uint32_t max) {
    uint64_t v = 0;
    int base = 10;
    std::string_view digits = value;
    if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
        base = 16;
        digits.remove_prefix(2);
    }
    const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), v, base);
    if (digits.empty() || ec != std::errc() || end != digits.data() + digits.size() || v < min ||
        v > max)
        throw UsageError(std::string(option) + ": expected a whole number from " +
                         std::to_string(min) + " to " + std::to_string(max) + ", got '" +
                         std::string(value) + "'");
    return static_cast<uint32_t>(v);
}

double parse_number(std::string_view option, std::string_view value, double min, double max) {
    const std::string text(value);
    char *end = nullptr;
    errno = 0;
    const double v = std::strtod(text.c_str(), &end);
    if (text.empty() || errno != 0 || *end != '\0' || !(v >= min && v <= max))
        throw UsageError(std::string(option) + ": expected a number from " + std::to_string(min) +
                         " to " + std::to_string(max) + ", got '" + text + "'");
    return v;
}

Size parse_size(std::string_view option, std::string_view value) {
    const size_t x = value.find_first_of("xX");
    if (x == std::string_view::npos)
        throw UsageError(std::string(option) + ": expected WIDTHxHEIGHT such as 640x480, got '" +
                         std::string(value) + "'");
    return {parse_uint(option, value.substr(0, x), 1, 65535),
            parse_uint(option, value.substr(x + 1), 1, 65535)};
}

std::vector<uint32_t> parse_uint_list(std::string_view option, std::string_view value, size_t count,
                                      uint32_t max) {
    std::vector<uint32_t> out;
    size_t start = 0;
    while (true) {
        const size_t comma = value.find(',', start);
        out.push_back(parse_uint(option, value.substr(start, comma - start), 0, max));
        if (comma == std::string_view::npos) break;
        start = comma + 1;
    }
    if (out.size() != count)
        throw UsageError(std::string(option) + ": expected " + std::to_string(count) +
                         " numbers separated by commas, got '" + std::string(value) + "'");
    return out;
}

}  // namespace kavix::tool
