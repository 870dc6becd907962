// A picture is what one exposure of the sensor looks like on the wire: the
// pixels of a whole frame in the current transfer format, rendered once for a
// combination of window, format, scene, exposure, gain and white balance and
// then shared by every frame taken with that combination. What changes from
// frame to frame (the moving square, temporal noise) is painted while the
// frame is sent, from the pieces kept here.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "transport/sim/scene.h"
#include "transport/sim/transfer_format.h"

namespace kavix::sim {

// How the sensor is read out: the window, skipping and binning, the mirror in
// the camera, the colour filter and the transfer format.
struct SensorReadout {
  uint32_t sensor_width = 0, sensor_height = 0;  // the whole sensor
  uint32_t width = 0, height = 0;                // the frame that is sent
  uint32_t offset_x = 0, offset_y = 0;           // of the window, in sensor pixels
  uint8_t h_skip = 0, v_skip = 0;                // skipping: n + 1 sensor pixels per read pixel
  uint8_t h_bin = 0, v_bin = 0;                  // binning: n + 1 pixels of one colour combined
  bool bin_sum = false;                          // binning adds instead of averaging
  bool mirror_h = false, mirror_v = false;       // mirror in the camera
  bool mirror_keeps_phase = false;               // the camera shifts its mirrored readout by a
                                                 // pixel so that the Bayer phase stays
  uint16_t color_array = 2;                      // of the sensor: 1 mono, 2 to 5 Bayer phases
  uint32_t transfer_bits = kTransferRaw8;

  bool operator==(const SensorReadout &) const = default;
};

// What turns radiance into a sample: exposure relative to the reference
// exposure times analogue and digital gain, and the camera's own white-balance
// gains for R, Gr, Gb and B (1.0 neutral).
struct Response {
  double scale = 1.0;
  double wb[4] = {1.0, 1.0, 1.0, 1.0};

  bool operator==(const Response &) const = default;
};

struct Picture {
  SensorReadout readout;
  FormatInfo format;
  uint32_t row_bytes = 0;
  uint64_t pixel_bytes = 0;     // sent per frame
  std::vector<uint8_t> pixels;  // the still part of the frame, at least pixel_bytes long

  // The moving square, if the scene has one: its size in output pixels and
  // its encoded rows (index: output row parity).
  uint32_t target_width = 0, target_height = 0, target_speed = 0;
  std::vector<uint8_t> target_rows[2];

  // Temporal noise: a pool of offsets in sample units; each row of each frame
  // takes a window of it chosen by frame number and row.
  uint32_t noise_seed = 0;
  std::vector<int16_t> noise_pool;

  bool has_target() const { return target_width != 0; }
  bool has_noise() const { return !noise_pool.empty(); }
};

// Renders a picture. Throws std::bad_alloc when memory runs out.
std::shared_ptr<const Picture> render_picture(const SensorReadout &readout, const SceneSetup &scene,
                                              const Response &response);

// A picture that sends the given pixel bytes unchanged, whatever their size.
std::shared_ptr<const Picture> supplied_picture(const SensorReadout &readout, const uint8_t *bytes,
                                                uint64_t size);

// Mean radiance (R, G, B) of the scene over the window the readout sees,
// from a coarse grid of samples; what a camera's own automatic controls meter.
void scene_mean(const SensorReadout &readout, const SceneSetup &scene, double (&rgb)[3]);

// Where the moving square stands in frame `number`, in output pixels.
struct TargetPlace {
  uint32_t x = 0, y = 0;
};
TargetPlace target_place(const Picture &picture, uint32_t number);

// Writes row `row` of frame `number` (row_bytes bytes) into dst: the still
// row with the square and the noise of that frame.
void render_row(const Picture &picture, uint32_t number, uint32_t row, uint8_t *dst);

// True when a row of frame `number` is the still row as it stands in
// `pixels`, so that it can be copied in one piece.
bool row_is_still(const Picture &picture, uint32_t number, uint32_t row);

}  // namespace kavix::sim
