// kavix grab: frames from a camera into image files.
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "tools/camera.h"
#include "tools/camera_option.h"
#include "tools/command.h"
#include "tools/failure.h"
#include "tools/file_pattern.h"
#include "tools/formats.h"
#include "tools/frame_queue.h"
#include "tools/grab_stats.h"
#include "tools/progress.h"

namespace kavix::tool {

namespace {

using Clock = std::chrono::steady_clock;

struct GrabSettings {
    CameraChoice camera;
    uint32_t frames = 1;
    std::string output = "shot_%03d.png";
    std::optional<Size> size;
    std::optional<std::vector<uint32_t>> offset;  // x, y
    std::optional<uint32_t> transfer_format;
    std::optional<uint32_t> interpolation;
    uint32_t jpeg_quality = 90;
    uint32_t timeout_s = 10;
};

// Frames that wait to be saved at most; more hold the stream back.
constexpr size_t kQueuedFrames = 4;

// Pixel format of the still writer for a frame as the camera sends it; 0 for
// formats a raw file can't take (colour formats made by the camera).
uint32_t raw_file_format(uint32_t transfer_bits) {
    switch (transfer_bits) {
    case KAVIX_TRANSFER_RAW8:
    case KAVIX_TRANSFER_MONO8: return 1;
    case KAVIX_TRANSFER_RAW10:
    case KAVIX_TRANSFER_MONO10: return 16;
    case KAVIX_TRANSFER_RAW12:
    case KAVIX_TRANSFER_MONO12: return 32;
    case KAVIX_TRANSFER_RAW14:
    case KAVIX_TRANSFER_MONO14: return 64;
    case KAVIX_TRANSFER_RAW16:
    case KAVIX_TRANSFER_MONO16: return 2;
    default: return 0;
    }
}

void on_raw_frame(const uint8_t *pixels, uint32_t size, uint32_t width, uint32_t height,
                  uint32_t frame_number, uint16_t, uint32_t transfer_bits, void *context, void *) {
    static_cast<FrameQueue *>(context)->offer(pixels, size, width, height, frame_number,
                                              raw_file_format(transfer_bits));
}

void on_preview_frame(uint8_t *pixels, uint32_t size, uint32_t width, uint32_t height,
                      uint32_t frame_number, uint32_t preview_format, void *context, void *) {
    // The preview formats 1, 4 and 8 are the still writer's codes as well.
    static_cast<FrameQueue *>(context)->offer(pixels, size, width, height, frame_number,
                                              preview_format);
}

// The library's message queue for this camera: it tells when the capture
// thread has ended, for instance because the camera was unplugged.
class Messages {
public:
    explicit Messages(KAVIX_HANDLE camera) : camera_(camera), queue_(Kavix_CreateMessageQueue()) {
        if (!queue_) check(0, nullptr, "creating a message queue");
        if (!Kavix_SetReceiveMsgWindow(camera_, queue_)) {
            Kavix_DestroyMessageQueue(queue_);
            check(0, camera_, "setting up messages");
        }
    }
    ~Messages() {
        Kavix_SetReceiveMsgWindow(camera_, nullptr);
        Kavix_DestroyMessageQueue(queue_);
    }
    Messages(const Messages &) = delete;
    Messages &operator=(const Messages &) = delete;

