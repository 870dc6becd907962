/*
 * KavixSim: virtual cameras on an in-process bus, served by libKavixUSBD.
 * A program plugs cameras in with these calls; KavixUSBD_OpenDevice then
 * finds them after the real devices, like any other camera.
 *
 * A virtual camera answers the camera's wire protocol: the vendor requests,
 * the EEPROM with its ID blocks, the FPGA status words, the data space with
 * its register table, the scan state it decides itself, and the controller's
 * RAM for firmware downloads. Calls return non-zero on success; on failure
 * the calling thread's last error (KavixUSBD_GetLastError) is 87 for a bad
 * argument or an unknown camera id.
 */
#ifndef KAVIXSIM_H
#define KAVIXSIM_H

#include <stdint.h>
#include "KavixUSBD.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A virtual camera, 0 for none. Ids are never reused within a process. */
typedef uint32_t KAVIXSIM_CAMERA;

/* Form of the camera information record (request 17). */
#define KAVIXSIM_INFO_NEW 0u /* begins with the vendor id, carries clocks and size */
#define KAVIXSIM_INFO_OLD 1u /* begins with the product id, ends after the scan modes */

/* USB speed, as the endpoint descriptors tell it. */
#define KAVIXSIM_SPEED_FULL  0u /* bulk packets of 64 bytes */
#define KAVIXSIM_SPEED_HIGH  1u /* 512 */
#define KAVIXSIM_SPEED_SUPER 2u /* 1024, with SuperSpeed companions */

/* Re-enumeration delay that never ends by itself: the camera comes back only
 * with KavixSim_CompleteReenumeration. */
#define KAVIXSIM_DELAY_MANUAL 0xFFFFFFFFu

/* Texts of the ID blocks: UTF-8, stored as bytes or as UTF-16LE. */
#define KAVIXSIM_ID_TEXT_BYTES 250u

typedef struct KavixSimCameraConfig {
    /* Identity, as the information record reports it. */
    uint16_t product_id;
    uint16_t fpga_version;
    uint16_t firmware_version; /* the running firmware: 3 or more gives the
                                  10-byte clock record, 256 or more USB 3 */
    uint16_t color_array;      /* 1 mono, 2 to 5 Bayer phases */
    uint16_t header_bytes;     /* frame header length of the stream */
    uint16_t info_form;        /* KAVIXSIM_INFO_NEW or KAVIXSIM_INFO_OLD */
    uint8_t has_fpga;          /* answers requests 128 and 130 */
    uint8_t boot_firmware;     /* starts in boot-level firmware (version 8) until
                                  a download; only on models without FPGA */
    uint8_t info_reports_max_size; /* new form: put the sensor size in the record */
    uint8_t has_register_table;    /* answers request 130 with a register table */

    /* Capabilities. */
    uint32_t enable_image_size_flags;
    uint32_t enable_transfer_bits;  /* mask; exactly 1: fixed raw 8 bits */
    uint32_t transfer_bits;         /* format at power-on, one bit of the mask */
    uint16_t enable_scan_modes;     /* 0x8000: free region and status 33 */
    uint16_t shutter_flags;
    uint32_t clock_max, clock_min, clock_default; /* Hz */
    uint32_t enable_clock_modes;    /* flag k selects clock_default >> (k + 1) */
    uint32_t enable_trigger_version;
    uint16_t function_bits[16];     /* as the camera reports them; word 5 tells
                                       the library the defect table size */

    /* Sensor geometry and timing. */
    uint32_t sensor_width, sensor_height;
    uint16_t width_step, height_step, offset_step; /* window alignment */
    uint16_t min_width, min_height;
    uint16_t h_blank;          /* clocks per line beyond the window width */
    uint16_t v_blank;          /* lines per frame beyond the window height */
    uint16_t max_vblank;       /* largest V-blank for frame rate (status 23) */

    /* Gains. */
    uint16_t max_gain, default_gain, default_digital_gain;
    uint16_t white_balance_defaults[4]; /* R, Gr, Gb, B (request 35) */

    /* Camera features. */
    uint16_t defect_table_size; /* entries of the selector 129 table */

    /* EEPROM contents at plug time. */
    uint8_t blank_eeprom;       /* all 0xFF: no ID blocks written */
    uint8_t id_text_wide;       /* store both texts as UTF-16LE */
    uint32_t user_id;
    char user_text[KAVIXSIM_ID_TEXT_BYTES]; /* zero-terminated UTF-8 */
    uint32_t serial_id;
    char serial_text[KAVIXSIM_ID_TEXT_BYTES];

    /* USB. */
    uint8_t usb_speed;                /* KAVIXSIM_SPEED_* */
    uint8_t interrupt_endpoint_first; /* an interrupt IN endpoint ahead of the bulk one */
    uint32_t reenumeration_delay_ms;  /* after a download; KAVIXSIM_DELAY_MANUAL */
    uint32_t driver_version[4];       /* what KavixUSBD_GetDriverVersion reports */
} KavixSimCameraConfig;

