/*
 * KavixUSBD: the transport library through which KavixD reaches a camera.
 *
 * Two backends share these operations: real cameras over libusb-1.0, and the
 * virtual cameras of the in-process simulator (KavixSim.h). Device indexes
 * cover the real bus first, then the virtual one.
 *
 * Every operation returns a 32-bit value, non-zero for success. On failure the
 * reason is a Windows error number in the calling thread's last error, read
 * with KavixUSBD_GetLastError.
 */
#ifndef KAVIXUSBD_H
#define KAVIXUSBD_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define KAVIXUSBD_API __attribute__((visibility("default")))
#else
#define KAVIXUSBD_API
#endif

typedef struct KavixUSBDevice_t *KAVIXUSB_HANDLE; /* null for none */

/* Vendor request types of a control transfer. */
#define KAVIXUSBD_REQUEST_OUT 0x40u /* host to device */
#define KAVIXUSBD_REQUEST_IN  0xC0u /* device to host */

/* Highest device index the library walks. */
#define KAVIXUSBD_MAX_DEVICES 127u

/* Read slots of the stream: each may hold one posted read. */
#define KAVIXUSBD_STREAM_SLOTS 8u

/* ---- The calling thread's last error ---------------------------------------- */

KAVIXUSBD_API uint32_t KavixUSBD_GetLastError(void);
KAVIXUSBD_API void KavixUSBD_SetLastError(uint32_t error);

/* ---- Device operations ------------------------------------------------------- */

/* ---- Firmware images ---------------------------------------------------------- */

/* ---- Bulk stream ---------------------------------------------------------------
 * The counterpart of overlapped reads on the bulk IN pipe. A read is posted into
 * a slot with a buffer; reads complete in the order they were posted, a read
 * always asks for more than a frame so a frame ends in a short transfer, and
 * KavixUSBD_StopStream completes every pending read (with 995). `done` is
 * called from a transport thread once the slot's read has completed; the
 * result is then collected with KavixUSBD_GetStreamResult. */

typedef void (*KAVIXUSBD_STREAM_DONE)(void *context, uint32_t slot);

#ifdef __cplusplus
}
#endif

#endif /* KAVIXUSBD_H */
