#include "transport/sim/sim_bus.h"

#include <algorithm>
#include <string>


namespace kavix::sim {

SimBus &SimBus::instance() {
    static SimBus bus;
    return bus;
}

KAVIXSIM_CAMERA SimBus::plug(const KavixSimCameraConfig &config) {
    std::lock_guard lock(mutex_);
    const KAVIXSIM_CAMERA id = next_id_++;
    ports_.push_back(std::make_shared<VirtualCamera>(id, config));
    return id;
}

bool SimBus::unplug(KAVIXSIM_CAMERA id) {
    std::shared_ptr<VirtualCamera> camera;
    {
        std::lock_guard lock(mutex_);
        auto it = std::find_if(ports_.begin(), ports_.end(),
                               [id](const auto &c) { return c->id() == id; });
        if (it == ports_.end()) return false;
        camera = *it;
        ports_.erase(it);
    }
    camera->unplug();  // open handles keep the object, and now fail
    return true;
}

void SimBus::unplug_all() {
    std::vector<std::shared_ptr<VirtualCamera>> cameras;
    {
        std::lock_guard lock(mutex_);
        cameras.swap(ports_);
    }
    for (auto &c : cameras) c->unplug();
}

std::shared_ptr<VirtualCamera> SimBus::find(KAVIXSIM_CAMERA id) {
    std::lock_guard lock(mutex_);
    for (auto &c : ports_)
        if (c->id() == id) return c;
    return nullptr;
}

std::vector<transport::FoundDevice> SimBus::devices() {
    std::vector<std::shared_ptr<VirtualCamera>> cameras;
    {
        std::lock_guard lock(mutex_);
        cameras = ports_;
    }
    std::vector<transport::FoundDevice> found;
    for (auto &camera : cameras) {
        uint32_t generation = 0;
        if (!camera->present(&generation)) continue;
        found.push_back({"sim:" + std::to_string(camera->id()) + ":" + std::to_string(generation),
                         [camera, generation](uint32_t &) -> std::shared_ptr<transport::Device> {
                             return std::make_shared<SimDevice>(camera, generation);
                         }});
    }
    return found;
}

}  // namespace kavix::sim
