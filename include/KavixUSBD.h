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

/* ---- Device operations -------------------------------------------------------
 * Out counts named `transferred` may be null; other out pointers are required
 * (87 when null). A handle that isn't open gives 6; a device that has left
 * the bus gives 1167 until its handle is closed. */

/* Opens the device with that index (0 to 126): the real devices first, then
 * the virtual ones. Null with 2 when there is no such device. Handles on one
 * device share it; each counts as one client. */
KAVIXUSBD_API KAVIXUSB_HANDLE KavixUSBD_OpenDevice(uint32_t index);
KAVIXUSBD_API int32_t KavixUSBD_CloseDevice(KAVIXUSB_HANDLE handle);

/* The driver's version: words[0] major-style (0x30000 and later offer both
 * recovery operations), words[1] minor-style, then two words of detail. */
KAVIXUSBD_API int32_t KavixUSBD_GetDriverVersion(KAVIXUSB_HANDLE handle, uint32_t *v0,
                                                 uint32_t *v1, uint32_t *v2, uint32_t *v3);
/* This library's version: major, minor, patch, 0. Needs no handle. */
KAVIXUSBD_API int32_t KavixUSBD_GetLibraryVersion(uint32_t *major, uint32_t *minor,
                                                  uint32_t *patch, uint32_t *build);

/* The active configuration descriptor with all its subordinates. A buffer
 * too small gives 122, with the needed length in *length. */
KAVIXUSBD_API int32_t KavixUSBD_GetConfigDescriptor(KAVIXUSB_HANDLE handle, uint8_t *buffer,
                                                    uint32_t capacity, uint32_t *length);
KAVIXUSBD_API int32_t KavixUSBD_GetFunctionAddress(KAVIXUSB_HANDLE handle, uint8_t *address);
/* Clients holding the device, the caller's handle included. */
KAVIXUSBD_API int32_t KavixUSBD_GetOpenCount(KAVIXUSB_HANDLE handle, uint32_t *count);

/* Non-zero if the device answers and can be used; both outs may be null and
 * receive 0. A device that doesn't answer may recover after one of the two
 * recovery operations; close and reopen it afterwards. */
KAVIXUSBD_API int32_t KavixUSBD_ProbeDevice(KAVIXUSB_HANDLE handle, uint32_t *status,
                                            uint32_t *detail);
KAVIXUSBD_API int32_t KavixUSBD_ResetPipes(KAVIXUSB_HANDLE handle); /* first recovery */
KAVIXUSBD_API int32_t KavixUSBD_ResetPort(KAVIXUSB_HANDLE handle);  /* later recoveries */

/* One control transfer; `buffer` holds `length` bytes. A transfer that moves
 * fewer bytes than asked succeeds: compare *transferred. A stall gives 31. */
KAVIXUSBD_API int32_t KavixUSBD_ControlTransfer(KAVIXUSB_HANDLE handle, uint8_t request_type,
                                                uint8_t request, uint16_t value, uint16_t index,
                                                uint16_t length, void *buffer,
                                                uint32_t *transferred);

/* The camera's EEPROM from `first` to `last`, both included (at most 0xFFFF). */
KAVIXUSBD_API int32_t KavixUSBD_ReadEeprom(KAVIXUSB_HANDLE handle, uint32_t first, uint32_t last,
                                           uint8_t *buffer, uint32_t *transferred);
KAVIXUSBD_API int32_t KavixUSBD_WriteEeprom(KAVIXUSB_HANDLE handle, uint32_t first, uint32_t last,
                                            const uint8_t *buffer, uint32_t *transferred);

/* I2C on the camera's bus `bus`, device `address` (7 bits), with a one- or
 * two-byte sub-address. A device that doesn't acknowledge gives 31. */
KAVIXUSBD_API int32_t KavixUSBD_ReadI2CByte(KAVIXUSB_HANDLE handle, uint8_t bus, uint8_t address,
                                            uint8_t sub_address, uint8_t count, uint8_t *buffer,
                                            uint32_t *transferred);
KAVIXUSBD_API int32_t KavixUSBD_WriteI2CByte(KAVIXUSB_HANDLE handle, uint8_t bus, uint8_t address,
                                             uint8_t sub_address, uint8_t count,
                                             const uint8_t *buffer, uint32_t *transferred);
KAVIXUSBD_API int32_t KavixUSBD_ReadI2CWord(KAVIXUSB_HANDLE handle, uint8_t bus, uint8_t address,
                                            uint16_t sub_address, uint16_t count, uint8_t *buffer,
                                            uint32_t *transferred);
KAVIXUSBD_API int32_t KavixUSBD_WriteI2CWord(KAVIXUSB_HANDLE handle, uint8_t bus, uint8_t address,
                                             uint16_t sub_address, uint16_t count,
                                             const uint8_t *buffer, uint32_t *transferred);

