#pragma once
// Aligned text output: a table with a heading row (for `list`), and a
// report of labelled values in sections (for `info`).
#include <cstdio>
#include <string>
#include <vector>

namespace kavix::tool {

class Table {
public:
    explicit Table(std::vector<std::string> headings) : headings_(std::move(headings)) {}
    void add(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
    void print(std::FILE *out) const;

private:
    std::vector<std::string> headings_;
    std::vector<std::vector<std::string>> rows_;
};

class Report {
public:
    void section(std::string title);
    void field(std::string label, std::string value);
    void print(std::FILE *out) const;

private:
    struct Line {
        bool is_section;
        std::string label;
        std::string value;
    };
    std::vector<Line> lines_;
};

}  // namespace kavix::tool
