#include "transport/sim/frame_source.h"

#include <algorithm>
#include <cstring>

namespace kavix::sim {

namespace {

void put_le(uint8_t *p, uint64_t v, int bytes) {
  for (int i = 0; i < bytes; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}

void render_header(const FrameJob &job, uint32_t header_bytes, uint64_t offset, uint8_t *dst, size_t count) {
  uint8_t fields[kHeaderFieldsEnd] = {};
  const Picture &p = *job.picture;
  put_le(fields + kHeaderSizeAt, header_bytes, 2);
  put_le(fields + kHeaderPixelBytesAt, p.pixel_bytes, 4);
  put_le(fields + kHeaderFormatAt, p.readout.transfer_bits, 4);
  put_le(fields + kHeaderNumberAt, job.number, 4);
  put_le(fields + kHeaderWidthAt, p.readout.width, 4);
  put_le(fields + kHeaderHeightAt, p.readout.height, 4);
  put_le(fields + kHeaderTimeAt, job.time, 8);
  for (size_t i = 0; i < count; ++i) {
    const uint64_t at = offset + i;
    dst[i] = at < kHeaderFieldsEnd ? fields[at] : 0;
  }
}

void render_pixels(const FrameJob &job, uint64_t offset, uint8_t *dst, size_t count, std::vector<uint8_t> &scratch) {
  const Picture &p = *job.picture;
  const uint64_t row = p.row_bytes;
  const uint64_t rows_end = row * p.readout.height;
  // Supplied pictures and plain still frames are one copy.
  if (row == 0 || (!p.has_target() && !p.has_noise()) || offset >= rows_end) {
    std::memcpy(dst, p.pixels.data() + offset, count);
    return;
  }
  while (count > 0) {
    if (offset >= rows_end) {  // what follows the last whole row
      std::memcpy(dst, p.pixels.data() + offset, count);
      return;
    }
    const uint32_t y = static_cast<uint32_t>(offset / row);
    const uint64_t in_row = offset - uint64_t{y} * row;
    const size_t n = static_cast<size_t>(std::min<uint64_t>(count, row - in_row));
    if (row_is_still(p, job.number, y)) {
      // Runs of still rows in one copy.
      uint64_t end = offset + n;
      size_t run = n;
      for (uint32_t next = y + 1; run < count && end < rows_end && row_is_still(p, job.number, next); ++next) {
        const size_t more = static_cast<size_t>(std::min<uint64_t>(count - run, row));
        run += more;
        end += more;
      }
      std::memcpy(dst, p.pixels.data() + offset, run);
      dst += run;
      offset += run;
      count -= run;
      continue;
    }
    if (in_row == 0 && n == row) {
      render_row(p, job.number, y, dst);
    } else {
      if (scratch.size() < row) scratch.resize(row);
      render_row(p, job.number, y, scratch.data());
      std::memcpy(dst, scratch.data() + in_row, n);
    }
    dst += n;
    offset += n;
    count -= n;
  }
}

}  // namespace

uint64_t frame_bytes(const FrameJob &job, uint32_t header_bytes) {
  return header_bytes + (job.picture ? job.picture->pixel_bytes : 0);
}

void render_frame_range(const FrameJob &job, uint32_t header_bytes, uint64_t offset, uint8_t *dst,
                        size_t count, std::vector<uint8_t> &scratch) {
  const uint64_t pixel_end = frame_bytes(job, header_bytes);
  if (offset < header_bytes && count > 0) {
    const size_t n = static_cast<size_t>(std::min<uint64_t>(count, header_bytes - offset));
    render_header(job, header_bytes, offset, dst, n);
    dst += n;
    offset += n;
    count -= n;
  }
  if (offset < pixel_end && count > 0) {
    const size_t n = static_cast<size_t>(std::min<uint64_t>(count, pixel_end - offset));
    render_pixels(job, offset - header_bytes, dst, n, scratch);
    dst += n;
    offset += n;
    count -= n;
  }
  if (count > 0) std::memset(dst, kExtraByte, count);
}

FrameJob FrameSource::expose(uint32_t number, uint64_t time, const SensorReadout &readout, const SceneSetup &scene,
                             const Response &response) {
  FrameJob job;
  job.number = number;
  job.time = time;
  if (!supplied_.empty()) {
    job.picture = supplied_[next_supplied_];
    next_supplied_ = (next_supplied_ + 1) % supplied_.size();
    return job;
  }
  if (!picture_ || !(readout_ == readout) || !(scene_ == scene) || !(response_ == response)) {
    picture_ = render_picture(readout, scene, response);
    readout_ = readout;
    scene_ = scene;
    response_ = response;
  }
  job.picture = picture_;
  return job;
}

void FrameSource::supply(const SensorReadout &readout, const std::vector<std::vector<uint8_t>> &frames) {
  std::vector<std::shared_ptr<const Picture>> pictures;
  pictures.reserve(frames.size());
  for (const auto &f : frames) pictures.push_back(supplied_picture(readout, f.data(), f.size()));
  supplied_ = std::move(pictures);
  next_supplied_ = 0;
}

}  // namespace kavix::sim