/* The USB controller's own registers, `first` to `last` included. */
KAVIXUSBD_API int32_t KavixUSBD_ReadChipRegisters(KAVIXUSB_HANDLE handle, uint16_t first,
                                                  uint16_t last, uint8_t *buffer,
                                                  uint32_t *transferred);
KAVIXUSBD_API int32_t KavixUSBD_WriteChipRegisters(KAVIXUSB_HANDLE handle, uint16_t first,
                                                   uint16_t last, const uint8_t *buffer,
                                                   uint32_t *transferred);

/* ---- Firmware images ----------------------------------------------------------
 * ParseFirmwareImage reads Intel HEX text (records 00 and 01, checksums
 * verified) into a memory image: image[a] is the byte at address a, mask[a]
 * is 1 where the text gave a byte. Both buffers hold `capacity` bytes; *count
 * becomes the highest address given plus one. Text that isn't such an image
 * gives 13; an address at or beyond `capacity` gives 122. */
KAVIXUSBD_API int32_t KavixUSBD_ParseFirmwareImage(const char *text, uint32_t length,
                                                   uint8_t *image, uint8_t *mask,
                                                   uint32_t capacity, uint32_t *count);
/* Flattens a parsed image into `destination`: `count` bytes, zero where the
 * mask is clear. With a null destination only *written is set, to the bytes
 * needed; a destination below that size gives 122. */
KAVIXUSBD_API int32_t KavixUSBD_FinishFirmwareImage(const uint8_t *image, const uint8_t *mask,
                                                    uint32_t count, uint8_t *destination,
                                                    uint32_t capacity, uint32_t *written);
/* Writes a parsed image into the controller's RAM with its CPU held in reset,
 * then starts it: the device leaves the bus and comes back running the new
 * firmware, to be opened anew. `count` at most 16384. */
KAVIXUSBD_API int32_t KavixUSBD_DownloadFirmware(KAVIXUSB_HANDLE handle, const uint8_t *image,
                                                 const uint8_t *mask, uint32_t count,
                                                 uint32_t *downloaded);

/* ---- Bulk stream ---------------------------------------------------------------
 * The counterpart of overlapped reads on the bulk IN pipe. A read is posted into
 * a slot with a buffer; reads complete in the order they were posted, a read
 * always asks for more than a frame so a frame ends in a short transfer, and
 * KavixUSBD_StopStream completes every pending read (with 995). `done` is
 * called from a transport thread once the slot's read has completed; the
 * result is then collected with KavixUSBD_GetStreamResult. */

typedef void (*KAVIXUSBD_STREAM_DONE)(void *context, uint32_t slot);

/* Non-zero if a stream that failed with 31 can be restarted in place (stop,
 * start, post anew). 0 otherwise, with 50 for a camera that can't, or the
 * handle's error (6, 1167). */
KAVIXUSBD_API int32_t KavixUSBD_QueryStreamRestart(KAVIXUSB_HANDLE handle);

/* Prepares the bulk pipe: clears a halt left by error 31; the camera sends
 * frames from now on. 1167 once the device is gone. */
KAVIXUSBD_API int32_t KavixUSBD_StartStream(KAVIXUSB_HANDLE handle);

/* Aborts the pipe: every pending read completes (995 unless it finished
 * first), and their `done` calls have returned when this returns, unless it is
 * called from a `done` itself. What was left of the frame on its way is lost. */
KAVIXUSBD_API int32_t KavixUSBD_StopStream(KAVIXUSB_HANDLE handle);

/* Queues a bulk IN read of `length` bytes into `buffer` in slot `slot`
 * (below KAVIXUSBD_STREAM_SLOTS). Non-zero when queued: the read is pending
 * (the overlapped 997 case), and `done(context, slot)` is called once it has
 * completed. 0 with 1167 (or 5) when the device is gone, 87 for a bad slot, a
 * null buffer or a zero length, 170 while the slot's last read is pending. The
 * buffer must stay valid until the read completes. */
KAVIXUSBD_API int32_t KavixUSBD_PostStreamRead(KAVIXUSB_HANDLE handle, uint32_t slot, void *buffer,
                                               uint32_t length, KAVIXUSBD_STREAM_DONE done,
                                               void *context);

/* The result of the slot's read, like GetOverlappedResult: with `wait`
 * non-zero blocks until it completes. Non-zero on success; 0 with 31 (the pipe
 * stalled), 23 (CRC error or overflow), 1167 (device gone), 995 (aborted), 996
 * (still pending and `wait` is 0), 87 (bad slot, or it never held a read).
 * `*transferred` holds the bytes that arrived, also on failure. */
KAVIXUSBD_API int32_t KavixUSBD_GetStreamResult(KAVIXUSB_HANDLE handle, uint32_t slot, int32_t wait,
                                                uint32_t *transferred);

#ifdef __cplusplus
}
#endif

#endif /* KAVIXUSBD_H */
