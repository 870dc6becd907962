// The tool's own pieces that hold logic of their own: option values, output
// file names, the grab report's counts.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "tools/file_pattern.h"
#include "tools/frame_queue.h"
#include "tools/grab_stats.h"
#include "tools/options.h"

namespace kavix::tool {
namespace {

using std::chrono::milliseconds;

TEST(FilePattern, NumbersFromOneWithTheGivenWidth) {
    const FilePattern p("out/shot_%03d.png", 12);
    EXPECT_EQ(p.name(1), "out/shot_001.png");
    EXPECT_EQ(p.name(12), "out/shot_012.png");
    EXPECT_EQ(p.name(1234), "out/shot_1234.png");
    EXPECT_EQ(p.type(), ImageType::Png);
    EXPECT_EQ(FilePattern("100%%_%d.jpg", 2).name(5), "100%_5.jpg");
    // One frame needs no number; %% is still a single %.
    EXPECT_EQ(FilePattern("50%%.bmp", 1).name(1), "50%.bmp");
}

TEST(FilePattern, TypeByExtensionIgnoringCase) {
    const struct {
        const char *name;
        ImageType type;
    } cases[] = {{"a.raw", ImageType::Raw},   {"a.BMP", ImageType::Bmp},
                 {"a.tif", ImageType::Tiff},  {"a.tiff", ImageType::Tiff},
                 {"a.Jpg", ImageType::Jpeg},  {"a.jpeg", ImageType::Jpeg},
                 {"dir.v2/a.png", ImageType::Png}};
    for (const auto &c : cases) EXPECT_EQ(FilePattern(c.name, 1).type(), c.type) << c.name;
}

TEST(FilePattern, RefusesNamesThatCantWork) {
    for (const char *bad : {"a.gif", "a", "dir.png/a", "a_%s.png", "a_%d_%d.png", "a_%x.png",
                            "a_%.png", "a_%"})
        EXPECT_THROW(FilePattern(bad, 1), UsageError) << bad;
    EXPECT_THROW(FilePattern("a.png", 2), UsageError);
}

TEST(GrabStats, LostFramesAreTheGapsInTheNumbers) {
    const auto t0 = std::chrono::steady_clock::time_point{};
    GrabStats s;
    s.add(10, t0);
    s.add(11, t0 + milliseconds(100));
    s.add(14, t0 + milliseconds(200));  // 12 and 13 lost
    s.add(15, t0 + milliseconds(300));
    s.add(2, t0 + milliseconds(400));   // the counter started again: nothing lost
    s.add(4, t0 + milliseconds(500));   // 3 lost
    EXPECT_EQ(s.frames(), 6u);
    EXPECT_EQ(s.lost(), 3u);
    ASSERT_TRUE(s.rate());
    EXPECT_DOUBLE_EQ(*s.rate(), 10.0);  // five intervals in half a second
    EXPECT_EQ(s.rate_text(), "10.0");
}

TEST(GrabStats, NoRateFromOneFrame) {
    GrabStats s;
    s.add(7, std::chrono::steady_clock::now());
    EXPECT_EQ(s.frames(), 1u);
    EXPECT_EQ(s.lost(), 0u);
    EXPECT_FALSE(s.rate());
    EXPECT_EQ(s.rate_text(), "-");
}

constexpr milliseconds kGenerous{10000};

TEST(FrameQueue, HandsOverTheWantedFramesInOrderThenIgnoresTheRest) {
    FrameQueue queue(5, 2);
    std::thread capture([&] {
        for (uint8_t n = 0; n < 12; ++n) {
            const uint8_t pixels[3] = {n, n, n};
            queue.offer(pixels, sizeof pixels, 3, 1, 100u + n, 1);
        }
    });
    for (uint32_t i = 0; i < 5; ++i) {
        std::optional<Frame> frame = queue.take(kGenerous);
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->number, 100 + i);
        EXPECT_EQ(frame->pixels, (std::vector<uint8_t>(3, static_cast<uint8_t>(i))));
        EXPECT_EQ(frame->width, 3u);
        queue.give_back(std::move(*frame));
    }
    // Offers past the fifth frame return at once, so the producer ends.
    capture.join();
    EXPECT_FALSE(queue.take(milliseconds(0)));
}

TEST(FrameQueue, CloseReleasesACaptureThreadWaitingForABuffer) {
    FrameQueue queue(10, 1);
    const uint8_t pixel = 7;
    queue.offer(&pixel, 1, 1, 1, 1, 1);  // takes the only buffer
    std::thread capture([&] { queue.offer(&pixel, 1, 1, 1, 2, 1); });  // waits for one
    queue.close();
    capture.join();
    std::optional<Frame> first = queue.take(kGenerous);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->number, 1u);
    EXPECT_FALSE(queue.take(milliseconds(0)));  // the second was never kept
}

TEST(OptionValues, NumbersSizesAndLists) {
    EXPECT_EQ(parse_uint("--n", "42", 0, 100), 42u);
    EXPECT_EQ(parse_uint("--n", "0x0810", 0, 0xFFFF), 0x0810u);
    for (const char *bad : {"", "-1", "4x", "101", "0x", "1e3", " 5"})
        EXPECT_THROW(parse_uint("--n", bad, 0, 100), UsageError) << bad;
    const Size size = parse_size("--size", "640x480");
    EXPECT_EQ(size.width, 640u);
    EXPECT_EQ(size.height, 480u);
    EXPECT_THROW(parse_size("--size", "640"), UsageError);
    EXPECT_THROW(parse_size("--size", "0x480"), UsageError);
    EXPECT_EQ(parse_uint_list("--wb", "1,2,3", 3, 255), (std::vector<uint32_t>{1, 2, 3}));
    EXPECT_THROW(parse_uint_list("--wb", "1,2", 3, 255), UsageError);
    EXPECT_THROW(parse_uint_list("--wb", "1,,3", 3, 255), UsageError);
    EXPECT_DOUBLE_EQ(parse_number("--e", "0.25", 0, 1), 0.25);
    EXPECT_THROW(parse_number("--e", "2", 0, 1), UsageError);
    EXPECT_THROW(parse_number("--e", "nan", 0, 1), UsageError);
}

TEST(OptionParsing, FormsOfOptionsAndWords) {
    std::vector<std::string> seen;
    bool flag = false;
    const std::vector<OptionDef> defs = {
        {'o', "output", "NAME", "", [&](std::string_view v) { seen.emplace_back(v); }},
        {'f', "flag", "", "", [&](std::string_view) { flag = true; }},
    };
    const std::vector<std::string> words = parse_options(
        {"-o", "a", "-ob", "word", "--output", "c", "--output=d", "-f", "--", "-o"}, {&defs});
    EXPECT_EQ(seen, (std::vector<std::string>{"a", "b", "c", "d"}));
    EXPECT_TRUE(flag);
    EXPECT_EQ(words, (std::vector<std::string>{"word", "-o"}));
    EXPECT_EQ(parse_options_to_word({"-f", "list", "-o", "x"}, {&defs}), 1u);
    EXPECT_THROW(parse_options({"--output"}, {&defs}), UsageError);
    EXPECT_THROW(parse_options({"--flag=1"}, {&defs}), UsageError);
    EXPECT_THROW(parse_options({"-fx"}, {&defs}), UsageError);
    EXPECT_THROW(parse_options({"-x"}, {&defs}), UsageError);
}

}  // namespace
}  // namespace kavix::tool
