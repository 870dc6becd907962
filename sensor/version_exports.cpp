// Exports of versions: the camera's, the transport's and the library's own.
#include "KavixD.h"
#include "sensor/module_version.h"
#include "session/export_frame.h"

using kavix::Session;

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetCameraVersion(KAVIX_HANDLE camera, uint16_t *vendor_id,
                                                       uint16_t *product_id,
                                                       uint16_t *fpga_version,
                                                       uint16_t *firmware_version) {
    return kavix::session_export(camera, [&](Session &s) -> KAVIX_BOOL {
        if (vendor_id == nullptr || product_id == nullptr || fpga_version == nullptr ||
            firmware_version == nullptr) {
            return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        }
        *vendor_id = s.info.VendorId;
        *product_id = s.info.ProductId;
        *fpga_version = s.info.FpgaVersion;
        *firmware_version = s.info.FirmwareVersion;
        return 1;
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetDriverVersion(KAVIX_HANDLE camera, uint32_t *v0,
                                                       uint32_t *v1, uint32_t *v2, uint32_t *v3) {
    // The transport's answer as it is: its failure lies in the thread's error
    // (KavixUSBD_GetLastError), the session's isn't touched.
    return kavix::session_export(camera, [&](Session &s) {
        return KavixUSBD_GetDriverVersion(s.usb(), v0, v1, v2, v3);
    });
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetUSBDllVersion(uint32_t *major, uint32_t *minor,
                                                       uint32_t *patch, uint32_t *build) {
    return KavixUSBD_GetLibraryVersion(major, minor, patch, build);
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetCAMDllVersion(uint32_t *file_high, uint32_t *file_low,
                                                       uint32_t *product_high,
                                                       uint32_t *product_low) {
    // Needs no camera. A version that can't be read is all zeros; the call
    // succeeds either way.
    kavix::sensor::ModuleVersion version;
    try {
        kavix::sensor::read_module_version(kavix::sensor::own_module_path(), version);
    } catch (...) {
        version = {};
    }
    if (file_high != nullptr) *file_high = version.file_high;
    if (file_low != nullptr) *file_low = version.file_low;
    if (product_high != nullptr) *product_high = version.product_high;
    if (product_low != nullptr) *product_low = version.product_low;
    return 1;
}
