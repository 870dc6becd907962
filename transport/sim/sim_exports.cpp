// The KavixSim_ calls: plugging virtual cameras and steering their bus events.
#include <chrono>
#include <cstring>
#include <new>

#include "KavixSim.h"
#include "platform/last_error.h"
#include "transport/sim/model_catalog.h"
#include "transport/sim/sim_bus.h"
#include "transport/sim/sim_export_frame.h"
#include "transport/windows_errors.h"

using kavix::sim::SimBus;
using kavix::sim::VirtualCamera;
using kavix::sim::fail;
using kavix::sim::with_camera;
namespace win = kavix::transport::win;

namespace {


}  // namespace

extern "C" {

KAVIXUSBD_API int32_t KavixSim_InitConfig(KavixSimCameraConfig *config, uint16_t product_id,
                                          uint32_t second_model) {
    if (!config) return fail(win::kInvalidParameter);
    kavix::sim::default_config(*config, product_id, second_model != 0);
    return 1;
}

KAVIXUSBD_API int32_t KavixSim_GetModel(uint32_t index, KavixSimModel *model) {
    if (!model || !kavix::sim::catalog_model(index, *model)) return fail(win::kInvalidParameter);
    return 1;
}

KAVIXUSBD_API KAVIXSIM_CAMERA KavixSim_Plug(const KavixSimCameraConfig *config) {
    if (!config || !kavix::sim::config_is_valid(*config)) return fail(win::kInvalidParameter);
    try {
        return SimBus::instance().plug(*config);
    } catch (const std::bad_alloc &) {
        return fail(win::kNotEnoughMemory);
    }
}

KAVIXUSBD_API int32_t KavixSim_Unplug(KAVIXSIM_CAMERA camera) {
    return SimBus::instance().unplug(camera) ? 1 : fail(win::kInvalidParameter);
}

KAVIXUSBD_API int32_t KavixSim_UnplugAll(void) {
    SimBus::instance().unplug_all();
    return 1;
}

KAVIXUSBD_API int32_t KavixSim_SetBusy(KAVIXSIM_CAMERA camera, int32_t busy) {
    return with_camera(camera, [&](VirtualCamera &c) {
        c.set_busy(busy != 0);
        return 1;
    });
}

KAVIXUSBD_API int32_t KavixSim_FailProbe(KAVIXSIM_CAMERA camera, uint32_t recoveries) {
    return with_camera(camera, [&](VirtualCamera &c) {
        c.fail_probe(recoveries);
        return 1;
    });
}

KAVIXUSBD_API int32_t KavixSim_SetRequestFault(KAVIXSIM_CAMERA camera, uint8_t request,
                                               uint32_t fault, uint32_t param, uint32_t times) {
    if (fault > KAVIXSIM_FAULT_SHORT) return fail(win::kInvalidParameter);
    return with_camera(camera, [&](VirtualCamera &c) {
        c.set_fault(request, fault, param, times);
        return 1;
    });
}

KAVIXUSBD_API int32_t KavixSim_IsPresent(KAVIXSIM_CAMERA camera, int32_t *present) {
    if (!present) return fail(win::kInvalidParameter);
    return with_camera(camera, [&](VirtualCamera &c) {
        *present = c.present() ? 1 : 0;
        return 1;
    });
}

KAVIXUSBD_API int32_t KavixSim_WaitPresence(KAVIXSIM_CAMERA camera, int32_t present,
                                            uint32_t timeout_ms) {
    return with_camera(camera, [&](VirtualCamera &c) {
        return c.wait_presence(present != 0, std::chrono::milliseconds(timeout_ms))
                   ? 1
                   : fail(win::kWaitTimeout);
    });
}

KAVIXUSBD_API int32_t KavixSim_CompleteReenumeration(KAVIXSIM_CAMERA camera) {
    return with_camera(camera, [&](VirtualCamera &c) {
        c.complete_reenumeration();
        return 1;
    });
}

KAVIXUSBD_API int32_t KavixSim_GetState(KAVIXSIM_CAMERA camera, KavixSimCameraState *state) {
    if (!state) return fail(win::kInvalidParameter);
    return with_camera(camera, [&](VirtualCamera &c) {
        c.get_public_state(*state);
        return 1;
    });
}

KAVIXUSBD_API int32_t KavixSim_ReadEeprom(KAVIXSIM_CAMERA camera, uint32_t address, uint8_t *data,
                                          uint32_t bytes) {
    if (!data && bytes) return fail(win::kInvalidParameter);
    return with_camera(camera, [&](VirtualCamera &c) {
        return c.read_eeprom(address, data, bytes) ? 1 : fail(win::kInvalidParameter);
    });
}

KAVIXUSBD_API int32_t KavixSim_WriteEeprom(KAVIXSIM_CAMERA camera, uint32_t address,
                                           const uint8_t *data, uint32_t bytes) {
    if (!data && bytes) return fail(win::kInvalidParameter);
    return with_camera(camera, [&](VirtualCamera &c) {
        return c.write_eeprom(address, data, bytes) ? 1 : fail(win::kInvalidParameter);
    });
}

KAVIXUSBD_API int32_t KavixSim_ReadControllerRam(KAVIXSIM_CAMERA camera, uint32_t address,
                                                 uint8_t *data, uint32_t bytes) {
    if (!data && bytes) return fail(win::kInvalidParameter);
    return with_camera(camera, [&](VirtualCamera &c) {
        return c.read_ram(address, data, bytes) ? 1 : fail(win::kInvalidParameter);
    });
}

KAVIXUSBD_API int32_t KavixSim_GetStatusWords(KAVIXSIM_CAMERA camera, uint16_t selector,
                                              uint16_t id, uint16_t count, uint16_t *words) {
    if (!words && count) return fail(win::kInvalidParameter);
    return with_camera(camera, [&](VirtualCamera &c) {
        return c.get_status_words(selector, id, count, words) ? 1 : fail(win::kInvalidParameter);
    });
}

KAVIXUSBD_API int32_t KavixSim_SetStatusWords(KAVIXSIM_CAMERA camera, uint16_t selector,
                                              uint16_t id, uint16_t count,
                                              const uint16_t *words) {
    if (!words && count) return fail(win::kInvalidParameter);
    return with_camera(camera, [&](VirtualCamera &c) {
        return c.set_status_words(selector, id, count, words) ? 1 : fail(win::kInvalidParameter);
    });
}

KAVIXUSBD_API int32_t KavixSim_GetControlLog(KAVIXSIM_CAMERA camera, KavixSimControlRecord *records,
                                             uint32_t capacity, uint32_t *count) {
    if (!count || (!records && capacity)) return fail(win::kInvalidParameter);
    return with_camera(camera, [&](VirtualCamera &c) {
        *count = c.control_log(records, capacity);
        return 1;
    });
}

KAVIXUSBD_API int32_t KavixSim_ClearControlLog(KAVIXSIM_CAMERA camera) {
    return with_camera(camera, [&](VirtualCamera &c) {
        c.clear_control_log();
        return 1;
    });
}

}  // extern "C"
