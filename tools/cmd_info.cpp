// kavix info: one camera in full, as the library reports it.
#include <cstdio>
#include <memory>
#include <optional>

#include "tools/camera.h"
#include "tools/camera_option.h"
#include "tools/command.h"
#include "tools/failure.h"
#include "tools/formats.h"
#include "tools/table.h"

namespace kavix::tool {

namespace {

std::string hex16(uint16_t value) {
    char text[8];
    std::snprintf(text, sizeof text, "0x%04X", value);
    return text;
}

std::string version_text(uint32_t high, uint32_t low) {
    return std::to_string(high >> 16) + "." + std::to_string(high & 0xFFFF) + "." +
           std::to_string(low >> 16);
}

void identity(const Camera &camera, Report &report) {
    KAVIX_HANDLE h = camera.handle();
    uint16_t vendor = 0, product = 0, fpga = 0, firmware = 0;
    check(Kavix_GetCameraVersion(h, &vendor, &product, &fpga, &firmware), h,
          "reading the camera's versions");
    report.section("Camera");
    report.field("Product", camera.product_name());
    report.field("Product ID", hex16(product));
    report.field("Vendor ID", hex16(vendor));
    if (camera.index()) report.field("Index", std::to_string(*camera.index()));
    report.field("User ID", to_text(camera.user_id()));
    report.field("Serial ID", to_text(camera.serial_id()));
    report.field("Firmware version", std::to_string(firmware));
    report.field("FPGA version", fpga ? std::to_string(fpga) : "none");
}

void usb(const Camera &camera, Report &report) {
    KAVIX_HANDLE h = camera.handle();
    const uint8_t speed = camera.usb_speed();
    uint8_t best = 0, address = 0;
    check(Kavix_GetUSBMaxSpeed(h, &best), h, "reading the USB speed");
    check(Kavix_GetUSBFunctionAddress(h, &address), h, "reading the USB address");
    report.section("USB");
    report.field("Speed", usb_speed_text(speed));
    report.field("Best speed of the camera", usb_speed_text(best));
    report.field("Address", std::to_string(address));
    uint32_t d[4] = {};
    if (Kavix_GetDriverVersion(h, &d[0], &d[1], &d[2], &d[3]))
        report.field("Driver version", std::to_string(d[0] >> 16) + "." +
                                           std::to_string(d[0] & 0xFFFF) + "." +
                                           std::to_string(d[1]));
}

void formats(const Camera &camera, Report &report) {
    KAVIX_HANDLE h = camera.handle();
    uint16_t color_array = 0;
    uint32_t transfer_mask = 0, transfer = 0, preview_mask = 0, preview = 0;
    uint8_t method = 0, mirror_mask = 0;
    check(Kavix_GetColorArray(h, &color_array), h, "reading the colour array");
    check(Kavix_GetEnableTransferBitsPerPixel(h, &transfer_mask), h, "reading the formats");
    check(Kavix_GetTransferBitsPerPixel(h, &transfer), h, "reading the transfer format");
    check(Kavix_GetEnablePreviewPixelFormat(h, &preview_mask), h, "reading the formats");
    check(Kavix_GetPreviewPixelFormat(h, &preview), h, "reading the preview format");
    check(Kavix_GetColorInterpolationMethod(h, &method), h, "reading the interpolation method");
    check(Kavix_GetEnableMirrorMode(h, &mirror_mask), h, "reading the mirror modes");

    std::string previews;
    for (uint32_t f : {KAVIX_PREVIEW_MONO8, KAVIX_PREVIEW_BGR24, KAVIX_PREVIEW_BGR32})
        if (preview_mask & f)
            previews += (previews.empty() ? "" : " ") + preview_format_name(f) +
                        (f == preview ? "*" : "");
    std::string mirrors;
    const std::pair<uint8_t, const char *> kinds[] = {
        {KAVIX_MIRROR_H, "horizontal"}, {KAVIX_MIRROR_V, "vertical"},
        {KAVIX_MIRROR_CAMERA_H, "horizontal-in-camera"}, {KAVIX_MIRROR_CAMERA_V, "vertical-in-camera"}};
    for (const auto &[bit, name] : kinds)
        if (mirror_mask & bit) mirrors += (mirrors.empty() ? "" : " ") + std::string(name);

    report.section("Image (* marks the current choice)");
    report.field("Colour array", color_array_name(color_array));
    report.field("Transfer formats", transfer_format_list(transfer_mask, transfer));
    report.field("Preview formats", previews);
    report.field("Interpolation method", method == 0 ? "0 (none)" : std::to_string(method));
    report.field("Mirror modes", mirrors);
}

std::string mhz(uint32_t hz) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f MHz", hz / 1e6);
    return text;
}

// "0x8001 (free-region 1)": the scan mode numbers are the camera's.
std::string scan_modes_text(uint16_t modes) {
    std::string out;
    for (unsigned bit = 0; bit < 16; ++bit) {
        const uint16_t mode = static_cast<uint16_t>(1u << bit);
        if (!(modes & mode)) continue;
        if (!out.empty()) out += ' ';
        out += mode == KAVIX_SCAN_MODE_FREE_REGION ? "free-region" : std::to_string(mode);
    }
    return out.empty() ? "none" : out;
}

std::string pins_text(uint32_t mask) {
    std::string out;
    for (unsigned pin = 0; pin < 16; ++pin)
        if (mask & (1u << pin)) out += (out.empty() ? "" : " ") + std::to_string(pin);
    return out.empty() ? "none" : out;
}

void geometry(const Camera &camera, Report &report) {
    KAVIX_HANDLE h = camera.handle();
    uint32_t max_width = 0, max_height = 0, size_flags = 0;
    uint32_t x = 0, y = 0, width = 0, height = 0;
    uint16_t modes = 0, mode = 0, lines = 0, clocks = 0;
    check(Kavix_GetMaximumImageSize(h, &max_width, &max_height), h, "reading the sensor size");
    check(Kavix_GetEnableImageSize(h, &size_flags, &modes), h, "reading the scan modes");
    check(Kavix_GetImageSize(h, nullptr, &mode, &x, &y, &width, &height), h,
          "reading the image size");
    check(Kavix_GetFrameClock(h, &lines, &clocks), h, "reading the frame timing");
    report.section("Sensor");
    report.field("Largest image", std::to_string(max_width) + "x" + std::to_string(max_height));
    report.field("Image", std::to_string(width) + "x" + std::to_string(height) + " at " +
                              std::to_string(x) + "," + std::to_string(y));
    report.field("Scan mode", mode == KAVIX_SCAN_MODE_FREE_REGION ? "free-region"
                                                                   : std::to_string(mode));
    report.field("Scan modes", scan_modes_text(modes));
    report.field("Frame", std::to_string(lines) + " lines of " + std::to_string(clocks) +
                              " clocks");
}

void clock(const Camera &camera, Report &report) {
    KAVIX_HANDLE h = camera.handle();
    uint32_t modes = 0, default_hz = 0, min_hz = 0, max_hz = 0, mode = 0, hz = 0;
    check(Kavix_GetEnableClock(h, &modes, &default_hz, &min_hz, &max_hz), h,
          "reading the clock range");
    check(Kavix_GetClock(h, &mode, &hz), h, "reading the clock");
    float fps = 0;
    check(Kavix_GetOutputFPS(h, &fps), h, "reading the frame rate");
    char mask[16];
    std::snprintf(mask, sizeof mask, "0x%X", modes);
    report.section("Clock");
    report.field("Clock", mhz(hz));
    report.field("Range", mhz(min_hz) + " to " + mhz(max_hz));
    report.field("Default", mhz(default_hz));
    report.field("Clock modes", mask);
    char rate[32];
    std::snprintf(rate, sizeof rate, "%.2f frames/s", static_cast<double>(fps));
    report.field("Frame rate", rate);
}

void trigger_io(const Camera &camera, Report &report) {
    KAVIX_HANDLE h = camera.handle();
    uint32_t version = 0, pins = 0, leds = 0;
    check(Kavix_GetEnableTriggerVersion(h, &version), h, "reading the trigger version");
    report.section("Trigger and I/O");
    report.field("Trigger version", std::to_string(version));
    // Models without FPGA have neither pins nor LEDs: their calls fail.
    report.field("I/O pins", Kavix_GetIOExistence(h, &pins) ? pins_text(pins) : "none");
    const char *layout = "none";
    if (Kavix_GetLEDExistence(h, &leds) && leds != 0) layout = leds == 3 ? "three LEDs" : "one LED";
    report.field("LEDs", layout);
}

void functions(const Camera &camera, Report &report) {
    KAVIX_HANDLE h = camera.handle();
    std::string ids;
    unsigned count = 0;
    for (uint32_t id = 0; id < 256; ++id) {
        // Ids 96 to 111 are no functions: that word of the camera's function
        // bits tells which I/O pins exist.
        if (id >= 96 && id < 112) continue;
        uint32_t has = 0;
        check(Kavix_HasFunction(h, id, &has), h, "reading the camera's functions");
        if (!has) continue;
        ids += (ids.empty() ? "" : " ") + std::to_string(id);
        ++count;
    }
    report.section("Functions");
    report.field("Function ids", count ? ids : "none");
}

void library(Report &report) {
    uint32_t file_high = 0, file_low = 0, product_high = 0, product_low = 0;
    uint32_t major = 0, minor = 0, patch = 0, build = 0;
    report.section("Libraries");
    if (Kavix_GetCAMDllVersion(&file_high, &file_low, &product_high, &product_low))
        report.field("KavixD", version_text(file_high, file_low));
    if (Kavix_GetUSBDllVersion(&major, &minor, &patch, &build))
        report.field("KavixUSBD", std::to_string(major) + "." + std::to_string(minor) + "." +
                                      std::to_string(patch));
}

int run_info(const CameraChoice &choice) {
    Camera camera = Camera::open(choice.user_id);
    Report report;
    identity(camera, report);
    usb(camera, report);
    geometry(camera, report);
    clock(camera, report);
    formats(camera, report);
    trigger_io(camera, report);
    functions(camera, report);
    library(report);
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
