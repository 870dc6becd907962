// kavix list: the cameras on the bus, one line each.
#include <cstdio>

#include "tools/camera.h"
#include "tools/command.h"
#include "tools/failure.h"
#include "tools/table.h"

namespace kavix::tool {

namespace {

int run_list() {
    uint32_t unopened = 0, error = 0;
    std::vector<Camera> cameras = Camera::open_all(unopened, error);
    if (cameras.empty() && unopened == 0) {
        std::printf("No cameras found.\n");
        std::fprintf(stderr, "%s\n", kNoCameraHint);
        return 0;
    }
    Table table({"INDEX", "PRODUCT", "USER ID", "SERIAL ID", "USB SPEED"});
    for (const Camera &camera : cameras) {
        const std::optional<uint32_t> index = camera.index();
        table.add({index ? std::to_string(*index) : "?", camera.product_name(),
                   to_text(camera.user_id()),
                   to_text(camera.serial_id()), usb_speed_text(camera.usb_speed())});
    }
    table.print(stdout);
    if (unopened)
        std::printf("%u more camera%s could not be opened: %s.\n", unopened,
                    unopened == 1 ? "" : "s",
                    error == KAVIX_E_CAMERA_BUSY ? "in use by another program"
                                                 : error_text(error).c_str());
    return 0;
}

}  // namespace

Command list_command() {
    Command c;
    c.name = "list";
    c.summary = "list the cameras on the bus, real and simulated";
    c.arguments = "[options]";
    c.description =
        "Shows every camera on the bus: its index, product name, user ID, serial ID and\n"
        "USB speed. "
        "Real cameras come first, then the simulated ones of --sim. Other\n"
        "commands pick a camera by its user ID (--camera).";
    c.examples = "  kavix list\n"
                 "  kavix --sim Tovrik-Q4C-A --sim Tovrik-Q4M-A --sim-user-id 7 list";
    c.run = run_list;
    return c;
}

}  // namespace kavix::tool
