#pragma once
// --camera ID: which camera a command works on.
#include <cstdint>
#include <optional>

#include "tools/options.h"

namespace kavix::tool {

struct CameraChoice {
    std::optional<uint32_t> user_id;  // none: the first free camera
};

inline OptionDef camera_option(CameraChoice &choice) {
    return {'c', "camera", "ID",
            "the camera with this user ID (see 'kavix list');\n"
            "default: the first camera that is free",
            [&choice](std::string_view v) {
                choice.user_id = parse_uint("--camera", v, 0, 0xFFFFFFFFu);
            }};
}

}  // namespace kavix::tool
