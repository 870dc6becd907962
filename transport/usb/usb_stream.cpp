#include "transport/usb/usb_stream.h"

#include <libusb.h>

#include <vector>

#include "transport/usb/usb_errors.h"
#include "transport/windows_errors.h"

namespace kavix::usb {

namespace win = transport::win;

namespace {

constexpr int kInterface = 0;

// The first bulk IN endpoint of the camera's interface.
unsigned char find_bulk_in(libusb_device_handle *handle) {
  libusb_config_descriptor *config = nullptr;
  if (libusb_get_active_config_descriptor(libusb_get_device(handle), &config) != LIBUSB_SUCCESS) return 0;
  unsigned char found = 0;
  if (config->bNumInterfaces > kInterface) {
    const libusb_interface &itf = config->interface[kInterface];
    for (int a = 0; a < itf.num_altsetting && !found; ++a)
      for (int e = 0; e < itf.altsetting[a].bNumEndpoints && !found; ++e) {
        const libusb_endpoint_descriptor &ep = itf.altsetting[a].endpoint[e];
        if ((ep.bmAttributes & 3) == LIBUSB_TRANSFER_TYPE_BULK && (ep.bEndpointAddress & LIBUSB_ENDPOINT_IN))
          found = ep.bEndpointAddress;
      }
  }
  libusb_free_config_descriptor(config);
  return found;
}

// What became of a transfer, as the Windows error of the overlapped read.
uint32_t transfer_error(libusb_transfer_status status) {
  switch (status) {
    case LIBUSB_TRANSFER_COMPLETED: return win::kSuccess;
    case LIBUSB_TRANSFER_CANCELLED: return win::kOperationAborted;
    case LIBUSB_TRANSFER_NO_DEVICE: return win::kDeviceNotConnected;
    case LIBUSB_TRANSFER_STALL: return win::kGenFailure;
    case LIBUSB_TRANSFER_OVERFLOW: return win::kCrc;
    case LIBUSB_TRANSFER_TIMED_OUT: return win::kSemTimeout;
    case LIBUSB_TRANSFER_ERROR:
    default: return win::kGenFailure;
  }
}

struct SlotTag {
  UsbStream *stream;
  uint32_t slot;
};

}  // namespace

UsbStream::UsbStream(libusb_context *context, libusb_device_handle *handle)
    : context_(context), handle_(handle), endpoint_(find_bulk_in(handle)) {
  for (Slot &s : slot_) s.transfer = libusb_alloc_transfer(0);
}

UsbStream::~UsbStream() {
  {
    std::unique_lock lock(mutex_);
    cancel_and_wait(lock);
    quit_ = true;
  }
  if (events_.joinable()) {
    libusb_interrupt_event_handler(context_);
    events_.join();
  }
  for (Slot &s : slot_) {
    if (s.transfer) delete static_cast<SlotTag *>(s.transfer->user_data);
    libusb_free_transfer(s.transfer);
  }
}

uint32_t UsbStream::start() {
  if (!endpoint_) return win::kNotSupported;
  // Preparing the pipe clears a halt left by a stall, so that the stream can
  // start again in place.
  return windows_error(libusb_clear_halt(handle_, endpoint_));
}

uint32_t UsbStream::stop() {
  std::unique_lock lock(mutex_);
  cancel_and_wait(lock);
  return win::kSuccess;
}

uint32_t UsbStream::post(uint32_t slot, void *buffer, uint32_t length, KAVIXUSBD_STREAM_DONE done, void *context) {
  if (!endpoint_) return win::kNotSupported;
  if (length > static_cast<uint32_t>(INT32_MAX)) return win::kInvalidParameter;
  std::lock_guard lock(mutex_);
  uint32_t error = win::kSuccess;
  if (!slots_.claim(slot, {static_cast<uint8_t *>(buffer), length, done, context}, error)) return error;
  Slot &s = slot_[slot];
  if (!s.transfer) {
    slots_.release(slot);
    return win::kNotEnoughMemory;
  }
  if (!s.transfer->user_data) s.transfer->user_data = new SlotTag{this, slot};
  libusb_fill_bulk_transfer(s.transfer, handle_, endpoint_, static_cast<unsigned char *>(buffer),
                            static_cast<int>(length), &UsbStream::on_transfer, s.transfer->user_data, 0);
  s.finished = false;
  ensure_events();
  order_.push_back(slot);
  const int r = libusb_submit_transfer(s.transfer);
  if (r != LIBUSB_SUCCESS) {
    order_.pop_back();
    slots_.release(slot);
    return windows_error(r);
  }
  return win::kSuccess;
}

uint32_t UsbStream::result(uint32_t slot, bool wait, uint32_t &transferred) {
  uint32_t error = win::kSuccess;
  return slots_.result(slot, wait, &transferred, error) ? win::kSuccess : error;
}

void UsbStream::on_transfer(libusb_transfer *transfer) {
  auto *tag = static_cast<SlotTag *>(transfer->user_data);
  tag->stream->finished(tag->slot, transfer_error(transfer->status),
                        static_cast<uint32_t>(transfer->actual_length));
}

// Runs on the event thread. The kernel finishes the transfers of one endpoint
// in order; the reads are handed on in the order posted all the same.
void UsbStream::finished(uint32_t slot, uint32_t status, uint32_t transferred) {
  struct Done {
    KAVIXUSBD_STREAM_DONE done;
    void *context;
    uint32_t slot;
  };
  std::vector<Done> ready;
  {
    std::lock_guard lock(mutex_);
    slot_[slot].finished = true;
    slot_[slot].status = status;
    slot_[slot].transferred = transferred;
    while (!order_.empty() && slot_[order_.front()].finished) {
      const uint32_t s = order_.front();
      order_.pop_front();
      const transport::StreamSlots::Read read = slots_.read(s);
      slots_.complete(s, slot_[s].status, slot_[s].transferred);
      ready.push_back({read.done, read.context, s});
    }
    delivering_ = true;
    delivering_on_ = std::this_thread::get_id();
  }
  for (const Done &d : ready)
    if (d.done) d.done(d.context, d.slot);
  std::lock_guard lock(mutex_);
  delivering_ = false;
  idle_.notify_all();
}

void UsbStream::ensure_events() {
  if (events_.joinable()) return;
  events_ = std::thread([this] { handle_events(); });
  events_id_ = events_.get_id();
}

void UsbStream::handle_events() {
  for (;;) {
    {
      std::lock_guard lock(mutex_);
      if (quit_) return;
    }
    timeval tv{0, 200000};
    libusb_handle_events_timeout_completed(context_, &tv, nullptr);
  }
}

// Cancels every transfer in flight; all of them complete (with 995 unless
// they finished first). Waits for that, except inside a completion callback,
// whose thread delivers the completions once the callback returns.
void UsbStream::cancel_and_wait(std::unique_lock<std::mutex> &lock) {
  for (uint32_t s : order_)
    if (!slot_[s].finished) libusb_cancel_transfer(slot_[s].transfer);
  const auto self = std::this_thread::get_id();
  if (!events_.joinable() || self == events_id_ || (delivering_ && self == delivering_on_)) return;
  idle_.wait(lock, [&] { return order_.empty() && !delivering_; });
}

}  // namespace kavix::usb
