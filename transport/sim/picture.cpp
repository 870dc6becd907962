#include "transport/sim/picture.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace kavix::sim {

namespace {

// Positions of a Bayer cell: R, Gr, Gb, B; their index also picks the
// white-balance gain.
enum Cfa { kR = 0, kGr = 1, kGb = 2, kB = 3 };

// Colour of cell position (row parity * 2 + column parity) for each phase.
constexpr Cfa kPhase[4][4] = {
    {kR, kGr, kGb, kB},  // 2: R Gr / Gb B
    {kGr, kR, kB, kGb},  // 3: Gr R / B Gb
    {kGb, kB, kR, kGr},  // 4: Gb B / R Gr
    {kB, kGb, kGr, kR},  // 5: B Gb / Gr R
};
constexpr int kCfaChannel[4] = {0, 1, 1, 2};  // radiance channel of each position

constexpr float kLumaR = 0.299f, kLumaG = 0.587f, kLumaB = 0.114f;

bool is_bayer(const SensorReadout &r, const FormatInfo &f) {
  return (f.layout == PixelLayout::kRaw8 || f.layout == PixelLayout::kRaw16) && r.color_array >= 2 &&
         r.color_array <= 5;
}

uint64_t splitmix64(uint64_t &state) {
  uint64_t z = (state += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

uint32_t quantise(float v, uint32_t full) {
  v = std::clamp(v, 0.0f, 1.0f);
  return static_cast<uint32_t>(v * static_cast<float>(full) + 0.5f);
}

uint8_t clamp_u8(float v) { return static_cast<uint8_t>(std::clamp(v + 0.5f, 0.0f, 255.0f)); }

void put_u16(uint8_t *p, uint32_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}

// Sensor coordinates of one output axis: for each output index, the first
// sensor index of each of the `bins` samples combined into it.
std::vector<uint32_t> sensor_axis(uint32_t count, uint32_t offset, uint32_t skip, uint32_t bin,
                                  bool mirror, bool bayer, uint32_t sensor_size) {
  const uint32_t bins = bin + 1u;
  const uint32_t step = (skip + 1u) * bins;  // cells (or pixels) consumed per output cell
  const uint32_t last = sensor_size ? sensor_size - 1 : 0;
  std::vector<uint32_t> axis(size_t{count} * bins);
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t w = mirror ? count - 1 - i : i;  // index in the unmirrored window
    for (uint32_t b = 0; b < bins; ++b) {
      uint64_t s = bayer ? offset + (uint64_t{w / 2} * step + b) * 2 + (w & 1u)
                         : offset + uint64_t{w} * step + b;
      axis[size_t{i} * bins + b] = static_cast<uint32_t>(std::min<uint64_t>(s, last));
    }
  }
  return axis;
}

// Renders rows of one scene through one readout and response.
class RowRenderer {
 public:
  RowRenderer(const SensorReadout &readout, const SceneSetup &scene, const Response &response)
      : r_(readout), scene_(scene), response_(response), format_(format_info(readout.transfer_bits)),
        bayer_(is_bayer(readout, format_)),
        columns_(sensor_axis(readout.width, readout.offset_x, readout.h_skip, readout.h_bin,
                             readout.mirror_h, bayer_, readout.sensor_width)),
        rows_(sensor_axis(readout.height, readout.offset_y, readout.v_skip, readout.v_bin,
                          readout.mirror_v, bayer_, readout.sensor_height)),
        radiance_(columns_.size() * 3), sum_(size_t{readout.width} * 3),
        samples_(readout.width) {}

  // Encodes output row y into dst (row_bytes bytes).
  void render(uint32_t y, uint8_t *dst) {
    gather(y);
    if (is_rgb_layout()) {
      encode_rgb(dst);
    } else {
      make_samples(y);
      encode_samples(dst);
    }
  }

 private:
  bool is_rgb_layout() const {
    switch (format_.layout) {
      case PixelLayout::kBGR24:
      case PixelLayout::kBGR30:
      case PixelLayout::kYUV411:
      case PixelLayout::kYUV422:
      case PixelLayout::kYUV444: return true;
      default: return false;
    }
  }

  // Radiance of each output pixel of row y, binned, times the response scale.
  void gather(uint32_t y) {
    const uint32_t w = r_.width;
    const uint32_t hb = r_.h_bin + 1u, vb = r_.v_bin + 1u;
    std::fill(sum_.begin(), sum_.end(), 0.0f);
    for (uint32_t b = 0; b < vb; ++b) {
      scene_row(scene_, r_.sensor_width, r_.sensor_height, rows_[size_t{y} * vb + b], columns_.data(),
                static_cast<uint32_t>(columns_.size()), radiance_.data());
      for (uint32_t x = 0; x < w; ++x)
        for (uint32_t k = 0; k < hb; ++k)
          for (int c = 0; c < 3; ++c) sum_[3 * x + c] += radiance_[3 * (size_t{x} * hb + k) + c];
    }
    const float n = static_cast<float>(hb * vb);
    const float scale = static_cast<float>(response_.scale) / (r_.bin_sum ? 1.0f : n);
    for (float &v : sum_) v *= scale;
  }

  // One sample per pixel: the Bayer colour of the pixel, or luminance.
  void make_samples(uint32_t y) {
    const uint32_t w = r_.width;
    const float wr = static_cast<float>(response_.wb[kR]);
    const float wg = static_cast<float>(0.5 * (response_.wb[kGr] + response_.wb[kGb]));
    const float wb = static_cast<float>(response_.wb[kB]);
    if (bayer_) {
      // The filter colour of a pixel is that of the sensor pixel it was read
      // from, unless the camera keeps the phase when it mirrors.
      const Cfa *phase = kPhase[r_.color_array - 2];
      const bool flip_h = r_.mirror_h && !r_.mirror_keeps_phase;
      const bool flip_v = r_.mirror_v && !r_.mirror_keeps_phase;
      const uint32_t wy = flip_v ? r_.height - 1 - y : y;
      for (uint32_t x = 0; x < w; ++x) {
        const uint32_t wx = flip_h ? w - 1 - x : x;
        const Cfa c = phase[(wy & 1u) * 2 + (wx & 1u)];
        samples_[x] = sum_[3 * x + kCfaChannel[c]] * static_cast<float>(response_.wb[c]);
      }
    } else if (r_.color_array == 1) {
      // A monochrome sensor has no filter and no white balance.
      for (uint32_t x = 0; x < w; ++x)
        samples_[x] = kLumaR * sum_[3 * x] + kLumaG * sum_[3 * x + 1] + kLumaB * sum_[3 * x + 2];
    } else {
      for (uint32_t x = 0; x < w; ++x)
        samples_[x] = kLumaR * wr * sum_[3 * x] + kLumaG * wg * sum_[3 * x + 1] + kLumaB * wb * sum_[3 * x + 2];
    }
  }

  void encode_samples(uint8_t *dst) {
    const uint32_t w = r_.width;
    const uint32_t full = (1u << format_.depth) - 1u;
    if (format_.bits_per_pixel == 8) {
      for (uint32_t x = 0; x < w; ++x) dst[x] = static_cast<uint8_t>(quantise(samples_[x], full));
    } else {
      for (uint32_t x = 0; x < w; ++x) put_u16(dst + 2 * x, quantise(samples_[x], full));
    }
  }

  void encode_rgb(uint8_t *dst) {
    const uint32_t w = r_.width;
    const float wr = static_cast<float>(response_.wb[kR]);
    const float wg = static_cast<float>(0.5 * (response_.wb[kGr] + response_.wb[kGb]));
    const float wb = static_cast<float>(response_.wb[kB]);
    for (uint32_t x = 0; x < w; ++x) {
      sum_[3 * x] *= wr;
      sum_[3 * x + 1] *= wg;
      sum_[3 * x + 2] *= wb;
    }
    switch (format_.layout) {
      case PixelLayout::kBGR24:
        for (uint32_t x = 0; x < w; ++x) {
          dst[3 * x + 0] = static_cast<uint8_t>(quantise(sum_[3 * x + 2], 255));
          dst[3 * x + 1] = static_cast<uint8_t>(quantise(sum_[3 * x + 1], 255));
          dst[3 * x + 2] = static_cast<uint8_t>(quantise(sum_[3 * x + 0], 255));
        }
        break;
      case PixelLayout::kBGR30:
        for (uint32_t x = 0; x < w; ++x) {
          const uint32_t v = quantise(sum_[3 * x + 2], 1023) | quantise(sum_[3 * x + 1], 1023) << 10 |
                             quantise(sum_[3 * x + 0], 1023) << 20;
          put_u16(dst + 4 * x, v & 0xFFFFu);
          put_u16(dst + 4 * x + 2, v >> 16);
        }
        break;
      default: encode_yuv(dst); break;
    }
  }

  // Y, U, V of the library's decoder inverted: B = Y + 1.7718 (U - 128),
  // R = Y + 1.402 (V - 128). Pixels that share chroma share the mean of theirs.
  void encode_yuv(uint8_t *dst) {
    const uint32_t w = r_.width;
    const uint32_t row = row_bytes(r_.transfer_bits, w);
    float yv[4], du[4], dv[4];
    uint8_t group[12];
    for (uint32_t x0 = 0; x0 < w; x0 += 4) {
      const uint32_t n = std::min<uint32_t>(4, w - x0);
      for (uint32_t i = 0; i < 4; ++i) {
        const uint32_t x = x0 + std::min(i, n - 1);  // a short last group repeats its last pixel
        const float r = static_cast<float>(quantise(sum_[3 * x], 255));
        const float g = static_cast<float>(quantise(sum_[3 * x + 1], 255));
        const float b = static_cast<float>(quantise(sum_[3 * x + 2], 255));
        yv[i] = kLumaR * r + kLumaG * g + kLumaB * b;
        du[i] = (b - yv[i]) / 1.7718f;
        dv[i] = (r - yv[i]) / 1.402f;
      }
      size_t bytes = 0, at = 0;
      switch (format_.layout) {
        case PixelLayout::kYUV411: {
          const float u = (du[0] + du[1] + du[2] + du[3]) / 4, v = (dv[0] + dv[1] + dv[2] + dv[3]) / 4;
          const uint8_t g[6] = {clamp_u8(u + 128), clamp_u8(yv[0]), clamp_u8(yv[1]),
                                clamp_u8(v + 128), clamp_u8(yv[2]), clamp_u8(yv[3])};
          std::memcpy(group, g, 6);
          bytes = 6;
          at = size_t{x0} * 3 / 2;
          break;
        }
        case PixelLayout::kYUV422: {
          const float u0 = (du[0] + du[1]) / 2, v0 = (dv[0] + dv[1]) / 2;
          const float u1 = (du[2] + du[3]) / 2, v1 = (dv[2] + dv[3]) / 2;
          const uint8_t g[8] = {clamp_u8(u0 + 128), clamp_u8(yv[0]), clamp_u8(v0 + 128), clamp_u8(yv[1]),
                                clamp_u8(u1 + 128), clamp_u8(yv[2]), clamp_u8(v1 + 128), clamp_u8(yv[3])};
          std::memcpy(group, g, 8);
          bytes = 8;
          at = size_t{x0} * 2;
          break;
        }
        default:  // 4:4:4
          for (uint32_t i = 0; i < 4; ++i) {
            group[3 * i + 0] = clamp_u8(du[i] + 128);
            group[3 * i + 1] = clamp_u8(yv[i]);
            group[3 * i + 2] = clamp_u8(dv[i] + 128);
          }
          bytes = 12;
          at = size_t{x0} * 3;
          break;
      }
      if (at < row) std::memcpy(dst + at, group, std::min<size_t>(bytes, row - at));
    }
  }

  SensorReadout r_;
  SceneSetup scene_;
  Response response_;
  FormatInfo format_;
  bool bayer_;
  std::vector<uint32_t> columns_, rows_;
  std::vector<float> radiance_, sum_, samples_;
};

// Samples of one row, as the noise sees them.
uint32_t noise_samples_per_row(const Picture &p) {
  switch (p.format.layout) {
    case PixelLayout::kRaw16:
    case PixelLayout::kMono16: return p.readout.width;
    case PixelLayout::kBGR30: return p.readout.width * 3;
    default: return p.row_bytes;
  }
}

void make_noise(Picture &p, float sigma_8bit, uint32_t seed) {
  if (!(sigma_8bit > 0.0f)) return;
  const float full = static_cast<float>((1u << p.format.depth) - 1u);
  const float sigma = sigma_8bit * full / 255.0f;
  const size_t n = std::max<size_t>(size_t{1} << 16, size_t{noise_samples_per_row(p)} * 4);
  p.noise_pool.resize(n);
  p.noise_seed = seed;
  uint64_t state = seed;
  for (size_t i = 0; i < n; i += 2) {
    // Box-Muller on our own generator, so that a seed means the same noise everywhere.
    const double u1 = (static_cast<double>(splitmix64(state) >> 11) + 1.0) * 0x1.0p-53;
    const double u2 = static_cast<double>(splitmix64(state) >> 11) * 0x1.0p-53;
    const double m = std::sqrt(-2.0 * std::log(u1)) * sigma;
    const double a = 2.0 * 3.14159265358979323846 * u2;
    p.noise_pool[i] = static_cast<int16_t>(std::clamp(std::lround(m * std::cos(a)), -32767l, 32767l));
    if (i + 1 < n)
      p.noise_pool[i + 1] = static_cast<int16_t>(std::clamp(std::lround(m * std::sin(a)), -32767l, 32767l));
  }
}

// The byte case runs for every pixel of every frame of a noisy scene: a
// straight loop the compiler turns into vector code.
[[gnu::optimize("tree-vectorize")]] void add_byte_noise(uint8_t *dst, const int16_t *noise, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    const int v = dst[i] + noise[i];
    dst[i] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
  }
}

void add_noise(const Picture &p, uint32_t number, uint32_t row, uint8_t *dst) {
  const uint32_t count = noise_samples_per_row(p);
  uint64_t state = (uint64_t{p.noise_seed} << 32) ^ (uint64_t{number} * 0x9E3779B1u) ^ (uint64_t{row} << 1);
  const size_t span = p.noise_pool.size() - count;
  const int16_t *noise = p.noise_pool.data() + (span ? splitmix64(state) % span : 0);
  const int full = static_cast<int>((1u << p.format.depth) - 1u);
  switch (p.format.layout) {
    case PixelLayout::kRaw16:
    case PixelLayout::kMono16:
      for (uint32_t i = 0; i < count; ++i) {
        const int v = std::clamp(int{dst[2 * i]} + (int{dst[2 * i + 1]} << 8) + noise[i], 0, full);
        put_u16(dst + 2 * i, static_cast<uint32_t>(v));
      }
      break;
    case PixelLayout::kBGR30:
      for (uint32_t x = 0; x < p.readout.width; ++x) {
        uint8_t *px = dst + 4 * x;
        uint32_t v = uint32_t{px[0]} | uint32_t{px[1]} << 8 | uint32_t{px[2]} << 16 | uint32_t{px[3]} << 24;
        uint32_t out = v & 0xC0000000u;
        for (uint32_t c = 0; c < 3; ++c) {
          const int s = std::clamp(static_cast<int>((v >> (10 * c)) & 1023u) + noise[3 * x + c], 0, 1023);
          out |= static_cast<uint32_t>(s) << (10 * c);
        }
        put_u16(px, out & 0xFFFFu);
        put_u16(px + 2, out >> 16);
      }
      break;
    default: add_byte_noise(dst, noise, count); break;
  }
}

}  // namespace

