/* Compiled as strict C99: the public headers must stand on their own in C. */
#include "KavixD.h"
#include "KavixUSBD.h"
#include "KavixSim.h"

int kavix_c99_headers_compile(void);
int kavix_c99_headers_compile(void) { return (int)sizeof(KAVIX_HANDLE); }
