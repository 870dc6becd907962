#pragma once
#include <memory>
#include <mutex>
#include <vector>

#include "KavixSim.h"
#include "transport/device_list.h"
#include "transport/sim/virtual_camera.h"

namespace kavix::sim {

// The in-process bus of virtual cameras. Cameras keep the port they were
// plugged into, so device indexes follow plug order; a camera that is off the
// bus (re-enumerating) leaves a gap that closes up.
class SimBus {
public:
    static SimBus &instance();

    KAVIXSIM_CAMERA plug(const KavixSimCameraConfig &config);
    bool unplug(KAVIXSIM_CAMERA id);
    void unplug_all();
    std::shared_ptr<VirtualCamera> find(KAVIXSIM_CAMERA id);

    // The cameras on the bus now, in port order.
    std::vector<transport::FoundDevice> devices();

private:
    std::mutex mutex_;
    std::vector<std::shared_ptr<VirtualCamera>> ports_;
    KAVIXSIM_CAMERA next_id_ = 1;
};

// The transport's view of one appearance of a virtual camera on the bus.
class SimDevice final : public transport::Device {
public:
    SimDevice(std::shared_ptr<VirtualCamera> camera, uint32_t generation)
        : camera_(std::move(camera)), generation_(generation) {}

    uint32_t control(const transport::SetupPacket &setup, uint8_t *data,
                     uint32_t &transferred) override {
        return camera_->control(generation_, setup, data, transferred);
    }
    uint32_t config_descriptor(std::vector<uint8_t> &out) override {
        return camera_->config_descriptor(generation_, out);
    }
    uint32_t function_address(uint8_t &address) override {
        return camera_->function_address(generation_, address);
    }
    uint32_t probe() override { return camera_->probe(generation_); }
    uint32_t recover(transport::Recovery kind) override {
        return camera_->recover(generation_, kind);
    }
    uint32_t driver_version(uint32_t (&words)[4]) override {
        return camera_->driver_version(generation_, words);
    }
    uint32_t external_clients() override { return camera_->external_clients(generation_); }

    bool stream_restartable() override { return camera_->stream_restartable(generation_); }
    uint32_t start_stream() override { return camera_->start_stream(generation_); }
    uint32_t stop_stream() override { return camera_->stop_stream(generation_); }
    uint32_t post_stream_read(uint32_t slot, void *buffer, uint32_t length,
                              KAVIXUSBD_STREAM_DONE done, void *context) override {
        return camera_->post_stream_read(generation_, slot, buffer, length, done, context);
    }
    uint32_t stream_result(uint32_t slot, bool wait, uint32_t &transferred) override {
        return camera_->stream_result(generation_, slot, wait, transferred);
    }

    VirtualCamera &camera() { return *camera_; }
    uint32_t generation() const { return generation_; }

private:
    std::shared_ptr<VirtualCamera> camera_;
    uint32_t generation_;
};

}  // namespace kavix::sim
