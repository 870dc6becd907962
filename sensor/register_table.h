#pragma once
// The directory of register blocks in the camera's 24-bit data space: where
// each of 23 blocks lies and how long it is. Read once through the register
// map, then used to read single words of a block.
#include <array>
#include <cstdint>

#include "session/register_map.h"

namespace kavix::sensor {

class RegisterTable {
public:
    static constexpr uint32_t kBlockCount = 23;
    // Where the directory of block addresses starts in the data space.
    static constexpr uint32_t kDirectoryAddress = 4;
    // Frame timing: u32 words at these byte offsets of block 21.
    static constexpr uint32_t kTimingBlock = 21;
    static constexpr uint32_t kTimingFrameClock = 20;
    static constexpr uint32_t kTimingClocksPerFrame = 84;
    static constexpr uint32_t kTimingMaxVBlank = 88;

    explicit RegisterTable(IMorvaneRegMap &map) : map_(map) {}
    RegisterTable(const RegisterTable &) = delete;
    RegisterTable &operator=(const RegisterTable &) = delete;

    // Reads the block addresses, then each block's size from the block's
    // first word, in order. The first failing read ends the fill; its error
    // is the result (0 on success).
    uint32_t fill();

    // The u32 at `offset` bytes into block `index`. 87 for an index beyond
    // the table or an offset not 0 that the block's size doesn't exceed,
    // otherwise the read's error, 0 on success.
    uint32_t read(uint32_t index, uint32_t offset, uint32_t &value) const;

    // The block's address in the data space (low 24 bits of its entry) and
    // its size as the block reports it.
    uint32_t block_address(uint32_t index) const { return BlockBase[index] & kAddressMask; }
    uint32_t block_size(uint32_t index) const { return BlockSize[index]; }

private:
    static constexpr uint32_t kAddressMask = 0xFFFFFF;

    IMorvaneRegMap &map_;
    std::array<uint32_t, kBlockCount> BlockBase{};
    std::array<uint32_t, kBlockCount> BlockSize{};
};

}  // namespace kavix::sensor