    // Throws when the capture thread has reported its end.
    void check_transfer() {
        KAVIX_MESSAGE message;
        while (Kavix_GetMessage(queue_, &message, 0))
            if (message.number == KAVIX_MSG_TRANSFER_ENDED)
                throw RuntimeError("the camera stopped sending frames: " +
                                   error_text(static_cast<uint32_t>(message.lparam)),
                                   "Check the camera's connection and try again.");
    }

private:
    KAVIX_HANDLE camera_;
    KAVIX_MESSAGE_QUEUE queue_;
};

// A running transfer that feeds `frames`; stopped on every way out.
class Transfer {
public:
    Transfer(KAVIX_HANDLE camera, FrameQueue &frames) : camera_(camera), frames_(frames) {
        check(Kavix_StartTransfer(camera_), camera_, "starting the transfer");
    }
    ~Transfer() {
        frames_.close();  // a capture thread waiting for a buffer goes on
        Kavix_StopTransfer(camera_);
    }
    Transfer(const Transfer &) = delete;
    Transfer &operator=(const Transfer &) = delete;

private:
    KAVIX_HANDLE camera_;
    FrameQueue &frames_;
};

Frame next_frame(FrameQueue &frames, Messages &messages, uint32_t timeout_s) {
    const Clock::time_point give_up = Clock::now() + std::chrono::seconds(timeout_s);
    while (true) {
        if (std::optional<Frame> frame = frames.take(std::chrono::milliseconds(100)))
            return std::move(*frame);
        messages.check_transfer();
        if (Clock::now() >= give_up)
            throw RuntimeError("no frame came from the camera within " +
                                   std::to_string(timeout_s) + " s",
                               "Check the camera's trigger mode and exposure, or give more time "
                               "with --timeout.");
    }
}

uint32_t quality_for(ImageType type, uint32_t jpeg_quality) {
    switch (type) {
    // The library's JPEG number is a compression level: 0 is the finest.
    case ImageType::Jpeg: return 100 - jpeg_quality;
    // For PNG an odd number writes a file without interlacing.
    case ImageType::Png: return 1;
    default: return 0;
    }
}

void save(KAVIX_HANDLE camera, const Frame &frame, const std::string &name, ImageType type,
          uint32_t jpeg_quality) {
    if (frame.format == 0)
        throw RuntimeError("the camera sends colour frames, which a .raw file can't hold",
                           "Save them as .png, .tif, .bmp or .jpg.");
    const std::filesystem::path parent = std::filesystem::path(name).parent_path();
    std::error_code error;
    if (!parent.empty()) std::filesystem::create_directories(parent, error);
    if (error)
        throw RuntimeError("cannot create the folder " + parent.string() + ": " + error.message());
    check(Kavix_SaveImageA(camera, frame.width, frame.height, frame.format, frame.pixels.data(),
                           name.c_str(), quality_for(type, jpeg_quality)),
          camera, "writing " + name);
}

// A free region of the sensor: the size asked for, at the offset given or in
// the middle. The camera fits it to its steps; what it made of it is told.
void set_region(KAVIX_HANDLE h, const GrabSettings &s) {
    uint32_t size_flags = 0, max_width = 0, max_height = 0;
    uint16_t modes = 0;
    check(Kavix_GetEnableImageSize(h, &size_flags, &modes), h, "reading the scan modes");
    if (!(modes & KAVIX_SCAN_MODE_FREE_REGION))
        throw RuntimeError("this camera takes no free region, so --size and --offset can't work",
                           "'kavix info' shows what the camera offers.");
    check(Kavix_GetMaximumImageSize(h, &max_width, &max_height), h, "reading the sensor size");
    uint16_t mode = 0;
    uint32_t x = 0, y = 0, width = 0, height = 0;
    check(Kavix_GetImageSize(h, nullptr, &mode, &x, &y, &width, &height), h,
          "reading the image size");
    if (s.size) {
        width = s.size->width;
        height = s.size->height;
    }
    if (width > max_width || height > max_height)
        throw RuntimeError("--size " + std::to_string(width) + "x" + std::to_string(height) +
                               " is larger than the sensor, " + std::to_string(max_width) + "x" +
                               std::to_string(max_height),
                           "Ask for a smaller window.");
    if (s.offset) {
        x = (*s.offset)[0];
        y = (*s.offset)[1];
        if (x + width > max_width || y + height > max_height)
            throw RuntimeError("the window reaches past the sensor, " + std::to_string(max_width) +
                                   "x" + std::to_string(max_height),
                               "Make --offset or --size smaller.");
    } else {
        x = (max_width - width) / 2;
        y = (max_height - height) / 2;
    }
    check(Kavix_SetImageSize(h, 0, KAVIX_SCAN_MODE_FREE_REGION, x, y, width, height), h,
          "setting the image size");
    uint32_t got_x = 0, got_y = 0, got_width = 0, got_height = 0;
    check(Kavix_GetImageSize(h, nullptr, &mode, &got_x, &got_y, &got_width, &got_height), h,
          "reading the image size");
    if (got_x != x || got_y != y || got_width != width || got_height != height)
        std::printf("The camera made the window %ux%u at %u,%u.\n", got_width, got_height, got_x,
                    got_y);
}

int run_grab(const GrabSettings &s) {
    const FilePattern files(s.output, s.frames);
    Camera camera = Camera::open(s.camera.user_id);
    KAVIX_HANDLE h = camera.handle();
    if (s.size || s.offset) set_region(h, s);
    if (s.transfer_format)
        check(Kavix_SetTransferBitsPerPixel(h, *s.transfer_format), h,
              "setting the transfer format " + transfer_format_name(*s.transfer_format) +
                  " ('kavix info' lists the camera's formats)");
    if (s.interpolation)
        check(Kavix_SetColorInterpolationMethod(h, static_cast<uint8_t>(*s.interpolation)), h,
              "setting the interpolation method");

    Messages messages(h);
    FrameQueue frames(s.frames, kQueuedFrames);
    uint32_t callback = 0;
    if (files.type() == ImageType::Raw)
        check(Kavix_AddRawCallback(h, on_raw_frame, &frames, &callback), h, "adding a callback");
    else
        check(Kavix_AddPreviewBitmapCallback(h, on_preview_frame, &frames, &callback), h,
              "adding a callback");

    GrabStats stats;
    std::string first_file, last_file;
    {
        Transfer transfer(h, frames);
        Progress progress("grab", s.frames);
        for (uint32_t i = 1; i <= s.frames; ++i) {
            Frame frame = next_frame(frames, messages, s.timeout_s);
            stats.add(frame.number, frame.arrived);
            const std::string name = files.name(i);
            save(h, frame, name, files.type(), s.jpeg_quality);
            frames.give_back(std::move(frame));
            progress.update(i, name);
            (i == 1 ? first_file : last_file) = name;
        }
    }
    std::printf("Grabbed %u frame%s, %u lost, %s frames/s.\n", stats.frames(),
                stats.frames() == 1 ? "" : "s", stats.lost(), stats.rate_text().c_str());
    const std::string first = std::filesystem::absolute(first_file).string();
    if (last_file.empty())
        std::printf("Wrote %s\n", first.c_str());
    else
        std::printf("Wrote %s ... %s\n", first.c_str(),
                    std::filesystem::absolute(last_file).string().c_str());
    return 0;
}

}  // namespace

Command grab_command() {
    auto s = std::make_shared<GrabSettings>();
    Command c;
    c.name = "grab";
    c.summary = "grab frames into image files";
    c.arguments = "[options]";
    c.description =
        "Grabs frames from a camera and writes each to a file. The extension of --output\n"
        "chooses the type: .raw (the frame as the camera sends it), .bmp, .tif, .jpg or\n"
        ".png (the frame through the image pipeline). At the end it tells how many\n"
        "frames came, how many the camera's frame numbers show as lost, and the rate.";
    c.examples = "  kavix --sim Tovrik-Q4C-A grab -n 3 -o shots/shot_%03d.png\n"
                 "  kavix grab --camera 7 -o frame.jpg --quality 95";
    c.options = {
        camera_option(s->camera),
        {'n', "frames", "N", "number of frames to grab (default 1)",
         [s](std::string_view v) { s->frames = parse_uint("--frames", v, 1, 1000000); }},
        {'o', "output", "PATTERN",
         "file names, with one %d for the frame number from 1\n(default shot_%03d.png)",
         [s](std::string_view v) { s->output = std::string(v); }},
        {0, "size", "WxH",
         "a window of the sensor this large, in the middle unless\n--offset places it",
         [s](std::string_view v) { s->size = parse_size("--size", v); }},
        {0, "offset", "X,Y", "top left corner of the window on the sensor",
         [s](std::string_view v) { s->offset = parse_uint_list("--offset", v, 2, 65535); }},
        {'f', "format", "NAME",
         "transfer format, such as raw8, raw12 or mono8\n('kavix info' lists the camera's)",
         [s](std::string_view v) {
             s->transfer_format = transfer_format_by_name(v);
             if (!s->transfer_format)
                 throw UsageError("--format: unknown format '" + std::string(v) +
                                  "'; formats: " + transfer_format_names());
         }},
        {0, "interpolation", "METHOD",
         "colour interpolation method of the pipeline, 0 to 5\n(default: the library's, 3)",
         [s](std::string_view v) { s->interpolation = parse_uint("--interpolation", v, 0, 5); }},
        {'q', "quality", "Q", "JPEG quality, 1 (smallest) to 100 (best); default 90",
         [s](std::string_view v) { s->jpeg_quality = parse_uint("--quality", v, 1, 100); }},
        {0, "timeout", "SECONDS", "longest wait for a frame (default 10)",
         [s](std::string_view v) { s->timeout_s = parse_uint("--timeout", v, 1, 86400); }},
    };
    c.run = [s] { return run_grab(*s); };
    return c;
}

}  // namespace kavix::tool
