#include "session/camera_functions.h"

#include "session/model_table.h"

namespace kavix {

bool camera_has_function(const CameraInfo &info, const FunctionBits &bits, uint32_t id) {
    const uint16_t pid = info.ProductId;
    if (!model_has_fpga(pid) || id >= 256) return false;
    if (id == 0 && pid != 0x0110 && pid != 0x0210 && pid != 0x0906 && pid != 0x1006) {
        return false;
    }
    // Functions these FPGA versions have without reporting them.
    if (id == 1 && info.FpgaVersion == 15 &&
        (pid == 0x0906 || pid == 0x1006 || pid == 0x1106 || pid == 0x1206 || pid == 0x1506 ||
         pid == 0x1606)) {
        return true;
    }
    if ((id == 2 || id == 6) && pid == 0x0906 && info.FpgaVersion == 16) return true;
    return ((bits[id / 16] >> (id % 16)) & 1u) != 0;
}

}  // namespace kavix
