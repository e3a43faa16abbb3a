#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "kestrova/filters/local_laplacian.h"
#include "tests/filters/local_laplacian_reference.h"
#include "tests/support/failures.h"
#include "tests/support/little_memory.h"
#include "tests/support/planes.h"

namespace {

/// What `malloc` still gives, taken in ever smaller blocks down to `bytes` and released again: where small blocks run
/// out, the address space may still hold a larger one.
class AllMemory {
public:
    explicit AllMemory(std::size_t bytes) {
        for (std::size_t size = 1 << 20; size >= bytes; size /= 2)
            while (void* block = std::malloc(size)) *static_cast<void**>(block) = m_last, m_last = block;
    }
    ~AllMemory() {
        while (m_last) {
            void* const block = m_last;
            m_last = *static_cast<void**>(block);
            std::free(block);
        }
    }

private:
    void* m_last = nullptr;
};

}  // namespace

TEST(LocalLaplacianMemory, PyramidsWithoutMemoryLeaveAnOutputOfAnotherSizeAsItWas) {
    // The planes between take some 24 MiB, and the output 8.
    const cv::Mat in = randomPlane(2000, 2000, CV_16UC1), before = randomPlane(3, 5, CV_16UC1);
    cv::Mat out = before.clone();
    LocalLaplacian filter;
    for (std::size_t mebibytes : {1, 4, 8, 12, 16, 20}) {
        withLittleMemory(mebibytes << 20, [&] {
            EXPECT_FAILURE(filter.proc24K(in, out, 0.2f, 0.3f, 4), "ERROR - LocalLaplacian::proc - not enough memory");
            EXPECT_TRUE(samePixels(before, out));
            return !testing::Test::HasFailure();
        });
    }
}

TEST(LocalLaplacianMemory, ATableWithoutMemoryIsReported) {
    withLittleMemory(1 << 20, [] {
        const AllMemory taken(1 << 16);
        EXPECT_FAILURE(LocalLaplacian(), "ERROR - LocalLaplacian::LocalLaplacian - !m_remap_p");
        return !testing::Test::HasFailure();
    });
}

TEST(LocalLaplacianMemory, ATableThatCouldNotBeFinishedIsBuiltAnew) {
    const cv::Mat in = randomPlane(4, 5, CV_16UC1);
    cv::Mat out;
    LocalLaplacian filter;
    filter.proc10K(in, out, 0.2f, 0.3f, 1);
    withLittleMemory(1 << 20, [&] {
        {
            const AllMemory taken(1 << 16);
            EXPECT_FAILURE(filter.proc10K(in, out, 0.4f, 0.3f, 1), "ERROR - LocalLaplacian::proc - not enough memory");
        }
        filter.m_alpha = 0.2f;
        filter.calRemapLut();
        EXPECT_EQ(std::vector<ushort>(filter.m_remap_p, filter.m_remap_p + 65536), expectedRemap(0.2f, 0.3f));
        return !testing::Test::HasFailure();
    });
}
