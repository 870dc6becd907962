// The KavixUSBD_ stream operations: the overlapped reads of the bulk IN pipe,
// handed to the device's backend after the handle and argument checks.
#include <new>

#include "KavixUSBD.h"
#include "platform/last_error.h"
#include "transport/device_registry.h"
#include "transport/export_frame.h"
#include "transport/windows_errors.h"

using namespace kavix::transport;

extern "C" {

KAVIXUSBD_API int32_t KavixUSBD_QueryStreamRestart(KAVIXUSB_HANDLE handle) {
  return with_device(handle, [](Device &d) { return d.stream_restartable() ? win::kSuccess : win::kNotSupported; });
}

KAVIXUSBD_API int32_t KavixUSBD_StartStream(KAVIXUSB_HANDLE handle) {
  return with_device(handle, [](Device &d) { return d.start_stream(); });
}

KAVIXUSBD_API int32_t KavixUSBD_StopStream(KAVIXUSB_HANDLE handle) {
  return with_device(handle, [](Device &d) { return d.stop_stream(); });
}

KAVIXUSBD_API int32_t KavixUSBD_PostStreamRead(KAVIXUSB_HANDLE handle, uint32_t slot, void *buffer, uint32_t length,
                                               KAVIXUSBD_STREAM_DONE done, void *context) {
  return with_device(handle, [&](Device &d) {
    if (slot >= KAVIXUSBD_STREAM_SLOTS || !buffer || length == 0) return win::kInvalidParameter;
    return d.post_stream_read(slot, buffer, length, done, context);
  });
}

KAVIXUSBD_API int32_t KavixUSBD_GetStreamResult(KAVIXUSB_HANDLE handle, uint32_t slot, int32_t wait,
                                                uint32_t *transferred) {
  return with_device(handle, [&](Device &d) {
    if (!transferred || slot >= KAVIXUSBD_STREAM_SLOTS) return win::kInvalidParameter;
    return d.stream_result(slot, wait != 0, *transferred);
  });
}

}  // extern "C"
