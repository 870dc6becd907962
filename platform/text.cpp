#include "platform/text.h"

#include <cstddef>

#include "platform/error_numbers.h"

namespace kavix::platform {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Reads one character of UTF-16 at text[i], advancing i.
char32_t next_utf16(const char16_t *text, size_t length, size_t &i) {
    const char16_t unit = text[i++];
    if (unit < 0xD800 || unit > 0xDFFF) return unit;
    if (unit <= 0xDBFF && i < length && text[i] >= 0xDC00 && text[i] <= 0xDFFF) {
        const char16_t low = text[i++];
        return 0x10000 + ((char32_t(unit) - 0xD800) << 10) + (char32_t(low) - 0xDC00);
    }
    return kReplacement;  // unpaired surrogate
}

// Reads one character of UTF-8 at text[i], advancing i. An ill-formed
// sequence yields U+FFFD and is consumed up to the first byte that can't
// continue it (the maximal subpart), so a following character survives.
char32_t next_utf8(const unsigned char *text, size_t length, size_t &i) {
    const unsigned char lead = text[i++];
    if (lead < 0x80) return lead;
    int trail;
    char32_t value;
    unsigned char low = 0x80, high = 0xBF;  // the range of the second byte
    if (lead >= 0xC2 && lead <= 0xDF) {
        trail = 1;
        value = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        trail = 2;
        value = lead & 0x0F;
        if (lead == 0xE0) low = 0xA0;        // no overlong forms
        else if (lead == 0xED) high = 0x9F;  // no surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        trail = 3;
        value = lead & 0x07;
        if (lead == 0xF0) low = 0x90;        // no overlong forms
        else if (lead == 0xF4) high = 0x8F;  // nothing above U+10FFFF
    } else {
        return kReplacement;  // a stray continuation byte or a lead that never starts one
    }
    for (int k = 0; k < trail; ++k) {
        if (i >= length) return kReplacement;
        const unsigned char byte = text[i];
        if (byte < (k == 0 ? low : 0x80) || byte > (k == 0 ? high : 0xBF)) return kReplacement;
        value = (value << 6) | (byte & 0x3F);
        ++i;
    }
    return value;
}

size_t encode_utf8(char32_t c, char out[4]) {
    if (c < 0x80) {
        out[0] = char(c);
        return 1;
    }
    if (c < 0x800) {
        out[0] = char(0xC0 | (c >> 6));
        out[1] = char(0x80 | (c & 0x3F));
        return 2;
    }
    if (c < 0x10000) {
        out[0] = char(0xE0 | (c >> 12));
        out[1] = char(0x80 | ((c >> 6) & 0x3F));
        out[2] = char(0x80 | (c & 0x3F));
        return 3;
    }
    out[0] = char(0xF0 | (c >> 18));
    out[1] = char(0x80 | ((c >> 12) & 0x3F));
    out[2] = char(0x80 | ((c >> 6) & 0x3F));
    out[3] = char(0x80 | (c & 0x3F));
    return 4;
}

size_t encode_utf16(char32_t c, char16_t out[2]) {
    if (c < 0x10000) {
        out[0] = char16_t(c);
        return 1;
    }
    c -= 0x10000;
    out[0] = char16_t(0xD800 + (c >> 10));
    out[1] = char16_t(0xDC00 + (c & 0x3FF));
    return 2;
}

template <typename Unit>
size_t terminated_length(const Unit *text) {
    size_t n = 0;
    while (text[n] != 0) ++n;
    return n + 1;  // the terminator is converted too
}

// The common frame of both directions: argument checks, measuring, and the
// bounded write of whole characters.
template <typename In, typename Out, typename Next, typename Encode>
TextResult convert(const In *source, int32_t source_units, Out *dest, int32_t dest_units, Next next,
                   Encode encode) {
    if (source == nullptr || source_units == 0 || source_units < -1 || dest_units < 0 ||
        (dest == nullptr && dest_units > 0)) {
        return {0, kErrorInvalidParameter};
    }
    const size_t length = source_units == -1 ? terminated_length(source) : size_t(source_units);
    const bool measure = dest_units == 0;
    size_t written = 0;
    for (size_t i = 0; i < length;) {
        Out units[4];
        const size_t n = encode(next(source, length, i), units);
        if (!measure) {
            if (written + n > size_t(dest_units)) return {uint32_t(written), kErrorInsufficientBuffer};
            for (size_t k = 0; k < n; ++k) dest[written + k] = units[k];
        }
        written += n;
    }
    return {uint32_t(written), 0};
}

}  // namespace

TextResult utf16_to_utf8(const char16_t *source, int32_t source_units, char *dest, int32_t dest_bytes) {
    return convert(source, source_units, dest, dest_bytes, next_utf16, encode_utf8);
}

TextResult utf8_to_utf16(const char *source, int32_t source_bytes, char16_t *dest, int32_t dest_units) {
    auto next = [](const char *text, size_t length, size_t &i) {
        return next_utf8(reinterpret_cast<const unsigned char *>(text), length, i);
    };
    return convert(source, source_bytes, dest, dest_units, next, encode_utf16);
}

std::string to_utf8(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size();) {
        char units[4];
        out.append(units, encode_utf8(next_utf16(text.data(), text.size(), i), units));
    }
    return out;
}

std::u16string to_utf16(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    const auto *bytes = reinterpret_cast<const unsigned char *>(text.data());
    for (size_t i = 0; i < text.size();) {
        char16_t units[2];
        out.append(units, encode_utf16(next_utf8(bytes, text.size(), i), units));
    }
    return out;
}

}  // namespace kavix::platform
