/*
 * KavixD: programming library of the Kavix family of USB industrial cameras.
 *
 * A plain C interface. Every function takes the camera handle returned by
 * Kavix_Open first and returns a 32-bit boolean: 0 for failure, non-zero for
 * success. The reason of a failure is read with Kavix_GetLastError: the
 * session's last error, or, for calls without a session, the process-wide one.
 * Error numbers are the Windows numbers below or the private KAVIX_E_* codes.
 */
#ifndef KAVIXD_H
#define KAVIXD_H

#include <stdint.h>
#include <stddef.h>

#include "KavixUSBD.h"

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define KAVIX_API __attribute__((visibility("default")))
#else
#define KAVIX_API
#endif

/* ---- Types -------------------------------------------------------------- */

typedef int32_t KAVIX_BOOL;              /* 0 failure, non-zero success */
typedef struct KavixCamera_t *KAVIX_HANDLE; /* a camera session */
/* A code unit of wide (W) text: UTF-16, as char16_t of <uchar.h>. */
#ifdef __cplusplus
typedef char16_t KAVIX_WCHAR;
#else
typedef uint_least16_t KAVIX_WCHAR;
#endif

/* ---- Private error codes ------------------------------------------------ */

#define KAVIX_E_NO_CAMERA          0xE0000001u /* no camera could be found */
#define KAVIX_E_CAMERA_BUSY        0xE0000002u /* a camera exists but is in use or unusable */
#define KAVIX_E_BAD_HANDLE         0xE0000003u /* bad or closed handle */
#define KAVIX_E_CAPTURE_RUNNING    0xE0000004u /* not allowed while the capture thread runs */
#define KAVIX_E_TRANSFER_FAILED    0xE0000005u /* a control transfer failed or was short */
#define KAVIX_E_WINDOW_EXISTS      0xE0000006u /* not allowed while the preview window exists */
#define KAVIX_E_NO_WINDOW          0xE0000007u /* there is no preview window */
#define KAVIX_E_RECORDING          0xE0000008u /* not allowed while a recorder is active */
#define KAVIX_E_MOVIE_FILE         0xE0000009u /* a movie file can't be created or written */
#define KAVIX_E_NO_COMPRESSOR      0xE000000Au /* no such compressor */
#define KAVIX_E_UNSUPPORTED_FORMAT 0xE000000Bu /* the compressor doesn't take the format */
#define KAVIX_E_MOVIE_OPEN         0xE000000Cu /* the movie file can't be opened */
#define KAVIX_E_CANCELLED          0xE000000Du /* the user cancelled the compressor dialog */
#define KAVIX_E_BAD_EXTENSION      0xE000000Fu /* the file name has no known extension */
#define KAVIX_E_IMAGE_FILE_OPEN    0xE0000010u /* the image file can't be opened for writing */
#define KAVIX_E_RAW_SHORT_WRITE    0xE0000011u /* fewer bytes were written to a raw file than asked */
#define KAVIX_E_I2C_RESERVED       0xE0000020u /* I2C device address 0x51 is reserved */
#define KAVIX_E_NO_FPGA            0xE0000021u /* the model has no FPGA */

/* ---- Windows error numbers in use (same values on every platform) -------- */

#define KAVIX_ERROR_SUCCESS            0u
#define KAVIX_ERROR_FILE_NOT_FOUND     2u
#define KAVIX_ERROR_ACCESS_DENIED      5u
#define KAVIX_ERROR_NOT_ENOUGH_MEMORY  8u
#define KAVIX_ERROR_INVALID_DATA       13u
#define KAVIX_ERROR_CRC                23u
#define KAVIX_ERROR_WRITE_FAULT        29u
#define KAVIX_ERROR_GEN_FAILURE        31u
#define KAVIX_ERROR_INVALID_PARAMETER  87u
#define KAVIX_ERROR_OPEN_FAILED        110u
#define KAVIX_ERROR_SEM_TIMEOUT        121u
#define KAVIX_ERROR_WAIT_TIMEOUT       258u
#define KAVIX_ERROR_OPERATION_ABORTED  995u
#define KAVIX_ERROR_IO_INCOMPLETE      996u
#define KAVIX_ERROR_IO_PENDING         997u
#define KAVIX_ERROR_DEVICE_NOT_CONNECTED 1167u

/* ---- Messages posted to the receive queue ---------------------------------
 * wParam is always the camera handle; lParam as noted. */

#define KAVIX_MSG_TRANSFER_STARTED   0xB001u /* 0 */
#define KAVIX_MSG_TRANSFER_ENDED     0xB002u /* the capture thread's error, 0 if none */
#define KAVIX_MSG_PREVIEW_CREATED    0xB003u /* the window handle */
#define KAVIX_MSG_PREVIEW_CLOSED     0xB004u /* the drawing failure */
#define KAVIX_MSG_PREVIEW_RESIZED    0xB005u /* 0 */
#define KAVIX_MSG_MASK_CHANGED       0xB006u /* 0 */
#define KAVIX_MSG_DEST_CHANGED       0xB007u /* 0 */
#define KAVIX_MSG_RECORDER_STATUS    0xB008u /* the recorder's value */
#define KAVIX_MSG_RECORDER_FINISHED  0xB009u /* the recorder's value */
#define KAVIX_MSG_PREVIEW_COMMAND    0xB00Au /* the command's wParam */
#define KAVIX_MSG_FRAME_READY        0xB00Bu /* the frame number */

/* ---- Transfer formats (TransferBits: exactly one flag) ------------------- */

