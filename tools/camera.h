#pragma once
// An open camera of the library, closed when it goes out of scope, and the
// ways the commands pick one: by user ID, or every camera on the bus.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "KavixD.h"

namespace kavix::tool {

struct CameraId {
    uint32_t number = 0;
    std::string text;
};

class Camera {
public:
    // The camera with this user ID, or without one the first camera that is
    // free. Throws RuntimeError that says what to do (empty bus, no such ID,
    // camera in use).
    static Camera open(std::optional<uint32_t> user_id);
    // Every camera that can be opened, in bus order. `unopened` counts the
    // cameras on the bus that could not be opened, `error` tells why (the
    // library's error number of the last failed open).
    static std::vector<Camera> open_all(uint32_t &unopened, uint32_t &error);

    Camera(Camera &&other) noexcept;
    Camera &operator=(Camera &&other) noexcept;
    Camera(const Camera &) = delete;
    Camera &operator=(const Camera &) = delete;
    ~Camera();

    KAVIX_HANDLE handle() const { return handle_; }
    // Device index on the bus: real cameras first, then the simulated ones.
    std::optional<uint32_t> index() const { return index_; }

    std::string product_name() const;
    CameraId user_id() const;
    CameraId serial_id() const;
    // The library's speed number: 0 full, 1 high, 2 super speed.
    uint8_t usb_speed() const;

private:
    explicit Camera(KAVIX_HANDLE handle);
    KAVIX_HANDLE handle_ = nullptr;
    std::optional<uint32_t> index_;
};

// "5 \"Left\"", or just the number when the ID has no text.
std::string to_text(const CameraId &id);
// "high (480 Mbit/s)" for the library's speed numbers 0, 1, 2.
std::string usb_speed_text(uint8_t speed);

// The step to take when no camera is there.
extern const char *const kNoCameraHint;

}  // namespace kavix::tool
