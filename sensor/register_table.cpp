#include "sensor/register_table.h"

#include "KavixD.h"
#include "session/wire.h"

namespace kavix::sensor {

uint32_t RegisterTable::fill() {
    uint8_t directory[kBlockCount * 4] = {};
    if (const uint32_t error = map_.read_registers(kDirectoryAddress, directory, sizeof directory);
        error != 0) {
        return error;
    }
    for (uint32_t i = 0; i < kBlockCount; ++i) BlockBase[i] = wire::u32(directory + 4 * i);
    for (uint32_t i = 0; i < kBlockCount; ++i) {
        uint8_t size[4] = {};
        if (const uint32_t error = map_.read_registers(block_address(i), size, sizeof size);
            error != 0) {
            return error;
        }
        BlockSize[i] = wire::u32(size);
    }
    return 0;
}

uint32_t RegisterTable::read(uint32_t index, uint32_t offset, uint32_t &value) const {
    if (index >= kBlockCount) return KAVIX_ERROR_INVALID_PARAMETER;
    // Offset 0 is the block's size word and always readable.
    if (offset != 0 && BlockSize[index] <= offset) return KAVIX_ERROR_INVALID_PARAMETER;
    uint8_t word[4] = {};
    if (const uint32_t error = map_.read_registers(block_address(index) + offset, word, sizeof word);
        error != 0) {
        return error;
    }
    value = wire::u32(word);
    return 0;
}

}  // namespace kavix::sensor