#define KAVIX_TRANSFER_RAW8      0x0001u
#define KAVIX_TRANSFER_RAW10     0x0002u /* in 16-bit words */
#define KAVIX_TRANSFER_RAW12     0x0004u
#define KAVIX_TRANSFER_RAW14     0x0008u
#define KAVIX_TRANSFER_RAW16     0x0010u
#define KAVIX_TRANSFER_MONO8     0x0020u
#define KAVIX_TRANSFER_MONO10    0x0040u /* in 16-bit words */
#define KAVIX_TRANSFER_MONO12    0x0080u
#define KAVIX_TRANSFER_MONO14    0x0100u
#define KAVIX_TRANSFER_MONO16    0x0200u
#define KAVIX_TRANSFER_BGR24     0x0400u
#define KAVIX_TRANSFER_BGR30     0x0800u /* 10:10:10 in 32 bits */
#define KAVIX_TRANSFER_YUV411    0x1000u
#define KAVIX_TRANSFER_YUV422    0x2000u
#define KAVIX_TRANSFER_YUV444    0x4000u

/* ---- Colour arrays (first row / second row of the Bayer 2x2 cell) -------- */

#define KAVIX_COLOR_MONO     1u
#define KAVIX_COLOR_RG_GB    2u /* R Gr / Gb B */
#define KAVIX_COLOR_GR_BG    3u /* Gr R / B Gb */
#define KAVIX_COLOR_GB_RG    4u /* Gb B / R Gr */
#define KAVIX_COLOR_BG_GR    5u /* B Gb / Gr R */
#define KAVIX_COLOR_YUYV     10u /* Y0 U Y1 V frames; never from a camera */

/* ---- Preview pixel formats (rows packed, top down) ------------------------ */

#define KAVIX_PREVIEW_MONO8   1u
#define KAVIX_PREVIEW_BGR24   4u
#define KAVIX_PREVIEW_BGR32   8u

/* ---- Colour interpolation methods ----------------------------------------- */

#define KAVIX_INTERPOLATION_NONE          0u
#define KAVIX_INTERPOLATION_1             1u
#define KAVIX_INTERPOLATION_2             2u
#define KAVIX_INTERPOLATION_3             3u
#define KAVIX_INTERPOLATION_4             4u
#define KAVIX_INTERPOLATION_5             5u
#define KAVIX_INTERPOLATION_253           253u
#define KAVIX_INTERPOLATION_254           254u
#define KAVIX_INTERPOLATION_255           255u

/* ---- Callbacks ------------------------------------------------------------
 * frame number is the camera's frame counter of that frame. */

typedef void (*KAVIX_RAW_CALLBACK)(const uint8_t *pixels, uint32_t size, uint32_t width,
                                   uint32_t height, uint32_t frame_number,
                                   uint16_t color_array, uint32_t transfer_bits,
                                   void *context, void *reserved);
typedef void (*KAVIX_PREVIEW_BITMAP_CALLBACK)(uint8_t *pixels, uint32_t size, uint32_t width,
                                              uint32_t height, uint32_t frame_number,
                                              uint32_t preview_format, void *context,
                                              void *reserved);
/* The drawing context is a cairo_t * that draws on the preview image. */
typedef void (*KAVIX_PREVIEW_GDI_CALLBACK)(void *cairo_context, uint32_t width, uint32_t height,
                                           uint32_t frame_number, void *context, void *reserved);

/* ---- Session ---------------------------------------------------------------- */

/* The session's last error, or for a null handle the process-wide one (failed
   opens, calls with a null handle). Clears nothing. */
KAVIX_API uint32_t Kavix_GetLastError(KAVIX_HANDLE camera);

/* Opens the camera whose user ID is user_id. Without one, user_id is tried as
   a device index, then the first free camera is taken. Null on failure
   (Kavix_GetLastError(NULL): KAVIX_E_NO_CAMERA, KAVIX_E_CAMERA_BUSY, ...). */
KAVIX_API KAVIX_HANDLE Kavix_Open(uint32_t user_id);
/* Stops everything the session runs and frees it; the handle is then gone. */
KAVIX_API void Kavix_Close(KAVIX_HANDLE camera);
/* Devices on the bus, at most 127. */
KAVIX_API uint32_t Kavix_CameraCount(void);
/* The session's transport handle, for direct KavixUSBD calls. */
KAVIX_API KAVIXUSB_HANDLE Kavix_GetKavixUSBHandle(KAVIX_HANDLE camera);

/* ---- Camera information and status ------------------------------------------ */

/* FPGA status words: request 128 with the status id, `words` 16-bit words. The
   Ex forms pass a selector. KAVIX_E_NO_FPGA on models without FPGA. */
KAVIX_API KAVIX_BOOL Kavix_SetFPGAStatus(KAVIX_HANDLE camera, uint16_t id, uint16_t words,
                                         uint8_t *data);
KAVIX_API KAVIX_BOOL Kavix_GetFPGAStatus(KAVIX_HANDLE camera, uint16_t id, uint16_t words,
                                         void *data);
KAVIX_API KAVIX_BOOL Kavix_SetFPGAStatusEx(KAVIX_HANDLE camera, uint16_t selector, uint16_t id,
                                           uint16_t words, void *data);
KAVIX_API KAVIX_BOOL Kavix_GetFPGAStatusEx(KAVIX_HANDLE camera, uint16_t selector, uint16_t id,
                                           uint16_t words, void *data);

/* The user and serial ID blocks: the number, and the text in a buffer of
   text_bytes bytes (UTF-8 for the A forms, UTF-16 for the W forms), cleared
   first. A failed EEPROM read still succeeds, with ID 0, no text and
   KAVIX_E_TRANSFER_FAILED as the last error. */
