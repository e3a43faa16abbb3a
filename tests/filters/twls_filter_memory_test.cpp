#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kestrova/filters/twls_filter.h"
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

TEST(TWLSFilter, FailsWhereOnlyTheLaterBuffersAreUnavailable) {
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

}  // namespace
