#include "session/session.h"

#include "session/camera_functions.h"
#include "session/model_table.h"

namespace kavix {

bool KAVIX_COMMON_PARAM::has_fpga() const { return model_has_fpga(info.ProductId); }

bool KAVIX_COMMON_PARAM::has_function(uint32_t id) const {
    return camera_has_function(info, functions, id);
}

}  // namespace kavix
