// The frames a virtual camera sends: a header of HeaderBytes bytes with the
// frame number at byte 12, then the pixels of the picture the frame was
// exposed with. A frame is held as a small record (number, time, picture) and
// its bytes are produced only when the stream sends them, straight into the
// reader's buffer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "transport/sim/picture.h"

namespace kavix::sim {

// Byte offsets of the header fields. The library reads the frame number only;
// the rest is there for people looking at a dump. Fields that don't fit in
// HeaderBytes are left out.
constexpr uint32_t kHeaderSizeAt = 0;        // u16, HeaderBytes
constexpr uint32_t kHeaderPixelBytesAt = 4;  // u32, pixel bytes that follow
constexpr uint32_t kHeaderFormatAt = 8;      // u32, TransferBits
constexpr uint32_t kHeaderNumberAt = 12;     // u32, frame number
constexpr uint32_t kHeaderWidthAt = 16;      // u32
constexpr uint32_t kHeaderHeightAt = 20;     // u32
constexpr uint32_t kHeaderTimeAt = 24;       // u64, sensor clocks since the stream started
constexpr uint32_t kHeaderFieldsEnd = 32;

// Bytes a camera appends to a frame when it sends too many.
constexpr uint8_t kExtraByte = 0xEE;

struct FrameJob {
  uint32_t number = 0;
  uint64_t time = 0;
  std::shared_ptr<const Picture> picture;
};

// Header and pixels together.
uint64_t frame_bytes(const FrameJob &job, uint32_t header_bytes);

// Writes bytes [offset, offset + count) of the frame as it goes on the wire;
// bytes past its end are kExtraByte. `scratch` is a buffer the caller keeps,
// so that rows cut by the range need no allocation per frame.
void render_frame_range(const FrameJob &job, uint32_t header_bytes, uint64_t offset, uint8_t *dst,
                        size_t count, std::vector<uint8_t> &scratch);

// Keeps the picture of the current settings, rendering a new one only when
// something that shows in the picture has changed, and hands out the frames
// a test supplies in place of the scene, in turn.
class FrameSource {
 public:
  // The frame with this number, exposed now under these settings.
  FrameJob expose(uint32_t number, uint64_t time, const SensorReadout &readout, const SceneSetup &scene,
                  const Response &response);

  // Replaces the scene by these pixel blocks, sent unchanged and in turn
  // (the header tells the readout given here). An empty list brings the
  // scene back.
  void supply(const SensorReadout &readout, const std::vector<std::vector<uint8_t>> &frames);
  bool supplied() const { return !supplied_.empty(); }

 private:
  std::shared_ptr<const Picture> picture_;
  SensorReadout readout_;
  SceneSetup scene_;
  Response response_;
  std::vector<std::shared_ptr<const Picture>> supplied_;
  size_t next_supplied_ = 0;
};

}  // namespace kavix::sim
