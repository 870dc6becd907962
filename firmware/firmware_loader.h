#pragma once
// Opening a camera that may still run its boot-level firmware: the models
// without FPGA get their working firmware from the library, and come back as
// a new device once it runs.
#include <cstdint>
#include <string>

#include "KavixD.h"
#include "session/session.h"

namespace kavix::firmware {

// The firmware version a controller reports while only its boot-level code
// runs.
inline constexpr uint16_t kBootFirmwareVersion = 8;

// Whether `session` talks to a controller that still waits for its firmware.
bool needs_firmware(const Session &session);

// Loads the model's image from `directory` and downloads it into the
// controller, which then leaves the bus. Gives 0 or a Windows error number.
uint32_t download_model_firmware(Session &session, const std::string &directory);

// Kavix_Open, then as long as the camera runs its boot-level code: download,
// close, open anew. `downloads` (may be null) receives the number of images
// downloaded, also when the result is null. Images come from `directory`.
KAVIX_HANDLE open_with_firmware(uint32_t user_id, uint32_t *downloads,
                                const std::string &directory);

}  // namespace kavix::firmware