KAVIX_API KAVIX_BOOL Kavix_ReadCameraUserIDA(KAVIX_HANDLE camera, uint32_t *id, char *text,
                                             uint32_t text_bytes);
KAVIX_API KAVIX_BOOL Kavix_ReadCameraUserIDW(KAVIX_HANDLE camera, uint32_t *id,
                                             KAVIX_WCHAR *text, uint32_t text_bytes);
KAVIX_API KAVIX_BOOL Kavix_ReadCameraSerialIDA(KAVIX_HANDLE camera, uint32_t *id, char *text,
                                               uint32_t text_bytes);
KAVIX_API KAVIX_BOOL Kavix_ReadCameraSerialIDW(KAVIX_HANDLE camera, uint32_t *id,
                                               KAVIX_WCHAR *text, uint32_t text_bytes);

/* USB speed of the camera's stream endpoint: 0 full, 1 high, 2 SuperSpeed; and
   the best the camera can do (from its firmware version). */
KAVIX_API KAVIX_BOOL Kavix_GetUSBSpeed(KAVIX_HANDLE camera, uint8_t *speed);
KAVIX_API KAVIX_BOOL Kavix_GetUSBMaxSpeed(KAVIX_HANDLE camera, uint8_t *speed);

/* ---- Models, formats, FPGA, camera memory, firmware ------------------------- */

/* Whether the camera has function `id` (0 to 255). *has is cleared first,
   even for a bad handle. Models without FPGA have none. */
KAVIX_API KAVIX_BOOL Kavix_HasFunction(KAVIX_HANDLE camera, uint32_t id, uint32_t *has);
/* 1 for the second model under a product id shared by two (function 112). */
KAVIX_API KAVIX_BOOL Kavix_GetSamePIDCameraType(KAVIX_HANDLE camera, uint32_t *type);
/* The model's name ("UNKNOWN" for a product id the library doesn't know). The
   W form copies at most name_bytes / 2 characters and pads with zeros; a name
   that fills the buffer has no terminator. The A form gives UTF-8 with its
   terminator, cut to the buffer. */
KAVIX_API KAVIX_BOOL Kavix_GetProductNameW(KAVIX_HANDLE camera, KAVIX_WCHAR *name,
                                           uint32_t name_bytes);
KAVIX_API KAVIX_BOOL Kavix_GetProductNameA(KAVIX_HANDLE camera, char *name, uint32_t name_bytes);
/* The camera's address on its bus, as found at open. */
KAVIX_API KAVIX_BOOL Kavix_GetUSBFunctionAddress(KAVIX_HANDLE camera, uint8_t *address);
/* The colour array (KAVIX_COLOR_*). While the camera mirrors (mirror mode
   exactly 0x10, 0x20 or 0x30) and doesn't keep the Bayer phase itself, the
   phase the mirrored image has. */
KAVIX_API KAVIX_BOOL Kavix_GetColorArray(KAVIX_HANDLE camera, uint16_t *color_array);
/* Overrides the camera's colour array: 1 to 5; other values give 0 and leave
   the last error as it was. */
KAVIX_API KAVIX_BOOL Kavix_SetColorArray(KAVIX_HANDLE camera, uint16_t color_array);
/* Writes the camera mode word (0 is written at open, 1 at close). Succeeds
   whatever the camera answers. */
KAVIX_API KAVIX_BOOL Kavix_SetCameraMode(KAVIX_HANDLE camera, uint16_t mode);
/* A setting word for the camera's own use, written to its setting space. A
   word with bit 15 or 12 makes the camera change its state; the session then
   reads the camera anew (sizes, buffers, preview geometry). */
KAVIX_API KAVIX_BOOL Kavix_CameraSetting(KAVIX_HANDLE camera, uint16_t word);

/* Transfer formats (KAVIX_TRANSFER_*): the mask the camera allows, the format
   the camera sends now, and a change of it. A change refuses to run beside a
   capture thread (KAVIX_E_CAPTURE_RUNNING) and takes any value with a bit in
   the mask (87 otherwise); it rebuilds the frame buffers. A camera whose mask
   is exactly KAVIX_TRANSFER_RAW8 is never asked. */
KAVIX_API KAVIX_BOOL Kavix_GetEnableTransferBitsPerPixel(KAVIX_HANDLE camera, uint32_t *mask);
KAVIX_API KAVIX_BOOL Kavix_GetTransferBitsPerPixel(KAVIX_HANDLE camera, uint32_t *bits);
KAVIX_API KAVIX_BOOL Kavix_SetTransferBitsPerPixel(KAVIX_HANDLE camera, uint32_t bits);
/* Preview pixel formats (KAVIX_PREVIEW_*): 12 on colour cameras, 13 on mono
   ones. A change refuses to run beside a capture thread and rebuilds the
   frame buffers. */
KAVIX_API KAVIX_BOOL Kavix_GetEnablePreviewPixelFormat(KAVIX_HANDLE camera, uint32_t *mask);
KAVIX_API KAVIX_BOOL Kavix_GetPreviewPixelFormat(KAVIX_HANDLE camera, uint32_t *format);
KAVIX_API KAVIX_BOOL Kavix_SetPreviewPixelFormat(KAVIX_HANDLE camera, uint32_t format);

/* Mirror modes: bit 0 horizontal and bit 1 vertical in software; bit 4
   horizontal and bit 5 vertical in the camera, where it can. */