/* Fills `config` with the defaults of a model: product id, with `second_model`
 * choosing the second row of an id shared by two models (function 112). An id
 * outside the model table gives a generic camera with an FPGA. */
KAVIXUSBD_API int32_t KavixSim_InitConfig(KavixSimCameraConfig *config, uint16_t product_id,
                                          uint32_t second_model);

/* A model of the catalogue, as KavixSim_GetModel lists it. */
#define KAVIXSIM_MODEL_NAME_BYTES 32u
typedef struct KavixSimModel {
    uint16_t product_id;
    uint8_t second_model;  /* 1 for the second model of a shared id (function 112) */
    uint8_t colour;        /* 1 colour (Bayer), 0 mono */
    uint8_t has_fpga;
    uint32_t sensor_width, sensor_height;
    char name[KAVIXSIM_MODEL_NAME_BYTES]; /* product name, zero-terminated */
} KavixSimModel;

/* The model at `index` of the catalogue, from 0 up; an id shared by two models
 * gives two entries, the first with second_model 0. Past the last: 0 with 87.
 * KavixSim_InitConfig(config, product_id, second_model) makes a camera of it. */
KAVIXUSBD_API int32_t KavixSim_GetModel(uint32_t index, KavixSimModel *model);

/* Plugs a camera in at the end of the virtual bus. Result: its id, or 0 with
 * 87 for a config that no camera could have (a transfer format outside the
 * mask, boot firmware on a model with an FPGA, a sensor of size 0, ...). */
KAVIXUSBD_API KAVIXSIM_CAMERA KavixSim_Plug(const KavixSimCameraConfig *config);

/* Takes the camera off the bus for good: open handles fail with 1167. */
KAVIXUSBD_API int32_t KavixSim_Unplug(KAVIXSIM_CAMERA camera);
KAVIXUSBD_API int32_t KavixSim_UnplugAll(void);

/* Another client holds the camera: KavixUSBD_GetOpenCount counts it. */
KAVIXUSBD_API int32_t KavixSim_SetBusy(KAVIXSIM_CAMERA camera, int32_t busy);

/* KavixUSBD_ProbeDevice fails (31) until `recoveries` recovery operations
 * (either of the two) have been issued on the camera; 0 clears it. */
KAVIXUSBD_API int32_t KavixSim_FailProbe(KAVIXSIM_CAMERA camera, uint32_t recoveries);

/* Fault injection for one vendor request number. */
#define KAVIXSIM_FAULT_NONE  0u
#define KAVIXSIM_FAULT_FAIL  1u /* the transfer fails with Windows error `param` (0: 31) */
#define KAVIXSIM_FAULT_SHORT 2u /* the transfer moves at most `param` bytes */
/* `times`: how many transfers of that request the fault hits, 0 for all until
 * cleared with KAVIXSIM_FAULT_NONE. */
