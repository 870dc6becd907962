// kavix list: the cameras on the bus, one line each.
#include <cstdio>

#include "tools/camera.h"
#include "tools/command.h"
#include "tools/table.h"

namespace kavix::tool {

namespace {

int run_list() {
    uint32_t busy = 0;
    std::vector<Camera> cameras = Camera::open_all(busy);
    if (cameras.empty() && busy == 0) {
        std::printf("No cameras found.\n");
        std::fprintf(stderr, "%s\n", kNoCameraHint);
        return 0;
    }
    Table table({"INDEX", "USER ID", "SERIAL ID", "USB SPEED"});
    for (const Camera &camera : cameras) {
        const std::optional<uint32_t> index = camera.index();
        table.add({index ? std::to_string(*index) : "?", to_text(camera.user_id()),
                   to_text(camera.serial_id()), usb_speed_text(camera.usb_speed())});
    }
    table.print(stdout);
    if (busy)
        std::printf("%u more camera%s in use by another program.\n", busy, busy == 1 ? "" : "s");
    return 0;
}

}  // namespace

Command list_command() {
    Command c;
    c.name = "list";
    c.summary = "list the cameras on the bus, real and simulated";
    c.arguments = "[options]";
    c.description =
        "Shows every camera on the bus: its index, user ID, serial ID and USB speed.\n"
        "Real cameras come first, then the simulated ones of --sim. Other commands\n"
        "pick a camera by its user ID (--camera).";
    c.examples = "  kavix list\n"
                 "  kavix --sim Tovrik-Q4C-A --sim Tovrik-Q4M-A --sim-user-id 7 list";
    c.run = run_list;
    return c;
}

}  // namespace kavix::tool
