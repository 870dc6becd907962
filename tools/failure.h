#pragma once
// Failures at run time (exit code 1): what went wrong and what to do about
// it, with the library's error numbers put into words.
#include <cstdint>
#include <stdexcept>
#include <string>

#include "KavixD.h"

namespace kavix::tool {

struct RuntimeError : std::runtime_error {
    RuntimeError(const std::string &message, std::string hint = {})
        : std::runtime_error(message), hint(std::move(hint)) {}
    std::string hint;  // a next step for the user; may be empty
};

// "no camera could be found (0xE0000001)", "invalid parameter (87)", ...
std::string error_text(uint32_t error);

// Throws a RuntimeError "<what>: <error text>" for a failed library call on
// `camera` (its last error), or on no camera (the process-wide one).
void check(KAVIX_BOOL result, KAVIX_HANDLE camera, const std::string &what);

}  // namespace kavix::tool
