#include "tools/failure.h"

#include <cstdio>

namespace kavix::tool {

namespace {

const char *known_text(uint32_t error) {
    switch (error) {
    case KAVIX_ERROR_SUCCESS: return "no error recorded";
    case KAVIX_ERROR_FILE_NOT_FOUND: return "not found";
    case KAVIX_ERROR_ACCESS_DENIED: return "access denied";
    case KAVIX_ERROR_NOT_ENOUGH_MEMORY: return "not enough memory";
    case KAVIX_ERROR_INVALID_DATA: return "invalid data";
    case KAVIX_ERROR_CRC: return "data error on the USB link";
    case KAVIX_ERROR_WRITE_FAULT: return "write fault";
    case KAVIX_ERROR_GEN_FAILURE: return "the device did not respond";
    case KAVIX_ERROR_INVALID_PARAMETER: return "the camera does not accept this value";
    case KAVIX_ERROR_OPEN_FAILED: return "cannot open";
    case KAVIX_ERROR_SEM_TIMEOUT: return "USB time-out";
    case KAVIX_ERROR_WAIT_TIMEOUT: return "timed out";
    case KAVIX_ERROR_OPERATION_ABORTED: return "aborted";
    case KAVIX_ERROR_DEVICE_NOT_CONNECTED: return "the camera is no longer connected";
    case KAVIX_E_NO_CAMERA: return "no camera could be found";
    case KAVIX_E_CAMERA_BUSY: return "the camera is in use by another program";
    case KAVIX_E_BAD_HANDLE: return "the camera is not open";
    case KAVIX_E_CAPTURE_RUNNING: return "not possible while capturing";
    case KAVIX_E_TRANSFER_FAILED: return "a camera command failed";
    case KAVIX_E_RECORDING: return "not possible while recording";
    case KAVIX_E_BAD_EXTENSION: return "the file name has no known extension";
    case KAVIX_E_IMAGE_FILE_OPEN: return "the image file cannot be opened for writing";
    case KAVIX_E_RAW_SHORT_WRITE: return "the raw file could not be written completely";
    case KAVIX_E_NO_FPGA: return "this camera model does not have this function";
    default: return nullptr;
    }
}

}  // namespace

std::string error_text(uint32_t error) {
    char number[16];
    if (error >= 0xE0000000u)
        std::snprintf(number, sizeof number, "0x%08X", error);
    else
        std::snprintf(number, sizeof number, "%u", error);
    const char *text = known_text(error);
    return text ? std::string(text) + " (" + number + ")" : std::string("error ") + number;
}

void check(KAVIX_BOOL result, KAVIX_HANDLE camera, const std::string &what) {
    if (result) return;
    throw RuntimeError(what + ": " + error_text(Kavix_GetLastError(camera)));
}

}  // namespace kavix::tool
