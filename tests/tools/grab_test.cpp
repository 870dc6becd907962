// kavix grab against simulated cameras: files a real reader accepts, of the
// camera's size, and the report at the end.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tools/image_files.h"
#include "tools/kavix_runner.h"

namespace kavix::test {
namespace {

namespace fs = std::filesystem;

TEST(KavixGrab, ThreePngFilesOfTheColourCamerasSize) {
    KavixRunner kavix;
    const ToolResult r =
        kavix.run({"--sim", "Tovrik-Q1C-A", "grab", "-n", "3", "-o", "shots/shot_%03d.png"});
    ASSERT_EQ(r.exit_code, 0) << r.err;
    for (const char *name : {"shot_001.png", "shot_002.png", "shot_003.png"}) {
        SCOPED_TRACE(name);
        const DecodedImage image = decode_png(kavix.dir() / "shots" / name);
        ASSERT_TRUE(image.ok) << image.error;
        EXPECT_EQ(image.width, 640u);
        EXPECT_EQ(image.height, 492u);
        EXPECT_EQ(image.channels, 3u);
    }
    EXPECT_FALSE(fs::exists(kavix.dir() / "shots" / "shot_004.png"));
    // Without a terminal every step is a line of its own, then the report.
    EXPECT_NE(r.out.find("grab 1/3 shots/shot_001.png\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("grab 3/3 shots/shot_003.png\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Grabbed 3 frames, 0 lost, "), std::string::npos) << r.out;
    EXPECT_NE(r.out.find((kavix.dir() / "shots" / "shot_003.png").string()), std::string::npos)
        << r.out;
}

TEST(KavixGrab, JpegOfAMonoCameraIsGrey) {
    KavixRunner kavix;
    const ToolResult r = kavix.run({"--sim", "Tovrik-Q1M-A", "grab", "-n", "2", "-o",
                                    "mono_%d.jpg", "--quality", "80"});
    ASSERT_EQ(r.exit_code, 0) << r.err;
    for (const char *name : {"mono_1.jpg", "mono_2.jpg"}) {
        SCOPED_TRACE(name);
        const DecodedImage image = decode_jpeg(kavix.dir() / name);
        ASSERT_TRUE(image.ok) << image.error;
        EXPECT_EQ(image.width, 640u);
        EXPECT_EQ(image.height, 492u);
        EXPECT_EQ(image.channels, 1u);
    }
}

TEST(KavixGrab, RawFileHoldsTheFrameAsSent) {
    KavixRunner kavix;
    const ToolResult r = kavix.run({"--sim", "Tovrik-Q1C-A", "grab", "-o", "frame.raw"});
    ASSERT_EQ(r.exit_code, 0) << r.err;
    // Raw 8 bits: one byte per pixel of the Bayer frame.
    EXPECT_EQ(fs::file_size(kavix.dir() / "frame.raw"), 640u * 492u);
    EXPECT_NE(r.out.find("Grabbed 1 frame, 0 lost, - frames/s."), std::string::npos) << r.out;
}

TEST(KavixGrab, WindowAndTransferFormat) {
    KavixRunner kavix;
    // A window in the middle of the sensor, through the pipeline.
    ToolResult r = kavix.run({"--sim", "Tovrik-Q1C-A", "grab", "--size", "320x240", "-o",
                              "small.png"});
    ASSERT_EQ(r.exit_code, 0) << r.err;
    const DecodedImage small = decode_png(kavix.dir() / "small.png");
    ASSERT_TRUE(small.ok) << small.error;
    EXPECT_EQ(small.width, 320u);
    EXPECT_EQ(small.height, 240u);

    // Raw 12 bits come in 16-bit words.
    r = kavix.run({"--sim", "Tovrik-Q1C-A", "grab", "--size", "64x32", "--offset", "8,4",
                   "--format", "raw12", "-o", "deep.raw"});
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_EQ(fs::file_size(kavix.dir() / "deep.raw"), 64u * 32u * 2u);

    // The camera fits a window to its steps and says so.
    r = kavix.run({"--sim", "Tovrik-Q1C-A", "grab", "--size", "99x99", "-o", "fit.png"});
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_NE(r.out.find("The camera made the window 96x98 at "), std::string::npos) << r.out;
}

TEST(KavixGrab, WhatTheCameraCantDoFailsWithAHint) {
    KavixRunner kavix;
    struct Case {
        std::vector<std::string> args;
        const char *message;
    };
    const Case cases[] = {
        {{"--sim", "Tovrik-Q1C-A", "grab", "--format", "mono8"}, "mono8"},
        {{"--sim", "Tovrik-Q1C-A", "grab", "--size", "5000x10"}, "larger than the sensor"},
        {{"--sim", "Tovrik-Q1C-A", "grab", "--size", "64x64", "--offset", "600,0"},
         "past the sensor"},
        {{"--sim", "Tovrik-Q1C-E", "grab", "--size", "64x64"}, "no free region"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.message);
        const ToolResult r = kavix.run(c.args);
        EXPECT_EQ(r.exit_code, 1);
        EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
        EXPECT_NE(r.err.find("kavix: error: "), std::string::npos) << r.err;
    }
}

TEST(KavixGrab, OutputNamesThatCantWorkAreUsageErrors) {
    KavixRunner kavix;
    struct Case {
        std::vector<std::string> args;
        const char *message;
    };
    const Case cases[] = {
        {{"-n", "2", "-o", "one.png"}, "needs a number"},
        {{"-o", "shot.gif"}, "must end in .raw, .bmp, .tif, .jpg or .png"},
        {{"-o", "shot_%s.png"}, "only %d"},
        {{"-o", "shot_%d_%d.png", "-n", "2"}, "one %d"},
        {{"-n", "0"}, "--frames"},
        {{"--quality", "101", "-o", "a.jpg"}, "--quality"},
        {{"--interpolation", "9"}, "--interpolation"},
        {{"--format", "rgb565"}, "unknown format 'rgb565'"},
        {{"--size", "640"}, "WIDTHxHEIGHT"},
        {{"--offset", "1"}, "2 numbers"},
    };
    for (const Case &c : cases) {
        std::vector<std::string> args = {"--sim", "Tovrik-Q1C-A", "grab"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        SCOPED_TRACE(c.message);
        const ToolResult r = kavix.run(args);
        EXPECT_EQ(r.exit_code, 2);
        EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
        EXPECT_NE(r.err.find("Try 'kavix grab --help'"), std::string::npos) << r.err;
    }
    // Nothing was written for any of them.
    for (const auto &entry : fs::directory_iterator(kavix.dir()))
        ADD_FAILURE() << "unexpected file " << entry.path();
}

}  // namespace
}  // namespace kavix::test
