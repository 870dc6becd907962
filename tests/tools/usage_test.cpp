// kavix as a command line: help on every level, usage errors with exit code
// 2, unknown models, an empty bus.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "KavixSim.h"
#include "tools/kavix_runner.h"

namespace kavix::test {
namespace {

using Args = std::vector<std::string>;

std::string joined(const Args &args) {
    std::string s;
    for (const std::string &a : args) s += (s.empty() ? "" : " ") + a;
    return s;
}

TEST(KavixUsage, HelpOnEveryLevel) {
    KavixRunner kavix;
    const Args cases[] = {{"--help"}, {"-h"}, {"list", "--help"}, {"--help", "list"}, {"info", "--help"}, {"grab", "-h"},
                          {"--sim", "Tovrik-Q4C-A", "list", "-h"}};
    for (const Args &args : cases) {
        SCOPED_TRACE(joined(args));
        const ToolResult r = kavix.run(args);
        EXPECT_EQ(r.exit_code, 0);
        EXPECT_EQ(r.out.rfind("Usage: kavix", 0), 0u) << r.out;
        EXPECT_NE(r.out.find("--sim MODEL"), std::string::npos);
        EXPECT_TRUE(r.err.empty()) << r.err;
    }
    // The top level names every command; a command's help its own options.
    const ToolResult top = kavix.run({"--help"});
    for (const char *command : {"list", "info", "grab"}) EXPECT_NE(top.out.find(command), std::string::npos);
}

TEST(KavixUsage, BadArgumentsExitWithTwoAndAUsageHint) {
    KavixRunner kavix;
    struct Case {
        Args args;
        const char *message;  // part of the first line on stderr
    };
    const Case cases[] = {
        {{}, "no command given"},
        {{"frobnicate"}, "unknown command 'frobnicate'"},
        {{"--frobnicate", "list"}, "unknown option '--frobnicate'"},
        {{"list", "--frobnicate"}, "unknown option '--frobnicate'"},
        {{"list", "extra"}, "unexpected argument 'extra'"},
        {{"list", "--sim"}, "needs a value"},
        {{"--sim-user-id", "3", "list"}, "must follow the --sim"},
        {{"--sim", "Tovrik-Q4C-A", "--sim-user-id", "x", "list"}, "whole number"},
        {{"--sim", "Tovrik-Q4C-A", "--sim-user-id", "1", "--sim-user-id", "2", "list"},
         "given twice"},
        {{"--help=yes"}, "takes no value"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(joined(c.args));
        const ToolResult r = kavix.run(c.args);
        EXPECT_EQ(r.exit_code, 2);
        EXPECT_TRUE(r.out.empty()) << r.out;
        EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
        EXPECT_NE(r.err.find("--help' for more information"), std::string::npos) << r.err;
    }
}

TEST(KavixUsage, UnknownModelListsTheKnownOnes) {
    KavixRunner kavix;
    const ToolResult r = kavix.run({"--sim", "Tovrik-Q9X-Z", "list"});
    EXPECT_EQ(r.exit_code, 2);
    EXPECT_NE(r.err.find("unknown camera model 'Tovrik-Q9X-Z'"), std::string::npos) << r.err;
    KavixSimModel model;
    unsigned listed = 0;
    for (uint32_t i = 0; KavixSim_GetModel(i, &model); ++i) {
        EXPECT_NE(r.err.find(model.name), std::string::npos) << model.name;
        ++listed;
    }
    EXPECT_EQ(listed, 40u);
    // An id outside the catalogue is unknown too.
    EXPECT_EQ(kavix.run({"--sim", "0x7777", "list"}).exit_code, 2);
}

TEST(KavixUsage, SimHelpListsTheModels) {
    KavixRunner kavix;
    const ToolResult r = kavix.run({"--sim", "help"});
    EXPECT_EQ(r.exit_code, 0);
    EXPECT_NE(r.out.find("Tovrik-Q4C-A   0x0810  colour 1360x1040"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Tovrik-Q2M-E   0x0805  mono   1024x768  (no FPGA)"), std::string::npos);
}

TEST(KavixUsage, EmptyBusSaysSoAndHowToGoOn) {
    KavixRunner kavix;
    const ToolResult r = kavix.run({"list"});
    EXPECT_EQ(r.exit_code, 0);
    EXPECT_EQ(r.out, "No cameras found.\n");
    EXPECT_NE(r.err.find("--sim Tovrik-Q4C-A"), std::string::npos) << r.err;
}

}  // namespace
}  // namespace kavix::test
