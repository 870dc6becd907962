// The paint throttle on a ring whose full blocks the test sets by hand.
#include <gtest/gtest.h>

#include <vector>

#include "session/capture_loop.h"

namespace kavix {
namespace {

void fill(StreamRing &ring, uint32_t full) {
    for (uint32_t i = 0; i < ring.Count; ++i) {
        if (i < full) {
            ring.Blocks[i]->FullEvent.set();
        } else {
            ring.Blocks[i]->FullEvent.reset();
        }
    }
}

struct Step {
    uint32_t full;
    bool paint;
};

// Expected answers worked out by hand from the rule: with more than one full
// block, skip while the most seen since the last paint is at least the
// number of paints skipped so far.
TEST(PaintThrottle, PaintingGivesWayWhileTheRingBacksUp) {
    StreamReader reader(nullptr, 1536, 0, 1024);  // never started: only its ring
    StreamRing &ring = reader.ring();
    const std::vector<Step> steps = {
        {0, true}, {1, true}, {1, true},
        // Two full: three paints skipped, then one.
        {2, false}, {2, false}, {2, false}, {2, true},
        // Four full: five skipped.
        {4, false}, {4, false}, {4, false}, {4, false}, {4, false}, {4, true},
        // The most seen stays until a paint: after four, two full skip as long.
        {4, false}, {2, false}, {2, false}, {2, false}, {2, false}, {2, true},
        // One full block never holds painting back.
        {4, false}, {1, true}, {0, true},
    };
    for (size_t i = 0; i < steps.size(); ++i) {
        fill(ring, steps[i].full);
        EXPECT_EQ(throttle_allows_paint(ring), steps[i].paint) << "step " << i;
    }
}

}  // namespace
}  // namespace kavix