KAVIXUSBD_API int32_t KavixSim_SetRequestFault(KAVIXSIM_CAMERA camera, uint8_t request,
                                               uint32_t fault, uint32_t param, uint32_t times);

/* Bus presence. A camera is off the bus between a firmware download and the
 * end of its re-enumeration delay. */
KAVIXUSBD_API int32_t KavixSim_IsPresent(KAVIXSIM_CAMERA camera, int32_t *present);
/* Waits until the camera's presence is `present`, at most `timeout_ms`.
 * Result 1 when it is, 0 with 258 on time-out. */
KAVIXUSBD_API int32_t KavixSim_WaitPresence(KAVIXSIM_CAMERA camera, int32_t present,
                                            uint32_t timeout_ms);
/* Ends a pending re-enumeration at once. */
KAVIXUSBD_API int32_t KavixSim_CompleteReenumeration(KAVIXSIM_CAMERA camera);

/* What the camera is doing, read under its lock. */
typedef struct KavixSimCameraState {
    int32_t present;
    uint16_t firmware_version;   /* 8 while the boot-level firmware runs */
    uint16_t scan_mode;
    uint32_t width, height, offset_x, offset_y; /* frame size as reported */
    uint16_t clocks_per_line, lines_per_frame;
    uint32_t clock_mode, clock_hz;
    uint32_t transfer_bits;
    uint32_t shutter_line, shutter_clock;
    uint16_t gain, digital_gain;
    uint32_t trigger_mode;
    uint16_t mirror;             /* status 63: bit 0 horizontal, bit 1 vertical */
    uint16_t camera_mode;        /* status 101 */
    uint32_t soft_triggers;      /* request 48 */
    uint32_t buffer_clears;      /* request 32 */
    uint32_t commits;            /* status 80, bit 0 */
    uint32_t counter_resets;     /* status 80, bit 1 */
    uint32_t downloads;          /* firmware downloads that started the CPU */
    uint32_t recoveries;         /* recovery operations issued */
    uint32_t control_transfers;  /* every control transfer that reached the camera */
} KavixSimCameraState;
KAVIXUSBD_API int32_t KavixSim_GetState(KAVIXSIM_CAMERA camera, KavixSimCameraState *state);

/* The camera's log of control transfers that reached it (faulted ones
 * included), so that a program can see what went over the wire. The camera
 * keeps the most recent KAVIXSIM_CONTROL_LOG_SIZE. */
#define KAVIXSIM_CONTROL_LOG_SIZE 1024u
typedef struct KavixSimControlRecord {
    uint8_t request_type; /* bit 7: to the host */
    uint8_t request;
    uint16_t value;
    uint16_t index;
    uint16_t length;
    uint8_t data[64];     /* the first bytes sent, for a transfer to the camera */
} KavixSimControlRecord;
/* Copies up to `capacity` records, oldest first, of the most recent ones;
 * `count` gets the number copied. */
KAVIXUSBD_API int32_t KavixSim_GetControlLog(KAVIXSIM_CAMERA camera, KavixSimControlRecord *records,
                                             uint32_t capacity, uint32_t *count);
KAVIXUSBD_API int32_t KavixSim_ClearControlLog(KAVIXSIM_CAMERA camera);

/* Back doors for tests and tools: the camera's memories without a transfer. */
KAVIXUSBD_API int32_t KavixSim_ReadEeprom(KAVIXSIM_CAMERA camera, uint32_t address,
                                          uint8_t *data, uint32_t bytes);
KAVIXUSBD_API int32_t KavixSim_WriteEeprom(KAVIXSIM_CAMERA camera, uint32_t address,
                                           const uint8_t *data, uint32_t bytes);
KAVIXUSBD_API int32_t KavixSim_ReadControllerRam(KAVIXSIM_CAMERA camera, uint32_t address,
                                                 uint8_t *data, uint32_t bytes);
/* Status words of a selector (0 or 129), ids without bit 15, no side effects:
 * e.g. the switch status (102) that the camera's inputs would set. */
