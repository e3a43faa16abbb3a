#include <gtest/gtest.h>
#include <omp.h>
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "kestrova/filters/local_laplacian.h"
#include "tests/support/planes.h"

#if !defined(__SANITIZE_ADDRESS__)  // whose allocator ends the process instead

namespace {

/// Leaves the process `bytes` of addresses beyond those it has, and one thread.
void limitMemory(std::size_t bytes) {
    omp_set_num_threads(1);
    cv::setNumThreads(1);
    long pages = 0;
    std::FILE* statm = std::fopen("/proc/self/statm", "r");
    if (!statm || std::fscanf(statm, "%ld", &pages) != 1) std::exit(2);
    std::fclose(statm);
    const rlim_t limit = static_cast<rlim_t>(pages) * 4096 + bytes;
    const rlimit addresses{limit, limit};
    if (setrlimit(RLIMIT_AS, &addresses) != 0) std::exit(3);
}

template <class Work>
bool throws(const char* text, const Work& work) {
    try {
        work();
    } catch (char* thrown) {
        return std::strcmp(thrown, text) == 0;
    }
    return false;
}

/// The planes between take some 24 MiB, and the output 8.
bool filterReportsNoMemory(std::size_t limit) {
    const cv::Mat in = randomPlane(2000, 2000, CV_16UC1), before = randomPlane(3, 5, CV_16UC1);
    cv::Mat out = before.clone();
    LocalLaplacian filter;
    limitMemory(limit);
    return throws("ERROR - LocalLaplacian::proc - not enough memory",
                  [&] { filter.proc24K(in, out, 0.2f, 0.3f, 4); }) &&
           samePixels(before, out);
}

bool constructorReportsNoMemory() {
    limitMemory(1u << 20);
    void* volatile block;
    do {
        block = std::malloc(1u << 16);
    } while (block);
    return throws("ERROR - LocalLaplacian::LocalLaplacian - !m_remap_p", [] { LocalLaplacian filter; });
}

}  // namespace

TEST(LocalLaplacianMemory, ThePyramidsThatCannotBeHadLeaveTheOutputAsItWas) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (std::size_t mebibytes : {1, 4, 8, 12, 16, 20})
        EXPECT_EXIT(std::exit(filterReportsNoMemory(mebibytes << 20) ? 0 : 1), testing::ExitedWithCode(0), "")
            << mebibytes;
}

TEST(LocalLaplacianMemory, ATableThatCannotBeHadIsReported) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::exit(constructorReportsNoMemory() ? 0 : 1), testing::ExitedWithCode(0), "");
}

#endif
