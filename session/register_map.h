#pragma once
#include <cstdint>

namespace kavix {

// The camera's register space seen as flat memory. The register table reads
// its block directory through this interface, so that it needs nothing of
// the session but these two operations. Both give 0 on success, otherwise
// the session's last error.
class IMorvaneRegMap {
public:
    virtual uint32_t read_registers(uint32_t address, void *buffer, uint32_t bytes) = 0;
    virtual uint32_t write_registers(uint32_t address, const void *buffer, uint32_t bytes) = 0;

protected:
    IMorvaneRegMap() = default;
    ~IMorvaneRegMap() = default;
    IMorvaneRegMap(const IMorvaneRegMap &) = delete;
    IMorvaneRegMap &operator=(const IMorvaneRegMap &) = delete;
};

}  // namespace kavix
