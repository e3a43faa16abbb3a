#include "fuzz/support/start.h"

#include <omp.h>

#include <cstdio>
#include <cstdlib>
#include <opencv2/core.hpp>

#include "tests/memory/refusal.h"

int allocationToRefuse = -1;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    omp_set_num_threads(1);
    cv::setNumThreads(1);
    constexpr std::size_t kLargestBlock = std::size_t(64) << 20;
    refuseBlocksAbove(kLargestBlock);
    if (const char* number = std::getenv("KESTROVA_FUZZ_REFUSE")) allocationToRefuse = std::atoi(number);
    return std::freopen("/dev/null", "w", stdout) ? 0 : 1;  // some operations print a line each
}

/// Read by LeakSanitizer: where OpenCV gets no memory for the header of a plane, it loses the block of its pixels;
/// what the dynamic loader keeps is known as its own only where `malloc` is not replaced.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
    return "leak:cv::Mat::create\nleak:cv::_OutputArray::create\nleak:ld-linux\n";
}