#define KAVIX_MIRROR_H           0x01u
#define KAVIX_MIRROR_V           0x02u
#define KAVIX_MIRROR_CAMERA_H    0x10u
#define KAVIX_MIRROR_CAMERA_V    0x20u
KAVIX_API KAVIX_BOOL Kavix_GetEnableMirrorMode(KAVIX_HANDLE camera, uint8_t *mask);
/* 87 for a bit outside the mask. On a camera that can mirror, the camera's
   answer to its part is the result. */
KAVIX_API KAVIX_BOOL Kavix_SetMirrorMode(KAVIX_HANDLE camera, uint8_t mode);
KAVIX_API KAVIX_BOOL Kavix_GetMirrorMode(KAVIX_HANDLE camera, uint8_t *mode);

/* The FPGA's 24-bit data space: `bytes` (a multiple of 4) at `address` of
   the space `selector`. KAVIX_E_NO_FPGA without FPGA or without function 64. */
KAVIX_API KAVIX_BOOL Kavix_SetFPGAData2(KAVIX_HANDLE camera, uint8_t selector, uint32_t address,
                                        void *data, uint16_t bytes);
KAVIX_API KAVIX_BOOL Kavix_GetFPGAData2(KAVIX_HANDLE camera, uint8_t selector, uint32_t address,
                                        void *data, uint16_t bytes);
/* Resets the camera's counters (frame number and kin). */
KAVIX_API KAVIX_BOOL Kavix_ResetCounter(KAVIX_HANDLE camera);
/* Drops what the camera holds of unsent frames; always succeeds. */
KAVIX_API KAVIX_BOOL Kavix_ClearBuffer(KAVIX_HANDLE camera);
/* The camera's digital clamp (function 55; without it the set gives 87 and
   the get 0). */
KAVIX_API KAVIX_BOOL Kavix_SetDigitalClamp(KAVIX_HANDLE camera, uint16_t clamp);
KAVIX_API KAVIX_BOOL Kavix_GetDigitalClamp(KAVIX_HANDLE camera, uint16_t *clamp);

/* Versions. The camera's: vendor and product id, FPGA and firmware version.
   The driver's and the transport library's, as KavixUSBD gives them (their
   failures are KavixUSBD_GetLastError's). This library's own, read from its
   file: file version high and low, product version high and low, where high
   is major << 16 | minor and low is patch << 16; all 0 if it can't be read. */
KAVIX_API KAVIX_BOOL Kavix_GetCameraVersion(KAVIX_HANDLE camera, uint16_t *vendor_id,
                                            uint16_t *product_id, uint16_t *fpga_version,
                                            uint16_t *firmware_version);
KAVIX_API KAVIX_BOOL Kavix_GetDriverVersion(KAVIX_HANDLE camera, uint32_t *v0, uint32_t *v1,
                                            uint32_t *v2, uint32_t *v3);
KAVIX_API KAVIX_BOOL Kavix_GetUSBDllVersion(uint32_t *major, uint32_t *minor, uint32_t *patch,
                                            uint32_t *build);
KAVIX_API KAVIX_BOOL Kavix_GetCAMDllVersion(uint32_t *file_high, uint32_t *file_low,
                                            uint32_t *product_high, uint32_t *product_low);

/* User memory: 1,024 bytes of the camera's EEPROM. An offset of 1,024 or
   more or a count of 0 gives 87; a range over the end is cut at the end. */
KAVIX_API KAVIX_BOOL Kavix_ReadUserMemory(KAVIX_HANDLE camera, uint8_t *buffer, uint16_t offset,
                                          uint16_t count);
KAVIX_API KAVIX_BOOL Kavix_WriteUserMemory(KAVIX_HANDLE camera, const uint8_t *buffer,
                                           uint16_t offset, uint16_t count);
/* Writes an ID block: the number and a text of at most text_bytes bytes,
   ending with its first zero byte (A) or first character whose low byte is
   zero (W); texts above 250 bytes are cut to 249 (A) or 248 (W). Null text:
   the number alone. */
KAVIX_API KAVIX_BOOL Kavix_WriteCameraUserIDA(KAVIX_HANDLE camera, uint32_t id, const char *text,
                                              uint32_t text_bytes);
KAVIX_API KAVIX_BOOL Kavix_WriteCameraUserIDW(KAVIX_HANDLE camera, uint32_t id,
                                              const KAVIX_WCHAR *text, uint32_t text_bytes);
KAVIX_API KAVIX_BOOL Kavix_WriteCameraSerialIDA(KAVIX_HANDLE camera, uint32_t id,
                                                const char *text, uint32_t text_bytes);
KAVIX_API KAVIX_BOOL Kavix_WriteCameraSerialIDW(KAVIX_HANDLE camera, uint32_t id,
                                                const KAVIX_WCHAR *text, uint32_t text_bytes);
/* I2C on the camera's bus `bus`, with a byte (B) or word (W) sub-address.
   Device 0x51, the EEPROM of the ID blocks, is refused with
   KAVIX_E_I2C_RESERVED. Works on every model. */
KAVIX_API KAVIX_BOOL Kavix_ReadI2CB(KAVIX_HANDLE camera, uint8_t bus, uint8_t address,
                                    uint8_t sub_address, uint8_t count, uint8_t *buffer);
KAVIX_API KAVIX_BOOL Kavix_WriteI2CB(KAVIX_HANDLE camera, uint8_t bus, uint8_t address,
                                     uint8_t sub_address, uint8_t count, const uint8_t *buffer);
