// kavix list against simulated cameras.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tools/kavix_runner.h"

namespace kavix::test {
namespace {

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// The cells of a table line: runs of text separated by two spaces or more.
std::vector<std::string> cells_of(const std::string &line) {
    std::vector<std::string> cells;
    size_t at = 0;
    while (at < line.size()) {
        size_t gap = line.find("  ", at);
        if (gap == std::string::npos) gap = line.size();
        cells.push_back(line.substr(at, gap - at));
        at = line.find_first_not_of(' ', gap);
        if (at == std::string::npos) break;
    }
    return cells;
}

TEST(KavixList, TwoSimulatedCamerasInBusOrder) {
    KavixRunner kavix;
    const ToolResult r = kavix.run({"--sim", "Tovrik-Q4C-A", "--sim", "q2m-b", "--sim-user-id",
                                    "7", "list"});
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_TRUE(r.err.empty()) << r.err;
    const std::vector<std::string> lines = lines_of(r.out);
    ASSERT_EQ(lines.size(), 3u) << r.out;
    const std::vector<std::string> head = cells_of(lines[0]);
    const std::vector<std::string> want_head = {"INDEX", "PRODUCT", "USER ID", "SERIAL ID",
                                                "USB SPEED"};
    EXPECT_EQ(head, want_head);
    const std::vector<std::string> first = cells_of(lines[1]), second = cells_of(lines[2]);
    const std::vector<std::string> want_first = {"0", "Tovrik-Q4C-A", "0", "1 \"SIM-0001\"",
                                                 "high (480 Mbit/s)"};
    const std::vector<std::string> want_second = {"1", "Tovrik-Q2M-B", "7", "2 \"SIM-0002\"",
                                                  "high (480 Mbit/s)"};
    EXPECT_EQ(first, want_first);
    EXPECT_EQ(second, want_second);
}

TEST(KavixList, ModelByProductIdTakesItsFirstModel) {
    KavixRunner kavix;
    const ToolResult r = kavix.run({"list", "--sim", "0x0710", "--sim", "1797"});
    ASSERT_EQ(r.exit_code, 0) << r.err;
    const std::vector<std::string> lines = lines_of(r.out);
    ASSERT_EQ(lines.size(), 3u) << r.out;
    EXPECT_EQ(cells_of(lines[1])[1], "Tovrik-Q4M-A");
    EXPECT_EQ(cells_of(lines[2])[1], "Tovrik-Q1M-E");
}

}  // namespace
}  // namespace kavix::test
