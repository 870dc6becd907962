#include "platform/text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/error_numbers.h"

namespace kavix::platform {
namespace {

// Reference texts: the compiler encodes both forms of each literal, so the
// expectations do not come from the code under test.
struct Sample {
    const char16_t *wide;
    const char8_t *narrow;
};

const Sample kSamples[] = {
    {u"plain ASCII 0123", u8"plain ASCII 0123"},
    {u"Grüße aus Köln, Ærø, ñandú", u8"Grüße aus Köln, Ærø, ñandú"},
    {u"Ελληνικά и кириллица", u8"Ελληνικά и кириллица"},
    {u"日本語のテキスト、한국어", u8"日本語のテキスト、한국어"},
    {u"€ ‰ ™ \uFFFD \uFFFF", u8"€ ‰ ™ \uFFFD \uFFFF"},
    {u"😀🎥 camera 𝄞 music \U0010FFFF", u8"😀🎥 camera 𝄞 music \U0010FFFF"},
};

std::string narrow(const char8_t *text) { return reinterpret_cast<const char *>(text); }

TEST(Text, BoundedConversionsMatchTheReferenceInBothDirections) {
    for (const Sample &s : kSamples) {
        const std::u16string wide = s.wide;
        const std::string bytes = narrow(s.narrow);
        SCOPED_TRACE(bytes);

        std::vector<char> utf8(bytes.size() + 1, '\x7F');
        const TextResult to8 = utf16_to_utf8(wide.c_str(), -1, utf8.data(), int32_t(utf8.size()));
        EXPECT_EQ(to8.error, 0u);
        EXPECT_EQ(to8.count, bytes.size() + 1);  // with the terminator
        EXPECT_EQ(std::string(utf8.data()), bytes);

        std::vector<char16_t> utf16(wide.size() + 1, u'\x7F');
        const TextResult to16 = utf8_to_utf16(bytes.c_str(), -1, utf16.data(), int32_t(utf16.size()));
        EXPECT_EQ(to16.error, 0u);
        EXPECT_EQ(to16.count, wide.size() + 1);
        EXPECT_EQ(std::u16string(utf16.data()), wide);

        EXPECT_EQ(to_utf8(wide), bytes);
        EXPECT_EQ(to_utf16(bytes), wide);
    }
}

TEST(Text, ExplicitLengthsAddNoTerminatorAndMeasuringWritesNothing) {
    const std::u16string wide = u"Köln 😀";
    const std::string bytes = narrow(u8"Köln 😀");
    std::vector<char> out(32, '\x7F');
    TextResult r = utf16_to_utf8(wide.data(), int32_t(wide.size()), out.data(), int32_t(out.size()));
    EXPECT_EQ(r.error, 0u);
    EXPECT_EQ(r.count, bytes.size());
    EXPECT_EQ(std::string(out.data(), r.count), bytes);
    EXPECT_EQ(out[r.count], '\x7F');

    r = utf16_to_utf8(wide.data(), int32_t(wide.size()), nullptr, 0);
    EXPECT_EQ(r.error, 0u);
    EXPECT_EQ(r.count, bytes.size());
    r = utf16_to_utf8(wide.c_str(), -1, nullptr, 0);
    EXPECT_EQ(r.count, bytes.size() + 1);
    r = utf8_to_utf16(bytes.data(), int32_t(bytes.size()), nullptr, 0);
    EXPECT_EQ(r.count, wide.size());
    r = utf8_to_utf16(bytes.c_str(), -1, nullptr, 0);
    EXPECT_EQ(r.count, wide.size() + 1);

    // A terminator inside an explicit length is converted like any character.
    const char16_t with_zero[] = {u'a', 0, u'b'};
    r = utf16_to_utf8(with_zero, 3, out.data(), int32_t(out.size()));
    EXPECT_EQ(r.count, 3u);
    EXPECT_EQ(std::string(out.data(), 3), std::string("a\0b", 3));
}

// "aé€😀": 1 + 2 + 3 + 4 bytes of UTF-8, 1 + 1 + 1 + 2 units of UTF-16.
const char16_t kMixedWide[] = u"a\u00E9\u20AC\U0001F600";
const char kMixedNarrow[] = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";

struct BoundCase {
    int32_t source_length;  // -1: terminated source
    int32_t dest_size;
    uint32_t count;
    uint32_t error;
};

// A destination too small takes the whole characters that fit and no part of
// the next one; the error says the result is incomplete.
TEST(Text, Utf8OutputStopsAtTheLastWholeCharacterThatFits) {
    const BoundCase cases[] = {
        {5, 1, 1, 122},  {5, 2, 1, 122},  {5, 3, 3, 122},  {5, 4, 3, 122},  {5, 5, 3, 122},
        {5, 6, 6, 122},  {5, 7, 6, 122},  {5, 8, 6, 122},  {5, 9, 6, 122},  {5, 10, 10, 0},
        {5, 11, 10, 0},  {-1, 10, 10, 122}, {-1, 11, 11, 0},
    };
    for (const BoundCase &c : cases) {
        SCOPED_TRACE(testing::Message() << "length " << c.source_length << ", room " << c.dest_size);
        std::vector<char> out(16, '\x7F');
        const TextResult r = utf16_to_utf8(kMixedWide, c.source_length, out.data(), c.dest_size);
        EXPECT_EQ(r.count, c.count);
        EXPECT_EQ(r.error, c.error);
        EXPECT_EQ(std::string(out.data(), r.count), std::string(kMixedNarrow, r.count));
        EXPECT_EQ(out[r.count], '\x7F') << "nothing beyond the whole characters";
    }
}

TEST(Text, Utf16OutputNeverSplitsASurrogatePair) {
    const BoundCase cases[] = {
        {10, 1, 1, 122}, {10, 2, 2, 122}, {10, 3, 3, 122}, {10, 4, 3, 122},
        {10, 5, 5, 0},   {10, 6, 5, 0},   {-1, 5, 5, 122}, {-1, 6, 6, 0},
    };
    for (const BoundCase &c : cases) {
        SCOPED_TRACE(testing::Message() << "length " << c.source_length << ", room " << c.dest_size);
        std::vector<char16_t> out(16, u'\x7F');
        const TextResult r = utf8_to_utf16(kMixedNarrow, c.source_length, out.data(), c.dest_size);
        EXPECT_EQ(r.count, c.count);
        EXPECT_EQ(r.error, c.error);
        EXPECT_EQ(std::u16string(out.data(), r.count), std::u16string(kMixedWide, r.count));
        EXPECT_EQ(out[r.count], u'\x7F') << "nothing beyond the whole characters";
    }
}

// The usual way to a bounded, terminated copy: a cleared buffer, one unit of
// room kept back.
TEST(Text, ClearedBufferWithOneUnitKeptBackGivesATerminatedPrefix) {
    char name[8] = {};
    const TextResult r = utf16_to_utf8(u"Köln 😀 Straße", -1, name, int32_t(sizeof name) - 1);
    EXPECT_EQ(r.error, kErrorInsufficientBuffer);
    EXPECT_EQ(std::string(name), narrow(u8"Köln "));  // the emoji (4 bytes) doesn't fit in 7
}

TEST(Text, IllFormedInputBecomesReplacementCharacters) {
    struct Wide {
        std::u16string in;
        const char8_t *out;
    };
    const Wide wide_cases[] = {
        {{0xD800}, u8"\uFFFD"},
        {{0xDC00, u'a'}, u8"\uFFFDa"},
        {{0xD83D, u'a'}, u8"\uFFFDa"},
        {{u'a', 0xD83D}, u8"a\uFFFD"},
        {{0xD83D, 0xD83D, 0xDE00}, u8"\uFFFD😀"},
        {{0xDE00, 0xD83D}, u8"\uFFFD\uFFFD"},
    };
    for (const Wide &c : wide_cases) EXPECT_EQ(to_utf8(c.in), narrow(c.out));

    struct Narrow {
        std::string in;
        std::u16string out;
    };
    const Narrow narrow_cases[] = {
        // Maximal subparts, the example of the Unicode standard's Table 3-8.
        {"\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64",
         u"a\uFFFD\uFFFD\uFFFDb\uFFFDc\uFFFD\uFFFDd"},
        {"\xC0\x80", u"\uFFFD\uFFFD"},              // overlong NUL
        {"\xE0\x80\x80", u"\uFFFD\uFFFD\uFFFD"},    // overlong three-byte form
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},    // an encoded surrogate
        {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // above U+10FFFF
        {"\xF5\x80", u"\uFFFD\uFFFD"},
        {"\xFF" "A", u"\uFFFDA"},
        {"A\xE2\x82", u"A\uFFFD"},                  // cut short at the end
        {"\xF0\x9F\x98" "A", u"\uFFFDA"},
    };
    for (const Narrow &c : narrow_cases) EXPECT_EQ(to_utf16(c.in), c.out) << c.in;

    // A sequence cut short by the terminator of a terminated source.
    char16_t out[4] = {u'x', u'x', u'x', u'x'};
    const TextResult r = utf8_to_utf16("\xE2\x82", -1, out, 4);
    EXPECT_EQ(r.error, 0u);
    ASSERT_EQ(r.count, 2u);
    EXPECT_EQ(out[0], u'\uFFFD');
    EXPECT_EQ(out[1], u'\0');
}

TEST(Text, BadArgumentsAreRefusedWithInvalidParameter) {
    char out8[4];
    char16_t out16[4];
    const char16_t *no_wide = nullptr;
    const char *no_narrow = nullptr;
    const TextResult results[] = {
        utf16_to_utf8(no_wide, -1, out8, 4),
        utf16_to_utf8(u"a", 0, out8, 4),
        utf16_to_utf8(u"a", -2, out8, 4),
        utf16_to_utf8(u"a", 1, out8, -1),
        utf16_to_utf8(u"a", 1, nullptr, 4),
        utf8_to_utf16(no_narrow, -1, out16, 4),
        utf8_to_utf16("a", 0, out16, 4),
        utf8_to_utf16("a", -2, out16, 4),
        utf8_to_utf16("a", 1, out16, -1),
        utf8_to_utf16("a", 1, nullptr, 4),
    };
    for (const TextResult &r : results) {
        EXPECT_EQ(r.count, 0u);
        EXPECT_EQ(r.error, kErrorInvalidParameter);
    }
}

// Every scalar value, one after another: each encodes to the length its range
// fixes and the whole text comes back unchanged through both directions.
TEST(Text, EveryScalarValueRoundTrips) {
    std::u16string all;
    size_t expected_bytes = 0;
    for (char32_t c = 1; c <= 0x10FFFF; ++c) {
        if (c >= 0xD800 && c <= 0xDFFF) continue;
        if (c < 0x10000) {
            all.push_back(char16_t(c));
        } else {
            all.push_back(char16_t(0xD800 + ((c - 0x10000) >> 10)));
            all.push_back(char16_t(0xDC00 + ((c - 0x10000) & 0x3FF)));
        }
        expected_bytes += c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
    }
    const std::string bytes = to_utf8(all);
    EXPECT_EQ(bytes.size(), expected_bytes);
    EXPECT_EQ(to_utf16(bytes), all);

    std::vector<char> bounded(expected_bytes);
    const TextResult r = utf16_to_utf8(all.data(), int32_t(all.size()), bounded.data(), int32_t(bounded.size()));
    EXPECT_EQ(r.error, 0u);
    EXPECT_EQ(r.count, expected_bytes);
    EXPECT_TRUE(std::equal(bounded.begin(), bounded.end(), bytes.begin()));
}

}  // namespace
}  // namespace kavix::platform
