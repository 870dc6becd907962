#pragma once
// Runs the built kavix binary in a scratch directory of its own and keeps
// what it printed and how it exited.
#include <filesystem>
#include <string>
#include <vector>

namespace kavix::test {

struct ToolResult {
    int exit_code = -1;  // -1 when the program did not exit normally
    std::string out;
    std::string err;
};

class KavixRunner {
public:
    KavixRunner();  // makes the scratch directory
    ~KavixRunner();  // removes it
    KavixRunner(const KavixRunner &) = delete;
    KavixRunner &operator=(const KavixRunner &) = delete;

    // kavix with these arguments, run in the scratch directory, with
    // standard input empty and no terminal on any stream.
    ToolResult run(const std::vector<std::string> &args) const;
    const std::filesystem::path &dir() const { return dir_; }

private:
    std::filesystem::path dir_;
};

}  // namespace kavix::test
