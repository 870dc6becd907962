// The KavixSim_ calls for a virtual camera's frame stream: scene, supplied
// frames, stream options, faults and counters.
#include <algorithm>
#include <chrono>
#include <new>

#include "KavixSim.h"
#include "platform/last_error.h"
#include "transport/sim/sim_bus.h"
#include "transport/sim/sim_export_frame.h"
#include "transport/windows_errors.h"

using namespace kavix::sim;
namespace win = kavix::transport::win;

namespace {

bool level_ok(float v) { return v >= 0.0f && v <= 1000.0f; }  // also refuses NaN

}  // namespace

extern "C" {

KAVIXUSBD_API int32_t KavixSim_SetScene(KAVIXSIM_CAMERA camera, const KavixSimScene *scene) {
  if (!scene || scene->kind > KAVIXSIM_SCENE_GRADIENT || !(scene->noise >= 0.0f && scene->noise <= 255.0f))
    return fail(win::kInvalidParameter);
  for (int c = 0; c < 3; ++c)
    if (!level_ok(scene->level[c]) || !level_ok(scene->target_level[c])) return fail(win::kInvalidParameter);
  SceneSetup setup;
  setup.kind = static_cast<SceneKind>(scene->kind);
  std::copy(scene->level, scene->level + 3, setup.level);
  std::copy(scene->target_level, scene->target_level + 3, setup.target_level);
  setup.noise = scene->noise;
  setup.seed = scene->seed;
  setup.target_size = scene->target_size;
  setup.target_speed = scene->target_speed;
  return with_camera(camera, [&](VirtualCamera &c) {
    c.set_scene(setup);
    return 1;
  });
}

KAVIXUSBD_API int32_t KavixSim_SupplyFrames(KAVIXSIM_CAMERA camera, const void *frames, uint32_t frame_bytes,
                                            uint32_t count) {
  if (count && (!frames || frame_bytes == 0)) return fail(win::kInvalidParameter);
  return with_camera(camera, [&](VirtualCamera &c) {
    std::vector<std::vector<uint8_t>> blocks(count);
    const auto *p = static_cast<const uint8_t *>(frames);
    for (uint32_t i = 0; i < count; ++i) blocks[i].assign(p + size_t{i} * frame_bytes, p + size_t{i + 1} * frame_bytes);
    c.stream().supply(std::move(blocks));
    return 1;
  });
}

KAVIXUSBD_API int32_t KavixSim_SetStreamOptions(KAVIXSIM_CAMERA camera, const KavixSimStreamOptions *options) {
  if (!options || options->buffer_frames == 0 || options->reserved != 0) return fail(win::kInvalidParameter);
  return with_camera(camera, [&](VirtualCamera &c) {
    StreamOptions o;
    o.separate_header = options->separate_header != 0;
    o.can_restart = options->can_restart != 0;
    o.as_fast_as_read = options->as_fast_as_read != 0;
    o.buffer_frames = options->buffer_frames;
    c.stream().set_options(o);
    c.set_first_frame_number(options->first_frame_number);
    return 1;
  });
}

KAVIXUSBD_API int32_t KavixSim_GetStreamOptions(KAVIXSIM_CAMERA camera, KavixSimStreamOptions *options) {
  if (!options) return fail(win::kInvalidParameter);
  return with_camera(camera, [&](VirtualCamera &c) {
    const StreamOptions o = c.stream().options();
    *options = KavixSimStreamOptions{};
    options->separate_header = o.separate_header;
    options->can_restart = o.can_restart;
    options->as_fast_as_read = o.as_fast_as_read;
    options->buffer_frames = o.buffer_frames;
    options->first_frame_number = c.first_frame_number();
    return 1;
  });
}

KAVIXUSBD_API int32_t KavixSim_AddStreamFault(KAVIXSIM_CAMERA camera, uint32_t kind, uint32_t frame_number,
                                              uint64_t param) {
  if (kind < KAVIXSIM_STREAM_UNPLUG || kind > KAVIXSIM_STREAM_SPLIT) return fail(win::kInvalidParameter);
  return with_camera(camera, [&](VirtualCamera &c) {
    c.stream().add_fault({static_cast<FaultKind>(kind), frame_number, param});
    return 1;
  });
}

KAVIXUSBD_API int32_t KavixSim_SetRandomStreamFaults(KAVIXSIM_CAMERA camera, uint32_t kinds, uint32_t per_million,
                                                     uint64_t seed) {
  if (kinds >> kFaultKinds || per_million > 1000000) return fail(win::kInvalidParameter);
  return with_camera(camera, [&](VirtualCamera &c) {
    c.stream().set_random_faults(kinds, per_million, seed);
    return 1;
  });
}

KAVIXUSBD_API int32_t KavixSim_ClearStreamFaults(KAVIXSIM_CAMERA camera) {
  return with_camera(camera, [&](VirtualCamera &c) {
    c.stream().clear_faults();
    return 1;
  });
}

KAVIXUSBD_API int32_t KavixSim_ResumeStream(KAVIXSIM_CAMERA camera) {
  return with_camera(camera, [&](VirtualCamera &c) {
    c.stream().resume();
    return 1;
  });
}

KAVIXUSBD_API int32_t KavixSim_GetStreamCounters(KAVIXSIM_CAMERA camera, KavixSimStreamCounters *counters) {
  if (!counters) return fail(win::kInvalidParameter);
  return with_camera(camera, [&](VirtualCamera &c) {
    const StreamCounters n = c.stream().counters();
    counters->produced = n.produced;
    counters->delivered = n.delivered;
    counters->lost = n.lost;
    counters->bytes = n.bytes;
    counters->faults = n.faults;
    counters->reads = n.reads;
    counters->starts = n.starts;
    return 1;
  });
}

KAVIXUSBD_API int32_t KavixSim_WaitStreamCounter(KAVIXSIM_CAMERA camera, uint32_t counter, uint64_t value,
                                                 uint32_t timeout_ms) {
  if (counter > KAVIXSIM_COUNTER_STARTS) return fail(win::kInvalidParameter);
  return with_camera(camera, [&](VirtualCamera &c) {
    return c.stream().wait_for(static_cast<StreamCounter>(counter), value, std::chrono::milliseconds(timeout_ms))
               ? 1
               : fail(win::kWaitTimeout);
  });
}

KAVIXUSBD_API int32_t KavixSim_WaitStreamIdle(KAVIXSIM_CAMERA camera, uint32_t timeout_ms) {
  return with_camera(camera, [&](VirtualCamera &c) {
    return c.stream().wait_idle(std::chrono::milliseconds(timeout_ms)) ? 1 : fail(win::kWaitTimeout);
  });
}

}  // extern "C"
