// The bulk IN stream of a real camera over libusb: one asynchronous bulk
// transfer per read slot, several in flight, their completions handed on in
// the order the reads were posted. A transfer ends at the camera's short
// packet, so a read that asks for more than a frame returns one frame.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>

#include "KavixUSBD.h"
#include "transport/stream_slots.h"

struct libusb_context;
struct libusb_device_handle;
struct libusb_transfer;

namespace kavix::usb {

class UsbStream {
 public:
  UsbStream(libusb_context *context, libusb_device_handle *handle);
  // Cancels what is in flight and waits for it: the handle outlives this.
  ~UsbStream();
  UsbStream(const UsbStream &) = delete;
  UsbStream &operator=(const UsbStream &) = delete;

  // Results are Windows error numbers, 0 for success.
  uint32_t start();
  uint32_t stop();
  uint32_t post(uint32_t slot, void *buffer, uint32_t length, KAVIXUSBD_STREAM_DONE done, void *context);
  uint32_t result(uint32_t slot, bool wait, uint32_t &transferred);

 private:
  struct Slot {
    libusb_transfer *transfer = nullptr;
    bool finished = false;  // the transfer came back, not yet handed on
    uint32_t status = 0;
    uint32_t transferred = 0;
  };

  static void on_transfer(libusb_transfer *transfer);
  void finished(uint32_t slot, uint32_t status, uint32_t transferred);
  void ensure_events();  // with mutex_ held
  void handle_events();
  void cancel_and_wait(std::unique_lock<std::mutex> &lock);

  libusb_context *context_;
  libusb_device_handle *handle_;
  unsigned char endpoint_ = 0;  // the first bulk IN endpoint; 0 if there is none

  std::mutex mutex_;
  std::condition_variable idle_;
  transport::StreamSlots slots_;
  Slot slot_[KAVIXUSBD_STREAM_SLOTS];
  std::deque<uint32_t> order_;  // slots in flight, in the order posted
  bool delivering_ = false;
  std::thread::id delivering_on_;  // callbacks may run on whichever thread handles libusb's events

  std::thread events_;
  std::thread::id events_id_;
  bool quit_ = false;
};

}  // namespace kavix::usb
