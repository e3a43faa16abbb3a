#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kestrova/filters/twls_filter.h"
#include "kestrova/solver/sparse_memory.h"
#include "tests/primitives/sparse_system.h"
#include "tests/support/little_memory.h"
#include "tests/support/rooms.h"

namespace {

using Plane = std::vector<float>;

TEST(TWLSFilter, FailsWhereThereIsNoMemoryForItsBuffers) {
    withLittleMemory(1 << 20, [] {
        TWLSFilter filter;
        filter.realloc(2, 3);
        float pixel = 0;
        try {
            filter.Proc(&pixel, 1000, 1000, 1, 1, &pixel, false);
        } catch (char* text) {
            return std::string(text) == "TWLSFilter::realloc - failed" && !filter.m_dx_p && !filter.m_a_p &&
                   filter.getWidth() == 2;
        }
        return false;
    });
}

TEST(TWLSFilter, FailsWhereThereIsNoMemoryForTheLaterBuffersAlone) {
    withLittleMemory(20 << 20, [] {
        TWLSFilter filter;
        float pixel = 0;
        try {
            filter.Proc(&pixel, 1000, 1000, 1, 1, &pixel, false);
        } catch (char* text) {
            return std::string(text) == "TWLSFilter::realloc - failed" && !filter.m_dx_p && !filter.m_a_p;
        }
        return false;
    });
}

TEST(TWLSFilter, LeavesThePlaneWhereTheSolverHasNoMemory) {
    withLittleMemory(20 << 20, [] {
        constexpr int w = 512, h = 512;  // buffers of 11 MB; the factor alone takes more than the rest
        Plane plane(w * h, 0.5f), guide(w * h, 0.25f);
        TWLSFilter filter;
        const int result = filter.Proc(plane.data(), w, h, 1, 1, guide.data(), false);
        return result == 1 && !filter.solved() && plane == Plane(w * h, 0.5f);
    });
}

TEST(TWLSFilter, LeavesThePlaneWhereverTheSolverRunsOutOfMemory) {
    Plane guide = randomVector(9 * 8, 2);
    const Plane input = randomVector(9 * 8, 1);
    static int left;
    Plane plane;
    for (int allowed = 0;; ++allowed) {
        ASSERT_LT(allowed, 5000);
        plane = input;
        TWLSFilter filter;
        left = allowed;
        refuseAllocation = [](std::size_t) { return left-- == 0; };
        EXPECT_EQ(filter.Proc(plane.data(), 9, 8, 1, 1, guide.data(), false), 1);
        refuseAllocation = nullptr;
        if (left >= 0) break;
        EXPECT_EQ(plane, input) << allowed;
        EXPECT_FALSE(filter.solved()) << allowed;
    }
    EXPECT_NE(plane, input);
}

}  // namespace