KAVIX_API KAVIX_BOOL Kavix_ReadI2CW(KAVIX_HANDLE camera, uint8_t bus, uint8_t address,
                                    uint16_t sub_address, uint16_t count, uint8_t *buffer);
KAVIX_API KAVIX_BOOL Kavix_WriteI2CW(KAVIX_HANDLE camera, uint8_t bus, uint8_t address,
                                     uint16_t sub_address, uint16_t count, const uint8_t *buffer);
/* The gamma value the camera applies itself, in hundredths (function 57;
   without it the set gives 87 and the get 0). Unrelated to the library's
   gamma stage. */
KAVIX_API KAVIX_BOOL Kavix_SetCameraGammaValue(KAVIX_HANDLE camera, uint16_t value);
KAVIX_API KAVIX_BOOL Kavix_GetCameraGammaValue(KAVIX_HANDLE camera, uint16_t *value);

/* Kavix_Open for cameras that may still run their boot-level firmware (the
   models without FPGA): their firmware image is downloaded from the
   library's firmware directory until the camera runs it. *downloads (may be
   NULL) is the number of images downloaded. Null when the camera isn't back
   yet after a download: call again. */
KAVIX_API KAVIX_HANDLE Kavix_OpenFW(uint32_t user_id, uint32_t *downloads);

/* ---- Transfer, snapshots, messages ------------------------------------------ */

/* The "window" that receives the library's messages is a message queue of
 * the library. Its descriptor polls readable while a message waits, so it
 * fits into poll/epoll/GLib/Qt loops; Kavix_GetMessage then takes the oldest
 * message. These four functions report failures through
 * Kavix_GetLastError(NULL): 1400 for a queue that isn't (or no longer is)
 * live, 258 when no message came in time, 4 or 8 when none can be made. */
typedef struct KavixMessageQueue_t *KAVIX_MESSAGE_QUEUE;
typedef struct {
    uint32_t number;  /* KAVIX_MSG_* */
    uintptr_t wparam; /* the camera handle */
    intptr_t lparam;  /* as noted with the message number */
} KAVIX_MESSAGE;
#define KAVIX_INFINITE 0xFFFFFFFFu /* a time-out without limit */

KAVIX_API KAVIX_MESSAGE_QUEUE Kavix_CreateMessageQueue(void);
KAVIX_API KAVIX_BOOL Kavix_DestroyMessageQueue(KAVIX_MESSAGE_QUEUE queue);
/* Waits up to timeout_ms (0 only looks, KAVIX_INFINITE waits without limit). */
KAVIX_API KAVIX_BOOL Kavix_GetMessage(KAVIX_MESSAGE_QUEUE queue, KAVIX_MESSAGE *message,
                                      uint32_t timeout_ms);
/* -1 for a queue that isn't live. Poll it; never read it. */
KAVIX_API int Kavix_GetMessageQueueFd(KAVIX_MESSAGE_QUEUE queue);

/* Starts the capture thread (a running one is stopped first). */
KAVIX_API KAVIX_BOOL Kavix_StartTransfer(KAVIX_HANDLE camera);
/* Stops the capture thread and waits for it; always succeeds on a good handle. */
KAVIX_API KAVIX_BOOL Kavix_StopTransfer(KAVIX_HANDLE camera);
/* Where messages 0xB001.. go; NULL for nowhere. The queue isn't checked here. */
KAVIX_API KAVIX_BOOL Kavix_SetReceiveMsgWindow(KAVIX_HANDLE camera, KAVIX_MESSAGE_QUEUE queue);
/* Take as many whole frames as fit into buffer: raw frames as sent, or
 * preview images. frame_numbers may be NULL; timeout_ms 0 waits without
 * limit. Fails with 258 on a time-out or when the capture thread ends. */
KAVIX_API KAVIX_BOOL Kavix_TakeRawSnapShot(KAVIX_HANDLE camera, uint8_t *buffer, uint32_t size,
                                           uint32_t *bytes_taken, uint32_t *frame_numbers,
                                           uint32_t timeout_ms);
KAVIX_API KAVIX_BOOL Kavix_TakePreviewSnapShot(KAVIX_HANDLE camera, uint8_t *buffer, uint32_t size,
                                               uint32_t *bytes_taken, uint32_t *frame_numbers,
                                               uint32_t timeout_ms);
/* The shown preview pixel at (x, y) as 0xBBGGRR (grey in all three bytes on
 * mono images); 0 outside the image. */
KAVIX_API KAVIX_BOOL Kavix_GetPreviewImagePixelValue(KAVIX_HANDLE camera, uint32_t x, uint32_t y,
                                                     uint32_t *value);

/* ---- Callback lists ---------------------------------------------------------- */

/* Callbacks run on the capture thread, in order of registration, with the
 * list locked: a Remove on another thread waits for a running callback. A
 * callback may add to its own list (the same walk reaches the new entry) or
 * remove other entries, but must not remove itself. Ids: the largest live id
 * plus 1. A record with a preview bitmap or GDI callback makes the capture
 * thread build preview images. */
KAVIX_API KAVIX_BOOL Kavix_AddRawCallback(KAVIX_HANDLE camera, KAVIX_RAW_CALLBACK function,
    void *context, uint32_t *id);
KAVIX_API KAVIX_BOOL Kavix_RemoveRawCallback(KAVIX_HANDLE camera, uint32_t id);
KAVIX_API KAVIX_BOOL Kavix_RemoveAllRawCallback(KAVIX_HANDLE camera);
KAVIX_API KAVIX_BOOL Kavix_GetRawCallbackCount(KAVIX_HANDLE camera, uint32_t *count);
KAVIX_API KAVIX_BOOL Kavix_GetRawCallback(KAVIX_HANDLE camera, uint32_t index,
    KAVIX_RAW_CALLBACK *function, uint32_t *id);
