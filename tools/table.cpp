#include "tools/table.h"

#include <algorithm>

namespace kavix::tool {

void Table::print(std::FILE *out) const {
    std::vector<size_t> widths(headings_.size());
    for (size_t c = 0; c < headings_.size(); ++c) widths[c] = headings_[c].size();
    for (const auto &row : rows_)
        for (size_t c = 0; c < row.size() && c < widths.size(); ++c)
            widths[c] = std::max(widths[c], row[c].size());
    auto print_row = [&](const std::vector<std::string> &cells) {
        std::string line;
        for (size_t c = 0; c < widths.size(); ++c) {
            const std::string cell = c < cells.size() ? cells[c] : "";
            line += cell;
            if (c + 1 < widths.size()) line += std::string(widths[c] - cell.size() + 2, ' ');
        }
        std::fprintf(out, "%s\n", line.c_str());
    };
    print_row(headings_);
    for (const auto &row : rows_) print_row(row);
}

void Report::section(std::string title) { lines_.push_back({true, std::move(title), {}}); }

void Report::field(std::string label, std::string value) {
    lines_.push_back({false, std::move(label), std::move(value)});
}

void Report::print(std::FILE *out) const {
    size_t width = 0;
    for (const Line &l : lines_)
        if (!l.is_section) width = std::max(width, l.label.size());
    bool first = true;
    for (const Line &l : lines_) {
        if (l.is_section) {
            std::fprintf(out, "%s%s\n", first ? "" : "\n", l.label.c_str());
        } else {
            std::fprintf(out, "  %s%s  %s\n", l.label.c_str(),
                         std::string(width - l.label.size(), ' ').c_str(), l.value.c_str());
        }
        first = false;
    }
}

}  // namespace kavix::tool