std::shared_ptr<const Picture> render_picture(const SensorReadout &readout, const SceneSetup &scene,
                                              const Response &response) {
  auto p = std::make_shared<Picture>();
  p->readout = readout;
  p->format = format_info(readout.transfer_bits);
  p->row_bytes = row_bytes(readout.transfer_bits, readout.width);
  p->pixel_bytes = pixel_bytes(readout.transfer_bits, readout.width, readout.height);
  p->pixels.assign(std::max<uint64_t>(p->pixel_bytes, uint64_t{p->row_bytes} * readout.height), 0);
  if (p->format.layout == PixelLayout::kNone || readout.width == 0 || readout.height == 0) return p;

  RowRenderer renderer(readout, scene, response);
  const uint32_t row = p->row_bytes;
  if (scene_rows_alike(scene)) {
    // Every row is one of two (the Bayer rows differ); render them once.
    const uint32_t first = std::min<uint32_t>(2, readout.height);
    for (uint32_t y = 0; y < first; ++y) renderer.render(y, p->pixels.data() + size_t{y} * row);
    for (uint32_t y = first; y < readout.height; ++y)
      std::memcpy(p->pixels.data() + size_t{y} * row, p->pixels.data() + size_t{y & 1u} * row, row);
  } else {
    for (uint32_t y = 0; y < readout.height; ++y) renderer.render(y, p->pixels.data() + size_t{y} * row);
  }

  if (scene.kind == SceneKind::kMovingTarget) {
    uint32_t side = scene.target_size ? scene.target_size : std::min(readout.width, readout.height) / 8;
    side = std::min({side, readout.width, readout.height}) & ~3u;
    if (side >= 4) {
      p->target_width = side;
      p->target_height = side;
      p->target_speed = scene.target_speed;
      SceneSetup square = scene;
      square.kind = SceneKind::kFlatField;
      std::copy(std::begin(scene.target_level), std::end(scene.target_level), square.level);
      RowRenderer target(readout, square, response);
      for (uint32_t parity = 0; parity < std::min<uint32_t>(2, readout.height); ++parity) {
        p->target_rows[parity].assign(row, 0);
        target.render(parity, p->target_rows[parity].data());
      }
    }
  }
  make_noise(*p, scene.noise, scene.seed);
  return p;
}

