// What a virtual camera looks at. A scene is a picture of linear radiance,
// red, green and blue, over the whole sensor: 1.0 is the level that fills a
// sample at the reference exposure with unity gain, so that what the camera
// sends follows exposure and gain the way a real sensor does.
#pragma once

#include <cstdint>

namespace kavix::sim {

enum class SceneKind : uint32_t {
  kColorBars = 0,     // eight vertical bars: white, yellow, cyan, green, magenta, red, blue, black
  kFlatField = 1,     // one level everywhere
  kMovingTarget = 2,  // a bright square moving over a flat background, a step per frame
  kGradient = 3,      // red rises to the right, blue downwards, green along the diagonal
};

struct SceneSetup {
  SceneKind kind = SceneKind::kColorBars;
  float level[3] = {0.5f, 0.5f, 0.5f};         // flat field and target background, R G B
  float target_level[3] = {0.9f, 0.9f, 0.9f};  // the moving square, R G B
  float noise = 0.0f;          // temporal noise, standard deviation in 8-bit levels
  uint32_t seed = 1;           // of the noise
  uint32_t target_size = 0;    // side of the square in output pixels; 0 for an eighth of the smaller side
  uint32_t target_speed = 4;   // output pixels per frame, horizontally (half that vertically)

  bool operator==(const SceneSetup &) const = default;
};

// True when every sensor row of the scene looks the same, so that a rendered
// row can be reused for the whole frame.
bool scene_rows_alike(const SceneSetup &scene);

// Radiance at sensor row `sy` for `count` sensor columns `sx`, written as
// R, G, B triples into `rgb` (3 x count floats). The sensor is
// sensor_width x sensor_height pixels; a scene spans all of it.
void scene_row(const SceneSetup &scene, uint32_t sensor_width, uint32_t sensor_height, uint32_t sy,
               const uint32_t *sx, uint32_t count, float *rgb);

}  // namespace kavix::sim
