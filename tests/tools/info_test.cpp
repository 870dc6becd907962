// kavix info on a mono and a colour model.
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>

#include "tools/kavix_runner.h"

namespace kavix::test {
namespace {

// "  Label   value" lines of the report, by label; section titles are skipped.
std::map<std::string, std::string> fields_of(const std::string &report) {
    std::map<std::string, std::string> fields;
    std::istringstream in(report);
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("  ", 0) != 0) continue;
        const size_t gap = line.find("  ", 2);
        if (gap == std::string::npos) continue;
        fields[line.substr(2, gap - 2)] = line.substr(line.find_first_not_of(' ', gap));
    }
    return fields;
}

struct ModelCase {
    const char *model;
    std::map<std::string, std::string> expected;
};

TEST(KavixInfo, MonoAndColourModels) {
    const ModelCase cases[] = {
        {"Tovrik-Q4M-A",
         {{"Product", "Tovrik-Q4M-A"},
          {"Product ID", "0x0710"},
          {"Vendor ID", "0x7B3D"},
          {"User ID", "0"},
          {"Serial ID", "1 \"SIM-0001\""},
          {"FPGA version", "20"},
          {"Speed", "high (480 Mbit/s)"},
          {"Colour array", "mono"},
          {"Transfer formats", "mono8* mono10 mono12"},
          {"Preview formats", "mono8* bgr24 bgr32"},
          {"Interpolation method", "0 (none)"},
          {"Largest image", "1360x1040"},
          {"Image", "1360x1040 at 0,0"},
          {"Scan modes", "1 4 16 free-region"},
          {"Range", "6.000 MHz to 48.000 MHz"},
          // 24545455 Hz over (1360 + 160) clocks times (1040 + 20) lines.
          {"Frame rate", "15.23 frames/s"},
          {"Trigger version", "2"},
          {"I/O pins", "0 1 2 3"},
          {"Function ids", "9 10 20 21 22 23 48 55 57 59 61 64 66 71 86 133"}}},
        {"Tovrik-Q4C-B",
         {{"Product", "Tovrik-Q4C-B"},
          {"Product ID", "0x0810"},
          {"Colour array", "Bayer R Gr / Gb B"},
          {"Transfer formats", "raw8* raw10 raw12"},
          {"Preview formats", "bgr24* bgr32"},
          {"Interpolation method", "3"},
          // The second model of the id has function 112.
          {"Function ids", "9 10 20 21 22 23 48 55 57 59 61 64 66 71 86 112 133"}}},
        {"Tovrik-Q2M-E",
         {{"Product", "Tovrik-Q2M-E"},
          {"Product ID", "0x0805"},
          {"FPGA version", "none"},
          {"Colour array", "mono"},
          {"Transfer formats", "raw8*"},
          {"Largest image", "1024x768"},
          {"Trigger version", "0"},
          {"I/O pins", "none"},
          {"Function ids", "none"}}},
    };
    KavixRunner kavix;
    for (const ModelCase &c : cases) {
        SCOPED_TRACE(c.model);
        const ToolResult r = kavix.run({"--sim", c.model, "info"});
        ASSERT_EQ(r.exit_code, 0) << r.err;
        const std::map<std::string, std::string> fields = fields_of(r.out);
        for (const auto &[label, value] : c.expected) {
            const auto found = fields.find(label);
            ASSERT_NE(found, fields.end()) << label << " missing in\n" << r.out;
            EXPECT_EQ(found->second, value) << label;
        }
    }
}

TEST(KavixInfo, PicksTheCameraByUserId) {
    KavixRunner kavix;
    const ToolResult r = kavix.run({"--sim", "Tovrik-Q4M-A", "--sim", "Tovrik-Q4C-A",
                                    "--sim-user-id", "9", "info", "--camera", "9"});
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_EQ(fields_of(r.out)["User ID"], "9");
    EXPECT_EQ(fields_of(r.out)["Index"], "1");
}

TEST(KavixInfo, MissingCameraIsARuntimeFailureWithAHint) {
    KavixRunner kavix;
    const ToolResult none = kavix.run({"info"});
    EXPECT_EQ(none.exit_code, 1);
    EXPECT_NE(none.err.find("no camera found"), std::string::npos) << none.err;
    EXPECT_NE(none.err.find("--sim"), std::string::npos) << none.err;

    const ToolResult wrong = kavix.run({"--sim", "Tovrik-Q4M-A", "info", "--camera", "4"});
    EXPECT_EQ(wrong.exit_code, 1);
    EXPECT_NE(wrong.err.find("no camera has user ID 4"), std::string::npos) << wrong.err;
    EXPECT_NE(wrong.err.find("kavix list"), std::string::npos) << wrong.err;
}

}  // namespace
}  // namespace kavix::test
