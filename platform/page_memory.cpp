#include "platform/page_memory.h"

#include <sys/mman.h>

#include <cstdio>
#include <cstring>

namespace kavix::platform {

void *allocate_pages(size_t bytes) {
    if (bytes == 0) return nullptr;
    void *block = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return block == MAP_FAILED ? nullptr : block;
}

void free_pages(void *block, size_t bytes) {
    if (block != nullptr) munmap(block, bytes);
}

uint64_t free_physical_memory() {
    FILE *meminfo = std::fopen("/proc/meminfo", "re");
    if (meminfo == nullptr) return 0;
    char line[256];
    uint64_t kib = 0;
    while (std::fgets(line, sizeof line, meminfo) != nullptr) {
        unsigned long long value = 0;
        if (std::sscanf(line, "MemAvailable: %llu kB", &value) == 1) {
            kib = value;
            break;
        }
    }
    std::fclose(meminfo);
    return kib * 1024;
}

}  // namespace kavix::platform