KAVIX_API KAVIX_BOOL Kavix_GetRawCallbackList(KAVIX_HANDLE camera, uint32_t capacity,
    KAVIX_RAW_CALLBACK *functions, uint32_t *ids, uint32_t *count);

KAVIX_API KAVIX_BOOL Kavix_AddPreviewBitmapCallback(KAVIX_HANDLE camera, KAVIX_PREVIEW_BITMAP_CALLBACK function,
    void *context, uint32_t *id);
KAVIX_API KAVIX_BOOL Kavix_RemovePreviewBitmapCallback(KAVIX_HANDLE camera, uint32_t id);
KAVIX_API KAVIX_BOOL Kavix_RemoveAllPreviewBitmapCallback(KAVIX_HANDLE camera);
KAVIX_API KAVIX_BOOL Kavix_GetPreviewBitmapCallbackCount(KAVIX_HANDLE camera, uint32_t *count);
KAVIX_API KAVIX_BOOL Kavix_GetPreviewBitmapCallback(KAVIX_HANDLE camera, uint32_t index,
    KAVIX_PREVIEW_BITMAP_CALLBACK *function, uint32_t *id);
KAVIX_API KAVIX_BOOL Kavix_GetPreviewBitmapCallbackList(KAVIX_HANDLE camera, uint32_t capacity,
    KAVIX_PREVIEW_BITMAP_CALLBACK *functions, uint32_t *ids, uint32_t *count);

KAVIX_API KAVIX_BOOL Kavix_AddPreviewGDICallback(KAVIX_HANDLE camera, KAVIX_PREVIEW_GDI_CALLBACK function,
    void *context, uint32_t *id);
KAVIX_API KAVIX_BOOL Kavix_RemovePreviewGDICallback(KAVIX_HANDLE camera, uint32_t id);
KAVIX_API KAVIX_BOOL Kavix_RemoveAllPreviewGDICallback(KAVIX_HANDLE camera);
KAVIX_API KAVIX_BOOL Kavix_GetPreviewGDICallbackCount(KAVIX_HANDLE camera, uint32_t *count);
KAVIX_API KAVIX_BOOL Kavix_GetPreviewGDICallback(KAVIX_HANDLE camera, uint32_t index,
    KAVIX_PREVIEW_GDI_CALLBACK *function, uint32_t *id);
KAVIX_API KAVIX_BOOL Kavix_GetPreviewGDICallbackList(KAVIX_HANDLE camera, uint32_t capacity,
    KAVIX_PREVIEW_GDI_CALLBACK *functions, uint32_t *ids, uint32_t *count);

/* ---- Image size, clock, trigger, I/O, defect pixels ------------------------- */

/* Scan modes are the camera's numbers. KAVIX_SCAN_MODE_FREE_REGION is a free
 * region of interest: all four position values count. In any other mode the
 * sensor fixes width and X offset; modes 16, 32, 64, 128 and 256 bin, and in
 * modes 4 and 32 an exposure may be longer than the frame. */
#define KAVIX_SCAN_MODE_FREE_REGION 0x8000u

/* Asks the camera for a scan mode and window, then takes what the camera made
 * of it (read it back with Kavix_GetImageSize): nothing is checked here, the
 * limits are the camera's. Frame buffers follow the new size; the preview
 * window keeps its place and takes the new size. Refused (KAVIX_E_CAPTURE_RUNNING)
 * while a capture thread exists, until Kavix_StopTransfer. reserved: ignored. */
KAVIX_API KAVIX_BOOL Kavix_SetImageSize(KAVIX_HANDLE camera, uint32_t reserved, uint16_t scan_mode,
                                        uint32_t offset_x, uint32_t offset_y, uint32_t width,
                                        uint32_t height);
/* The session's values, the camera's last answer; no camera access. The
 * reserved pointer isn't touched. */
KAVIX_API KAVIX_BOOL Kavix_GetImageSize(KAVIX_HANDLE camera, void *reserved, uint16_t *scan_mode,
                                        uint32_t *offset_x, uint32_t *offset_y, uint32_t *width,
                                        uint32_t *height);
/* Image size flags (size_flags may be NULL) and the mask of offered scan modes. */
KAVIX_API KAVIX_BOOL Kavix_GetEnableImageSize(KAVIX_HANDLE camera, uint32_t *size_flags,
                                              uint16_t *scan_modes);
KAVIX_API KAVIX_BOOL Kavix_GetMaximumImageSize(KAVIX_HANDLE camera, uint32_t *width,
                                               uint32_t *height);
/* Skipping and binning by the camera, each value 0 to 15 (cut to 4 bits); needs
 * KAVIX_SCAN_MODE_FREE_REGION among the offered modes (else 87), refused while a
 * capture thread exists. The session then takes the new size. */
KAVIX_API KAVIX_BOOL Kavix_SetSkippingAndBinning(KAVIX_HANDLE camera, uint8_t v_skip, uint8_t v_bin,
                                                 uint8_t h_skip, uint8_t h_bin);
/* Any pointer may be NULL. Without the camera's word: no skipping, and binning
 * 1 in the binning scan modes, else 0. */
KAVIX_API KAVIX_BOOL Kavix_GetSkippingAndBinning(KAVIX_HANDLE camera, uint8_t *v_skip,
                                                 uint8_t *v_bin, uint8_t *h_skip, uint8_t *h_bin);
