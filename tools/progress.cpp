#include "tools/progress.h"

#include <unistd.h>

#include <cstdio>

namespace kavix::tool {

bool stdout_is_terminal() { return isatty(STDOUT_FILENO) == 1; }

Progress::Progress(std::string label, uint64_t total, bool live)
    : label_(std::move(label)), total_(total), live_(live) {}

Progress::Progress(std::string label, uint64_t total)
    : Progress(std::move(label), total, stdout_is_terminal()) {}

Progress::~Progress() { finish(); }

void Progress::update(uint64_t done, const std::string &detail) {
    if (!live_) {
        std::printf("%s %llu/%llu %s\n", label_.c_str(), static_cast<unsigned long long>(done),
                    static_cast<unsigned long long>(total_), detail.c_str());
        std::fflush(stdout);
        return;
    }
    constexpr int kBar = 24;
    const int filled = total_ ? static_cast<int>(done * kBar / total_) : kBar;
    std::string bar(static_cast<size_t>(filled), '#');
    bar.append(static_cast<size_t>(kBar - filled), '.');
    // Carriage return and erase-line: the line is drawn anew in place.
    std::printf("\r\x1b[K%s [%s] %llu/%llu %s", label_.c_str(), bar.c_str(),
                static_cast<unsigned long long>(done), static_cast<unsigned long long>(total_),
                detail.c_str());
    std::fflush(stdout);
    open_line_ = true;
}

void Progress::finish() {
    if (!open_line_) return;
    std::printf("\n");
    std::fflush(stdout);
    open_line_ = false;
}

}  // namespace kavix::tool
