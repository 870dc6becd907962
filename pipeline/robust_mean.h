#pragma once
#include <cstdint>

namespace kavix::pipeline {

// Mean of four samples that leaves out the one that deviates. Six estimates
// are each compared with the sample or pair they leave out; the estimate with
// the largest difference wins (the first on a tie, never one with a
// difference of 0). If that difference is within the threshold the plain
// mean of all four is taken instead.
constexpr uint8_t RobustMean(int a, int b, int c, int d, int threshold = 15) {
  const int candidate[6] = {(a + c + d) / 3, (b + c + d) / 3, (a + b + d) / 3,
                            (a + b + c) / 3, (a + b) >> 1,    (a + c) >> 1};
  const int reference[6] = {b, a, c, d, (c + d) >> 1, (b + d) >> 1};
  int best = 0, largest = 0;
  for (int k = 0; k < 6; ++k) {
    const int diff = candidate[k] > reference[k] ? candidate[k] - reference[k]
                                                 : reference[k] - candidate[k];
    if (diff > largest) {
      largest = diff;
      best = candidate[k];
    }
  }
  return static_cast<uint8_t>(threshold >= largest ? (a + b + c + d) >> 2 : best);
}

}  // namespace kavix::pipeline