/* Sum or average in binning; the values are the camera's. Without the feature
 * Set fails with 87 and Get gives 0. */
KAVIX_API KAVIX_BOOL Kavix_SetBinningSumMode(KAVIX_HANDLE camera, uint16_t mode);
KAVIX_API KAVIX_BOOL Kavix_GetBinningSumMode(KAVIX_HANDLE camera, uint16_t *mode);

/* Clock modes: 0 the default clock, a flag of the camera's clock modes, or
 * KAVIX_CLOCK_ARBITRARY for hz within the camera's limits. The session keeps
 * what the camera reads back. Allowed beside a capture thread. */
#define KAVIX_CLOCK_DEFAULT   0u
#define KAVIX_CLOCK_ARBITRARY 0x80000000u
KAVIX_API KAVIX_BOOL Kavix_SetClock(KAVIX_HANDLE camera, uint32_t mode, uint32_t hz);
KAVIX_API KAVIX_BOOL Kavix_GetClock(KAVIX_HANDLE camera, uint32_t *mode, uint32_t *hz);
KAVIX_API KAVIX_BOOL Kavix_GetEnableClock(KAVIX_HANDLE camera, uint32_t *modes,
                                          uint32_t *default_hz, uint32_t *minimum_hz,
                                          uint32_t *maximum_hz);
/* Lines per frame (V total) and clocks per line (H total). */
KAVIX_API KAVIX_BOOL Kavix_GetFrameClock(KAVIX_HANDLE camera, uint16_t *lines, uint16_t *clocks);
/* Frames per second from the frame clock and the clocks per frame; 0.0 when
 * the camera tells no clock. */
KAVIX_API KAVIX_BOOL Kavix_GetOutputFPS(KAVIX_HANDLE camera, float *fps);
/* Extra lines per frame to lower the frame rate (low 16 bits); on cameras
 * without the feature only 0 is accepted, and Get and GetMax give 0. */
KAVIX_API KAVIX_BOOL Kavix_SetVBlankForFPS(KAVIX_HANDLE camera, uint32_t vblank);
KAVIX_API KAVIX_BOOL Kavix_GetVBlankForFPS(KAVIX_HANDLE camera, uint32_t *vblank);
KAVIX_API KAVIX_BOOL Kavix_GetMaxVBlankForFPS(KAVIX_HANDLE camera, uint32_t *vblank);
/* Trigger and I/O: one camera command each; models without FPGA fail with
 * KAVIX_E_NO_FPGA. The meaning of the flags and values is the camera's; the
 * library uses the trigger flags 0x3 and 0x3000 (noise reduction under
 * trigger). Get calls write 0 to their output when they fail. */
KAVIX_API KAVIX_BOOL Kavix_SetTriggerMode(KAVIX_HANDLE camera, uint32_t flags);
KAVIX_API KAVIX_BOOL Kavix_GetTriggerMode(KAVIX_HANDLE camera, uint32_t *flags);
/* Timing types 1 to 5; any other type reaches the camera's default timing word. */
KAVIX_API KAVIX_BOOL Kavix_SetTriggerTiming(KAVIX_HANDLE camera, uint32_t type, uint32_t value);
KAVIX_API KAVIX_BOOL Kavix_GetTriggerTiming(KAVIX_HANDLE camera, uint32_t type, uint32_t *value);
KAVIX_API KAVIX_BOOL Kavix_GetEnableTriggerVersion(KAVIX_HANDLE camera, uint32_t *version);
/* One frame per soft trigger in trigger mode. */
KAVIX_API KAVIX_BOOL Kavix_SoftTrigger(KAVIX_HANDLE camera);
KAVIX_API KAVIX_BOOL Kavix_SoftSubTrigger(KAVIX_HANDLE camera);
KAVIX_API KAVIX_BOOL Kavix_TriggerReadOut(KAVIX_HANDLE camera);
/* I/O pins, one bit per pin (answers in the low 16 bits). */
KAVIX_API KAVIX_BOOL Kavix_SetIOPinDirection(KAVIX_HANDLE camera, uint16_t bits);
KAVIX_API KAVIX_BOOL Kavix_GetIOPinDirection(KAVIX_HANDLE camera, uint32_t *bits);
KAVIX_API KAVIX_BOOL Kavix_SetIOPinPolarity(KAVIX_HANDLE camera, uint16_t bits);
KAVIX_API KAVIX_BOOL Kavix_GetIOPinPolarity(KAVIX_HANDLE camera, uint32_t *bits);
KAVIX_API KAVIX_BOOL Kavix_SetIOPinStatus(KAVIX_HANDLE camera, uint16_t bits);
KAVIX_API KAVIX_BOOL Kavix_GetIOPinStatus(KAVIX_HANDLE camera, uint32_t *bits);
/* Pins 0 to 3; others fail with 87. */
KAVIX_API KAVIX_BOOL Kavix_SetIOPinMode(KAVIX_HANDLE camera, uint32_t pin, uint16_t mode);
KAVIX_API KAVIX_BOOL Kavix_GetIOPinMode(KAVIX_HANDLE camera, uint32_t pin, uint32_t *mode);
KAVIX_API KAVIX_BOOL Kavix_GetSwStatus(KAVIX_HANDLE camera, uint32_t *status);
/* The mask of I/O pins that exist (0 without FPGA). */
KAVIX_API KAVIX_BOOL Kavix_GetIOExistence(KAVIX_HANDLE camera, uint32_t *pins);
/* LED layout: 3 or 1 for the two layouts the library knows, 0 for none or
 * any other. */
