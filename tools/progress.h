#pragma once
// Progress of long work. On a terminal one line redraws itself with a bar;
// anywhere else (a pipe, a file, a test) every step is a plain line of its own.
#include <cstdint>
#include <string>

namespace kavix::tool {

class Progress {
public:
    // `live` chooses the redrawn line; by default when standard output is a terminal.
    Progress(std::string label, uint64_t total, bool live);
    explicit Progress(std::string label, uint64_t total);
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    // `done` of `total` finished; `detail` names the last piece (a file name).
    void update(uint64_t done, const std::string &detail);
    // Ends the redrawn line, so that what follows starts on a line of its own.
    void finish();

private:
    std::string label_;
    uint64_t total_;
    bool live_;
    bool open_line_ = false;
};

bool stdout_is_terminal();

}  // namespace kavix::tool
