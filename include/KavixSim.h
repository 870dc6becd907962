/*
 * KavixSim: virtual cameras on an in-process bus, served by libKavixUSBD.
 * A program plugs cameras in with these calls; KavixUSBD_OpenDevice then
 * finds them after the real devices, like any other camera.
 */
#ifndef KAVIXSIM_H
#define KAVIXSIM_H

#include <stdint.h>
#include "KavixUSBD.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* KAVIXSIM_H */