std::shared_ptr<const Picture> supplied_picture(const SensorReadout &readout, const uint8_t *bytes,
                                                uint64_t size) {
  auto p = std::make_shared<Picture>();
  p->readout = readout;
  p->format = format_info(readout.transfer_bits);
  p->row_bytes = row_bytes(readout.transfer_bits, readout.width);
  p->pixel_bytes = size;
  p->pixels.assign(bytes, bytes + size);
  return p;
}

void scene_mean(const SensorReadout &r, const SceneSetup &scene, double (&rgb)[3]) {
  constexpr uint32_t kGrid = 16;
  const uint32_t span_x = std::max<uint32_t>(r.width * (r.h_skip + 1u) * (r.h_bin + 1u), 1);
  const uint32_t span_y = std::max<uint32_t>(r.height * (r.v_skip + 1u) * (r.v_bin + 1u), 1);
  const uint32_t last_x = r.sensor_width ? r.sensor_width - 1 : 0;
  const uint32_t last_y = r.sensor_height ? r.sensor_height - 1 : 0;
  uint32_t columns[kGrid];
  for (uint32_t i = 0; i < kGrid; ++i)
    columns[i] = std::min(r.offset_x + static_cast<uint32_t>((i + 0.5) * span_x / kGrid), last_x);
  float row[3 * kGrid];
  double sum[3] = {0, 0, 0};
  for (uint32_t j = 0; j < kGrid; ++j) {
    const uint32_t sy = std::min(r.offset_y + static_cast<uint32_t>((j + 0.5) * span_y / kGrid), last_y);
    scene_row(scene, r.sensor_width, r.sensor_height, sy, columns, kGrid, row);
    for (uint32_t i = 0; i < kGrid; ++i)
      for (int c = 0; c < 3; ++c) sum[c] += row[3 * i + c];
  }
  for (int c = 0; c < 3; ++c) rgb[c] = sum[c] / (kGrid * kGrid);
}