KAVIX_API KAVIX_BOOL Kavix_GetLEDExistence(KAVIX_HANDLE camera, uint32_t *leds);

/* Defect pixels are corrected in the camera from a table of positions. The
 * count is 0 on cameras without the feature, where setters fail with 87. */
KAVIX_API KAVIX_BOOL Kavix_GetEnableDefectPixelCorrectionCount(KAVIX_HANDLE camera,
                                                               uint16_t *count);
KAVIX_API KAVIX_BOOL Kavix_SetDefectPixelCorrectionPosition(KAVIX_HANDLE camera, uint16_t index,
                                                            uint16_t x, uint32_t y);
/* An unused entry reads 0xFFFF, 0xFFFF. */
KAVIX_API KAVIX_BOOL Kavix_GetDefectPixelCorrectionPosition(KAVIX_HANDLE camera, uint16_t index,
                                                            uint32_t *x, uint32_t *y);
/* The mode's values are the camera's firmware's. */
KAVIX_API KAVIX_BOOL Kavix_SetDefectPixelCorrectionMode(KAVIX_HANDLE camera, uint16_t mode);
KAVIX_API KAVIX_BOOL Kavix_GetDefectPixelCorrectionMode(KAVIX_HANDLE camera, uint16_t *mode);
/* Finds the brightest pixels at or above threshold in a dark 8-bit frame
 * (width x height, rows packed) and writes them to the camera's table, the
 * rest of the table unused; among equal levels the earlier pixels give way
 * first. The mode isn't changed. */
KAVIX_API KAVIX_BOOL Kavix_DetectDefectPixel(KAVIX_HANDLE camera, uint32_t width, uint32_t height,
                                             const uint8_t *image, uint16_t threshold);

/* ---- Pipeline ----------------------------------------------------------------- */

/* The method of the live pipeline: 0 to 5 (KAVIX_INTERPOLATION_*); 3 by default.
 * Others fail with 87 and leave the method as it was. */
KAVIX_API KAVIX_BOOL Kavix_SetColorInterpolationMethod(KAVIX_HANDLE camera, uint8_t method);
KAVIX_API KAVIX_BOOL Kavix_GetColorInterpolationMethod(KAVIX_HANDLE camera, uint8_t *method);
/* Demosaics an 8-bit frame of the camera's colour array (adjusted for mirroring
 * in the camera) with the given method, 0 to 5 or 253 to 255, into BGR24
 * (pixel_format 4) or BGR32 (8, fourth byte 0). No other stage is applied; no
 * transfer is needed. Another pixel_format fails with 87 after the BGR24 image
 * has been written. */
KAVIX_API KAVIX_BOOL Kavix_ConvertRawToBGR(KAVIX_HANDLE camera, uint32_t width, uint32_t height,
                                           const uint8_t *raw, uint8_t *destination,
                                           uint8_t method, uint32_t pixel_format);

/* ---- Still image files ------------------------------------------------------- */

/* Swaps the first and third byte of every pixel, in place. */
KAVIX_API KAVIX_BOOL Kavix_ConvertBitmapBGR24ToRGB24(KAVIX_HANDLE camera, uint32_t width,
                                                     uint32_t height, uint8_t *image);
/* destination[i] = source[i] >> shift, the shift by bit_code: 2 or 64 give 2, 4 or
 * 128 give 4, 8 or 256 give 6, 16 or 512 give 8; other codes fail with 87. */
KAVIX_API KAVIX_BOOL Kavix_ConvTo8BitsImage(KAVIX_HANDLE camera, uint32_t width, uint32_t height,
                                            uint32_t bit_code, const uint16_t *source,
                                            uint8_t *destination);

/* Pixel formats of a still image (rows packed, top row first). */
#define KAVIX_STILL_MONO8    1u  /* 8-bit grey or raw */
#define KAVIX_STILL_MONO16   2u  /* 16 significant bits in 16 */
#define KAVIX_STILL_BGR24    4u
#define KAVIX_STILL_BGR32    8u  /* blue, green, red, a fourth byte */
#define KAVIX_STILL_MONO10  16u  /* 10 significant bits in 16 */
#define KAVIX_STILL_MONO12  32u
#define KAVIX_STILL_MONO14  64u

/* Writes an image to a file whose type the extension gives (ignoring case, a
 * leading part of a keyword selects it): RAW (formats 1, 2, 16, 32, 64, as they
 * are), BMP (1, 4, 8; rows not padded), TIFF (1, 4, 8 and the deep grey formats,
 * shifted to 16 bits), JPEG (1, 4, 8) or PNG (1, 4, 8). quality: for JPEG 0 is
 * finest and 50 and 100 give the standard tables (above 100 counts as 100); for
 * PNG an even value writes an interlaced file. Errors: KAVIX_E_BAD_EXTENSION,
 * KAVIX_E_IMAGE_FILE_OPEN, KAVIX_E_RAW_SHORT_WRITE, 87 for a format the type
 * doesn't take (the file is then left empty), 8. */
KAVIX_API KAVIX_BOOL Kavix_SaveImageA(KAVIX_HANDLE camera, uint32_t width, uint32_t height,
                                      uint32_t pixel_format, const void *image,
                                      const char *file_name, uint32_t quality);
KAVIX_API KAVIX_BOOL Kavix_SaveImageW(KAVIX_HANDLE camera, uint32_t width, uint32_t height,
                                      uint32_t pixel_format, const void *image,
                                      const KAVIX_WCHAR *file_name, uint32_t quality);

#ifdef __cplusplus
}
#endif

#endif /* KAVIXD_H */