KAVIXUSBD_API int32_t KavixSim_GetStatusWords(KAVIXSIM_CAMERA camera, uint16_t selector,
                                              uint16_t id, uint16_t count, uint16_t *words);
KAVIXUSBD_API int32_t KavixSim_SetStatusWords(KAVIXSIM_CAMERA camera, uint16_t selector,
                                              uint16_t id, uint16_t count, const uint16_t *words);

/* ---- The frame stream -------------------------------------------------------
 * A camera streams between KavixUSBD_StartStream and KavixUSBD_StopStream: it
 * exposes a frame each frame period (clock, clocks per line, lines per frame
 * and V-blank; in trigger mode one per soft trigger, request 48), keeps it in
 * its own buffer, and sends a header of header_bytes bytes with the frame
 * number (little-endian u32 at byte 12), then the pixels in the current
 * transfer format for the current window, skipping, binning and mirror. A
 * frame that finds the buffer full is lost: its number is skipped. */

/* What the camera looks at. Levels are linear: 1.0 fills a sample at the
 * camera's power-on exposure with its default gains; a longer exposure or more
 * gain brightens the picture in proportion until the samples saturate. */
#define KAVIXSIM_SCENE_COLOR_BARS    0u /* white, yellow, cyan, green, magenta, red, blue, black at 75 % */
#define KAVIXSIM_SCENE_FLAT_FIELD    1u /* `level` everywhere */
#define KAVIXSIM_SCENE_MOVING_TARGET 2u /* a `target_level` square over `level`, a step per frame */
#define KAVIXSIM_SCENE_GRADIENT      3u /* red rises to the right, blue downwards, green along both */
typedef struct KavixSimScene {
    uint32_t kind;
    float level[3];        /* R, G, B */
    float target_level[3]; /* R, G, B */
    float noise;           /* temporal noise, standard deviation in 8-bit levels; 0 for none */
    uint32_t seed;         /* of the noise: a seed gives the same noise on every run */
    uint32_t target_size;  /* side in frame pixels; 0 for an eighth of the smaller side */
    uint32_t target_speed; /* frame pixels per frame, half that vertically */
} KavixSimScene;
KAVIXUSBD_API int32_t KavixSim_SetScene(KAVIXSIM_CAMERA camera, const KavixSimScene *scene);

/* Replaces the scene by `count` pixel blocks of `frame_bytes` bytes each, laid
 * end to end in `frames`, sent unchanged and in turn after each frame's header
 * whatever their size. A count of 0 brings the scene back. */
KAVIXUSBD_API int32_t KavixSim_SupplyFrames(KAVIXSIM_CAMERA camera, const void *frames,
                                            uint32_t frame_bytes, uint32_t count);

/* Stopping the stream (KavixUSBD_StopStream) ends every pending read with 995
 * and drops the frame on its way out; an exposure still being read out is cut
 * short and gives its number to the next frame. Frames already waiting in the
 * camera's buffer stay there for the next start, as on a camera, until request
 * 32 clears them. */
typedef struct KavixSimStreamOptions {
    uint8_t separate_header;  /* the header is a transfer of its own */
    uint8_t can_restart;      /* KavixUSBD_QueryStreamRestart says yes (default 1) */
    uint8_t as_fast_as_read;  /* a frame whenever a read wants one, not by the clock */
    uint8_t reserved;         /* 0 */
    uint32_t buffer_frames;   /* the camera's own buffer in frames, at least 1 (default 4) */
    uint32_t first_frame_number; /* number of the next frame, and after a counter reset */
} KavixSimStreamOptions;
KAVIXUSBD_API int32_t KavixSim_SetStreamOptions(KAVIXSIM_CAMERA camera,
                                                const KavixSimStreamOptions *options);
KAVIXUSBD_API int32_t KavixSim_GetStreamOptions(KAVIXSIM_CAMERA camera,
                                                KavixSimStreamOptions *options);

