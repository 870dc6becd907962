// kavix info: one camera in full, as the library reports it.
#include <cstdio>
#include <memory>
#include <optional>

#include "tools/camera.h"
#include "tools/camera_option.h"
#include "tools/command.h"
#include "tools/failure.h"
#include "tools/table.h"

namespace kavix::tool {

namespace {

void identity(const Camera &camera, Report &report) {
    report.section("Camera");
    if (camera.index()) report.field("Index", std::to_string(*camera.index()));
    report.field("User ID", to_text(camera.user_id()));
    report.field("Serial ID", to_text(camera.serial_id()));
}

void usb(const Camera &camera, Report &report) {
    KAVIX_HANDLE h = camera.handle();
    const uint8_t speed = camera.usb_speed();
    uint8_t best = 0;
    check(Kavix_GetUSBMaxSpeed(h, &best), h, "reading the USB speed");
    report.section("USB");
    report.field("Speed", usb_speed_text(speed));
    report.field("Best speed of the camera", usb_speed_text(best));
}

void pipeline(const Camera &camera, Report &report) {
    KAVIX_HANDLE h = camera.handle();
    uint8_t method = 0;
    check(Kavix_GetColorInterpolationMethod(h, &method), h, "reading the interpolation method");
    report.section("Image pipeline");
    report.field("Interpolation method", method == 0 ? "0 (none: mono)" : std::to_string(method));
}

int run_info(const CameraChoice &choice) {
    Camera camera = Camera::open(choice.user_id);
    Report report;
    identity(camera, report);
    usb(camera, report);
    pipeline(camera, report);
    report.print(stdout);
    return 0;
}

}  // namespace

Command info_command() {
    auto choice = std::make_shared<CameraChoice>();
    Command c;
    c.name = "info";
    c.summary = "show everything about one camera";
    c.arguments = "[options]";
    c.description = "Shows what the camera reports about itself and what the library makes of it.";
    c.examples = "  kavix --sim Tovrik-Q4C-A info\n"
                 "  kavix info --camera 7";
    c.options = {camera_option(*choice)};
    c.run = [choice] { return run_info(*choice); };
    return c;
}

}  // namespace kavix::tool
