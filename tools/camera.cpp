#include "tools/camera.h"

#include <utility>

#include "KavixUSBD.h"
#include "tools/failure.h"

namespace kavix::tool {

const char *const kNoCameraHint =
    "Connect a camera (and check its permissions), or try a simulated one:\n"
    "  kavix --sim Tovrik-Q4C-A list\n"
    "'kavix --sim help' lists the simulated models.";

namespace {

// A user ID that no camera is expected to carry: Kavix_Open then finds no
// match, no device at that index, and takes the first camera that is free.
constexpr uint32_t kAnyFreeCamera = 0xFFFFFFFEu;

// USB function addresses by device index, to tell the index of an open camera.
std::vector<std::optional<uint8_t>> bus_addresses(uint32_t count) {
    std::vector<std::optional<uint8_t>> addresses(count);
    for (uint32_t i = 0; i < count; ++i) {
        KAVIXUSB_HANDLE device = KavixUSBD_OpenDevice(i);
        if (!device) continue;
        uint8_t address = 0;
        if (KavixUSBD_GetFunctionAddress(device, &address)) addresses[i] = address;
        KavixUSBD_CloseDevice(device);
    }
    return addresses;
}

std::optional<uint32_t> index_of(KAVIX_HANDLE camera,
                                 const std::vector<std::optional<uint8_t>> &addresses) {
    uint8_t address = 0;
    if (!Kavix_GetUSBFunctionAddress(camera, &address)) return std::nullopt;
    for (uint32_t i = 0; i < addresses.size(); ++i)
        if (addresses[i] == address) return i;
    return std::nullopt;
}

CameraId read_id(KAVIX_HANDLE camera, bool serial) {
    CameraId id;
    char text[256] = {};
    const KAVIX_BOOL ok = serial
                              ? Kavix_ReadCameraSerialIDA(camera, &id.number, text, sizeof text)
                              : Kavix_ReadCameraUserIDA(camera, &id.number, text, sizeof text);
    check(ok, camera, serial ? "reading the serial ID" : "reading the user ID");
    id.text = text;
    return id;
}

}  // namespace

Camera::Camera(KAVIX_HANDLE handle) : handle_(handle) {}

Camera::Camera(Camera &&other) noexcept
    : handle_(std::exchange(other.handle_, nullptr)), index_(other.index_) {}

Camera &Camera::operator=(Camera &&other) noexcept {
    if (this != &other) {
        if (handle_) Kavix_Close(handle_);
        handle_ = std::exchange(other.handle_, nullptr);
        index_ = other.index_;
    }
    return *this;
}

Camera::~Camera() {
    if (handle_) Kavix_Close(handle_);
}

Camera Camera::open(std::optional<uint32_t> user_id) {
    const uint32_t count = Kavix_CameraCount();
    if (count == 0) throw RuntimeError("no camera found on the bus", kNoCameraHint);
    const std::vector<std::optional<uint8_t>> addresses = bus_addresses(count);

    KAVIX_HANDLE handle = Kavix_Open(user_id.value_or(0));
    if (!handle) {
        const uint32_t error = Kavix_GetLastError(nullptr);
        if (error == KAVIX_E_CAMERA_BUSY)
            throw RuntimeError("every camera on the bus is in use by another program",
                               "Close the program that holds the camera, then try again.");
        throw RuntimeError("cannot open a camera: " + error_text(error), kNoCameraHint);
    }
    Camera camera(handle);
    camera.index_ = index_of(handle, addresses);
    // The library falls back to another camera when no user ID matches; a
    // command asked for one camera and must not work on a different one.
    if (user_id && camera.user_id().number != *user_id)
        throw RuntimeError("no camera has user ID " + std::to_string(*user_id),
                           "'kavix list' shows the cameras and their user IDs.");
    return camera;
}

std::vector<Camera> Camera::open_all(uint32_t &unopened, uint32_t &error) {
    const uint32_t count = Kavix_CameraCount();
    const std::vector<std::optional<uint8_t>> addresses = bus_addresses(count);
    std::vector<Camera> cameras;
    // Each open holds its camera, so the next one takes the next free camera.
    while (cameras.size() < count) {
        KAVIX_HANDLE handle = Kavix_Open(kAnyFreeCamera);
        if (!handle) {
            error = Kavix_GetLastError(nullptr);
            break;
        }
        Camera camera(handle);
        camera.index_ = index_of(handle, addresses);
        cameras.push_back(std::move(camera));
    }
    unopened = count - static_cast<uint32_t>(cameras.size());
    return cameras;
}

std::string Camera::product_name() const {
    char name[64] = {};
    check(Kavix_GetProductNameA(handle_, name, sizeof name), handle_, "reading the product name");
    return name;
}

CameraId Camera::user_id() const { return read_id(handle_, false); }

CameraId Camera::serial_id() const { return read_id(handle_, true); }

uint8_t Camera::usb_speed() const {
    uint8_t speed = 0;
    check(Kavix_GetUSBSpeed(handle_, &speed), handle_, "reading the USB speed");
    return speed;
}

std::string to_text(const CameraId &id) {
    return id.text.empty() ? std::to_string(id.number)
                           : std::to_string(id.number) + " \"" + id.text + "\"";
}

std::string usb_speed_text(uint8_t speed) {
    switch (speed) {
    case 0: return "full (12 Mbit/s)";
    case 1: return "high (480 Mbit/s)";
    case 2: return "super (5 Gbit/s)";
    default: return "unknown (" + std::to_string(speed) + ")";
    }
}

}  // namespace kavix::tool