/* Faults of the stream, on the frame with a given number. `param` is a byte
 * offset into the frame (header included) or a byte count, as told;
 * KAVIXSIM_AT_HALF stands for half the frame. */
#define KAVIXSIM_STREAM_UNPLUG 1u /* the camera leaves the bus at byte `param`: every read ends with 1167 */
#define KAVIXSIM_STREAM_TORN   2u /* the frame ends `param` bytes early, in a short transfer */
#define KAVIXSIM_STREAM_EXTRA  3u /* `param` more bytes (0xEE) follow the frame in its transfer */
#define KAVIXSIM_STREAM_ERR31  4u /* the read fails with 31 at byte `param`; the pipe stays halted
                                     (reads fail with 31) until the stream is started again */
#define KAVIXSIM_STREAM_ERR23  5u /* the read fails with 23 at byte `param`; the rest of the frame is lost */
#define KAVIXSIM_STREAM_STALL  6u /* the camera stops sending at byte `param`: reads stay pending
                                     until KavixSim_ResumeStream or a stop */
#define KAVIXSIM_STREAM_SPLIT  7u /* the frame goes as two transfers, cut after byte `param` */
#define KAVIXSIM_AT_HALF 0xFFFFFFFFFFFFFFFFull
KAVIXUSBD_API int32_t KavixSim_AddStreamFault(KAVIXSIM_CAMERA camera, uint32_t kind,
                                              uint32_t frame_number, uint64_t param);
/* Faults at random: each frame has one with `per_million` chance, of a kind
 * in `kinds` (bit kind - 1), at a random offset; drawn from `seed`. */
KAVIXUSBD_API int32_t KavixSim_SetRandomStreamFaults(KAVIXSIM_CAMERA camera, uint32_t kinds,
                                                     uint32_t per_million, uint64_t seed);
KAVIXUSBD_API int32_t KavixSim_ClearStreamFaults(KAVIXSIM_CAMERA camera);
/* Ends a KAVIXSIM_STREAM_STALL. */
KAVIXUSBD_API int32_t KavixSim_ResumeStream(KAVIXSIM_CAMERA camera);

typedef struct KavixSimStreamCounters {
    uint64_t produced;  /* frames exposed, lost ones included */
    uint64_t delivered; /* frames whose last byte was sent */
    uint64_t lost;      /* frames that found the camera's buffer full, or were cleared (request 32) */
    uint64_t bytes;     /* bytes that went into reads */
    uint64_t faults;    /* stream faults that struck */
    uint64_t reads;     /* reads completed, with or without error */
    uint64_t starts;    /* KavixUSBD_StartStream on a stopped stream: a soft trigger
                           counts only while the stream runs */
} KavixSimStreamCounters;
KAVIXUSBD_API int32_t KavixSim_GetStreamCounters(KAVIXSIM_CAMERA camera,
                                                 KavixSimStreamCounters *counters);
/* Waits until a counter reaches `value`: 1 when it has, 0 with 258 after
 * `timeout_ms`. */
#define KAVIXSIM_COUNTER_PRODUCED  0u
#define KAVIXSIM_COUNTER_DELIVERED 1u
#define KAVIXSIM_COUNTER_LOST      2u
#define KAVIXSIM_COUNTER_BYTES     3u
#define KAVIXSIM_COUNTER_FAULTS    4u
#define KAVIXSIM_COUNTER_READS     5u
#define KAVIXSIM_COUNTER_STARTS    6u
KAVIXUSBD_API int32_t KavixSim_WaitStreamCounter(KAVIXSIM_CAMERA camera, uint32_t counter,
                                                 uint64_t value, uint32_t timeout_ms);
/* Waits until the camera has sent all it can and waits for something new (a
 * read, a trigger, the next frame time): 1, or 0 with 258 after `timeout_ms`. */
KAVIXUSBD_API int32_t KavixSim_WaitStreamIdle(KAVIXSIM_CAMERA camera, uint32_t timeout_ms);

#ifdef __cplusplus
}
#endif

#endif /* KAVIXSIM_H */