TargetPlace target_place(const Picture &p, uint32_t number) {
  TargetPlace place;
  if (!p.has_target()) return place;
  const auto bounce = [](uint64_t travelled, uint32_t range) -> uint32_t {
    if (range == 0) return 0;
    const uint64_t pos = travelled % (2 * uint64_t{range});
    return static_cast<uint32_t>(pos <= range ? pos : 2 * uint64_t{range} - pos);
  };
  const uint32_t range_x = p.readout.width - p.target_width;
  const uint32_t range_y = p.readout.height - p.target_height;
  uint32_t x = bounce(uint64_t{number} * p.target_speed, range_x);
  uint32_t y = bounce(uint64_t{number} * std::max<uint32_t>(p.target_speed / 2, p.target_speed ? 1 : 0), range_y);
  // The camera's mirror moves the square with the rest of the picture.
  if (p.readout.mirror_h) x = range_x - x;
  if (p.readout.mirror_v) y = range_y - y;
  // Whole Bayer cells and whole YUV groups, so the square has the phase of the frame.
  place.x = x & ~3u;
  place.y = y & ~1u;
  return place;
}

bool row_is_still(const Picture &p, uint32_t number, uint32_t row) {
  if (p.has_noise()) return false;
  if (!p.has_target()) return true;
  const TargetPlace at = target_place(p, number);
  return row < at.y || row >= at.y + p.target_height;
}

void render_row(const Picture &p, uint32_t number, uint32_t row, uint8_t *dst) {
  const size_t offset = size_t{row} * p.row_bytes;
  std::memcpy(dst, p.pixels.data() + offset, p.row_bytes);
  if (p.has_target()) {
    const TargetPlace at = target_place(p, number);
    if (row >= at.y && row < at.y + p.target_height) {
      const size_t from = size_t{at.x} * p.format.bits_per_pixel / 8;
      const size_t bytes = size_t{p.target_width} * p.format.bits_per_pixel / 8;
      std::memcpy(dst + from, p.target_rows[row & 1u].data() + from, bytes);
    }
  }
  if (p.has_noise()) add_noise(p, number, row, dst);
}

}  // namespace kavix::sim
