#include "transport/sim/scene.h"

#include <algorithm>

namespace kavix::sim {

namespace {

// 75 % bars, the classic order from white down to black.
constexpr float kBarLevel = 0.75f;
constexpr float kBars[8][3] = {
    {1, 1, 1}, {1, 1, 0}, {0, 1, 1}, {0, 1, 0}, {1, 0, 1}, {1, 0, 0}, {0, 0, 1}, {0, 0, 0},
};

}  // namespace

bool scene_rows_alike(const SceneSetup &scene) {
  // The moving square is painted per frame over a flat background.
  return scene.kind != SceneKind::kGradient;
}

void scene_row(const SceneSetup &scene, uint32_t sensor_width, uint32_t sensor_height, uint32_t sy,
               const uint32_t *sx, uint32_t count, float *rgb) {
  const uint32_t w = std::max<uint32_t>(sensor_width, 1);
  const uint32_t h = std::max<uint32_t>(sensor_height, 1);
  switch (scene.kind) {
    case SceneKind::kColorBars:
      for (uint32_t i = 0; i < count; ++i) {
        const uint32_t bar = std::min<uint32_t>(static_cast<uint32_t>(uint64_t{sx[i]} * 8 / w), 7);
        for (int c = 0; c < 3; ++c) rgb[3 * i + c] = kBars[bar][c] * kBarLevel;
      }
      break;
    case SceneKind::kGradient: {
      const float fy = static_cast<float>(sy) / static_cast<float>(h);
      for (uint32_t i = 0; i < count; ++i) {
        const float fx = static_cast<float>(sx[i]) / static_cast<float>(w);
        rgb[3 * i + 0] = fx;
        rgb[3 * i + 1] = 0.5f * (fx + fy);
        rgb[3 * i + 2] = fy;
      }
      break;
    }
    case SceneKind::kFlatField:
    case SceneKind::kMovingTarget:
    default:
      for (uint32_t i = 0; i < count; ++i)
        for (int c = 0; c < 3; ++c) rgb[3 * i + c] = scene.level[c];
      break;
  }
}

}  // namespace kavix::sim
