// The calling thread's last error, the counterpart of SetLastError/GetLastError.
// It lives in the transport library alone so that the camera library and the
// transport share one value per thread.
#include "KavixUSBD.h"

namespace {
thread_local uint32_t t_last_error = 0;
}

extern "C" KAVIXUSBD_API uint32_t KavixUSBD_GetLastError(void) { return t_last_error; }

extern "C" KAVIXUSBD_API void KavixUSBD_SetLastError(uint32_t error) { t_last_error = error; }
