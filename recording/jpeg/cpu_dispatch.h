#pragma once

// Which instruction set extensions the running processor offers. The kernels
// are built for plain x86-64 and pick wider code paths with these at run time.
namespace kavix::jpeg {

enum class SimdLevel { kScalar, kAvx2, kAvx512 };

// The widest level that the processor supports, decided once per process.
SimdLevel DetectedSimdLevel();

}  // namespace kavix::jpeg
