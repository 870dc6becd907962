#pragma once
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "KavixUSBD.h"
#include "transport/device.h"

// What a transport handle points to: one client's hold on a device.
struct KavixUSBDevice_t {
    std::string key;
    std::shared_ptr<kavix::transport::Device> device;
};

namespace kavix::transport {

// Device indexes over both buses (real devices first, then the virtual ones),
// the open handles, and how many handles each device has. A handle is checked
// against the set of open handles before every use, so a closed or foreign
// handle is refused rather than followed.
class DeviceRegistry {
public:
    static DeviceRegistry &instance();

    KAVIXUSB_HANDLE open(uint32_t index, uint32_t &error);
    bool close(KAVIXUSB_HANDLE handle);

    // The device behind an open handle, or null (error 6).
    std::shared_ptr<Device> device(KAVIXUSB_HANDLE handle);

    // Handles of this process on the handle's device.
    uint32_t handles_on_device(KAVIXUSB_HANDLE handle);

private:
    std::mutex open_mutex_;  // one open at a time, so a device is opened once
    std::mutex mutex_;       // handles_ and opens_
    std::set<KAVIXUSB_HANDLE> handles_;
    std::map<std::string, uint32_t> opens_;  // by device key
};

}  // namespace kavix::transport
