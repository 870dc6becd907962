#pragma once
#include <cstdint>
#include <string>
#include <string_view>

namespace kavix::platform {

// Conversion between wide text (UTF-16 in char16_t) and narrow text (UTF-8),
// the library's counterparts of WideCharToMultiByte and MultiByteToWideChar
// with the system code page.
//
// Rules shared by both directions:
// - source_units is the length of the source in its code units, or -1 for a
//   null-terminated source: then the terminator is converted too and counted
//   in the result. With an explicit length nothing is added: a terminator
//   comes out only if it was within the length.
// - dest_units 0 only measures: count is what the whole conversion needs, and
//   dest is not touched (it may be null).
// - A destination too small for the whole result is filled with the whole
//   characters that fit, in order, up to the first one that doesn't; a
//   character is never split, so a four-byte UTF-8 sequence or a surrogate
//   pair is written entirely or not at all. The result is then
//   {characters' units written, 122}. No terminator is written in that case
//   (the source's own terminator is the last character and didn't fit), so a
//   caller that wants a terminated prefix clears its buffer and passes one
//   unit less than its size.
// - Ill-formed input is not an error: an unpaired surrogate, and each maximal
//   ill-formed subsequence of UTF-8, becomes U+FFFD.
// - Bad arguments give {0, 87}: a null source, a source length of 0 or below
//   -1, a negative destination size, or a null destination with a size.
// A Windows-style caller reads error != 0 as the failure of the call (whose
// result would be 0) and puts the error into the thread's last error.
struct TextResult {
    uint32_t count = 0;  // code units written, or needed when measuring
    uint32_t error = 0;  // 0, 87 (bad argument) or 122 (destination too small)
};

TextResult utf16_to_utf8(const char16_t *source, int32_t source_units, char *dest, int32_t dest_bytes);
TextResult utf8_to_utf16(const char *source, int32_t source_bytes, char16_t *dest, int32_t dest_units);

// Whole conversions for internal use (file names, INI text). Ill-formed input
// becomes U+FFFD as above. May throw std::bad_alloc.
std::string to_utf8(std::u16string_view text);
std::u16string to_utf16(std::string_view text);

}  // namespace kavix::platform
