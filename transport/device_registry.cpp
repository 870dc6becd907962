#include "transport/device_registry.h"

#include "transport/sim/sim_bus.h"
#include "transport/usb/usb_bus.h"
#include "transport/windows_errors.h"

namespace kavix::transport {

DeviceRegistry &DeviceRegistry::instance() {
    static DeviceRegistry registry;
    return registry;
}

KAVIXUSB_HANDLE DeviceRegistry::open(uint32_t index, uint32_t &error) {
    std::lock_guard open_lock(open_mutex_);
    if (index >= KAVIXUSBD_MAX_DEVICES) {
        error = win::kFileNotFound;
        return nullptr;
    }
    std::vector<FoundDevice> found = usb::UsbBus::instance().devices();
    if (index >= found.size()) {
        index -= static_cast<uint32_t>(found.size());
        found = sim::SimBus::instance().devices();
        if (index >= found.size()) {
            error = win::kFileNotFound;
            return nullptr;
        }
    }
    FoundDevice &target = found[index];

    // Handles on one device share its Device object.
    std::shared_ptr<Device> device;
    {
        std::lock_guard lock(mutex_);
        if (opens_.count(target.key))
            for (KAVIXUSB_HANDLE h : handles_)
                if (h->key == target.key) {
                    device = h->device;
                    break;
                }
    }
    if (!device) {
        error = win::kSuccess;
        device = target.open(error);
        if (!device) {
            if (error == win::kSuccess) error = win::kFileNotFound;
            return nullptr;
        }
    }
    auto *handle = new KavixUSBDevice_t{target.key, std::move(device)};
    std::lock_guard lock(mutex_);
    handles_.insert(handle);
    ++opens_[handle->key];
    return handle;
}

bool DeviceRegistry::close(KAVIXUSB_HANDLE handle) {
    {
        std::lock_guard lock(mutex_);
        auto it = handles_.find(handle);
        if (it == handles_.end()) return false;
        handles_.erase(it);
        if (--opens_[handle->key] == 0) opens_.erase(handle->key);
    }
    delete handle;
    return true;
}

std::shared_ptr<Device> DeviceRegistry::device(KAVIXUSB_HANDLE handle) {
    std::lock_guard lock(mutex_);
    if (!handle || !handles_.count(handle)) return nullptr;
    return handle->device;
}

uint32_t DeviceRegistry::handles_on_device(KAVIXUSB_HANDLE handle) {
    std::lock_guard lock(mutex_);
    if (!handle || !handles_.count(handle)) return 0;
    auto it = opens_.find(handle->key);
    return it == opens_.end() ? 0 : it->second;
}

}  // namespace kavix::transport
