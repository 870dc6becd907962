#include "recording/jpeg/cpu_dispatch.h"

namespace kavix::jpeg {

SimdLevel DetectedSimdLevel() {
#if defined(__x86_64__) || defined(__i386__)
    static const SimdLevel level = [] {
        __builtin_cpu_init();
        if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
            __builtin_cpu_supports("avx2"))
            return SimdLevel::kAvx512;
        if (__builtin_cpu_supports("avx2")) return SimdLevel::kAvx2;
        return SimdLevel::kScalar;
    }();
    return level;
#else
    return SimdLevel::kScalar;
#endif
}

}  // namespace kavix::jpeg
