#pragma once
#include <cstddef>
#include <cstdint>

namespace kavix::platform {

// Page-aligned, zero-filled blocks (the counterpart of VirtualAlloc): used for
// frame and movie buffers that unbuffered I/O and vector kernels want aligned.
void *allocate_pages(size_t bytes);
void free_pages(void *block, size_t bytes);

// Bytes of physical memory the system could hand out now without swapping,
// from MemAvailable in /proc/meminfo; 0 if that cannot be read.
uint64_t free_physical_memory();

}  // namespace kavix::platform
