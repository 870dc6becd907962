#pragma once
// Virtual cameras from the command line: `--sim MODEL` names a model of the
// simulator's catalogue by product name or product id, `--sim-user-id N`
// gives that camera its user ID. They are plugged in before anything else.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KavixSim.h"

namespace kavix::tool {

struct SimCameraRequest {
    std::string model;
    std::optional<uint32_t> user_id;
};

// Every model of the catalogue, in its order.
std::vector<KavixSimModel> sim_models();

// The model a name ("Tovrik-Q4C-A", case ignored, "Tovrik-" optional) or a
// product id ("0x0810", "2064": its first model) stands for. Throws
// UsageError with the list of known models.
KavixSimModel find_sim_model(std::string_view name_or_id);

// The known models as a table, for error messages and help.
std::string sim_model_list();

// Plugs the cameras in bus order. A camera without --sim-user-id gets its
// position among the --sim cameras (0, 1, ...) as user ID and position + 1 as
// serial ID. Throws UsageError for an unknown model, RuntimeError when the
// simulator refuses a camera.
void plug_sim_cameras(const std::vector<SimCameraRequest> &requests);

}  // namespace kavix::tool
