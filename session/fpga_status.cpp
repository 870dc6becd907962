#include "session/fpga_status.h"

#include "session/export_frame.h"

namespace kavix {

uint32_t transfer_status_words(Session &session, Direction direction, uint16_t selector,
                               uint16_t id, uint16_t words, void *data) {
    if (!session.has_fpga()) return session.fail(KAVIX_E_NO_FPGA);
    return camera_transfer(session, direction, kRequestStatusWords, id, selector, data,
                           static_cast<uint16_t>(words * 2u));
}

uint32_t write_camera_mode(Session &session, uint16_t mode) {
    uint8_t word[2] = {static_cast<uint8_t>(mode), static_cast<uint8_t>(mode >> 8)};
    return transfer_status_words(session, Direction::Out, 0, kStatusCameraMode, 1, word);
}

namespace {

// The exports' own checks come after the FPGA test: the length must fit the
// transfer's 16 bits, and words need somewhere to go.
KAVIX_BOOL status_export(KAVIX_HANDLE camera, Direction direction, uint16_t selector, uint16_t id,
                         uint16_t words, void *data) {
    return session_export(camera, [&](Session &s) -> uint32_t {
        if (!s.has_fpga()) return s.fail(KAVIX_E_NO_FPGA);
        if (words > 0x7FFF || (words != 0 && data == nullptr)) {
            return s.fail(KAVIX_ERROR_INVALID_PARAMETER);
        }
        return transfer_status_words(s, direction, selector, id, words, data);
    });
}

}  // namespace
}  // namespace kavix

using kavix::Direction;

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetFPGAStatus(KAVIX_HANDLE camera, uint16_t id,
                                                    uint16_t words, uint8_t *data) {
    return kavix::status_export(camera, Direction::Out, 0, id, words, data);
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetFPGAStatus(KAVIX_HANDLE camera, uint16_t id,
                                                    uint16_t words, void *data) {
    return kavix::status_export(camera, Direction::In, 0, id, words, data);
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_SetFPGAStatusEx(KAVIX_HANDLE camera, uint16_t selector,
                                                      uint16_t id, uint16_t words, void *data) {
    return kavix::status_export(camera, Direction::Out, selector, id, words, data);
}

extern "C" KAVIX_API KAVIX_BOOL Kavix_GetFPGAStatusEx(KAVIX_HANDLE camera, uint16_t selector,
                                                      uint16_t id, uint16_t words, void *data) {
    return kavix::status_export(camera, Direction::In, selector, id, words, data);
}
