#include "firmware/firmware_loader.h"

#include <new>
#include <vector>

#include "KavixUSBD.h"
#include "firmware/firmware_image.h"
#include "platform/last_error.h"
#include "session/export_frame.h"
#include "session/model_table.h"

namespace kavix::firmware {

namespace {

void store(uint32_t *downloads, uint32_t value) {
    if (downloads != nullptr) *downloads = value;
}

}  // namespace

bool needs_firmware(const Session &session) {
    return session.info.FirmwareVersion == kBootFirmwareVersion &&
           !model_has_fpga(session.info.ProductId);
}

uint32_t download_model_firmware(Session &session, const std::string &directory) {
    try {
        std::vector<char> text;
        uint32_t length = 0;
        const uint16_t resource = resource_id_for_model(session.info.ProductId);
        if (const uint32_t error = load_image(directory, resource, text, length); error != 0) {
            return error;
        }
        std::vector<uint8_t> image(kProgramMemoryBytes), mask(kProgramMemoryBytes);
        uint32_t count = 0;
        if (KavixUSBD_ParseFirmwareImage(text.data(), length, image.data(), mask.data(),
                                         kProgramMemoryBytes, &count) == 0) {
            return platform::last_error();
        }
        uint32_t downloaded = 0;
        if (KavixUSBD_DownloadFirmware(session.usb(), image.data(), mask.data(), count,
                                       &downloaded) == 0) {
            return platform::last_error();
        }
        return 0;
    } catch (const std::bad_alloc &) {
        return KAVIX_ERROR_NOT_ENOUGH_MEMORY;
    }
}

KAVIX_HANDLE open_with_firmware(uint32_t user_id, uint32_t *downloads,
                                const std::string &directory) {
    KAVIX_HANDLE camera = Kavix_Open(user_id);
    if (camera == nullptr) {
        store(downloads, 0);
        return nullptr;
    }
    // No limit and no delay: the controller re-enumerates after a download,
    // and only the device walk of the next open waits for it. A camera that
    // isn't back yet ends the loop with null; the caller tries again.
    uint32_t count = 0;
    while (needs_firmware(*session_of(camera))) {
        const uint32_t error = download_model_firmware(*session_of(camera), directory);
        // A failed download isn't this call's failure: it is left for the
        // caller to read, and the camera is opened anew all the same.
        if (error != 0) {
            set_global_last_error(error);
        } else {
            ++count;
        }
        Kavix_Close(camera);
        camera = Kavix_Open(user_id);
        if (camera == nullptr) {
            store(downloads, count);
            return nullptr;
        }
    }
    store(downloads, count);
    return camera;
}

}  // namespace kavix::firmware

extern "C" KAVIX_API KAVIX_HANDLE Kavix_OpenFW(uint32_t user_id, uint32_t *downloads) {
    try {
        return kavix::firmware::open_with_firmware(user_id, downloads, KAVIX_FIRMWARE_DIR);
    } catch (...) {
        // Only the directory's name can fail to be built here.
        kavix::set_global_last_error(kavix::current_exception_error());
        if (downloads != nullptr) *downloads = 0;
        return nullptr;
    }
}
