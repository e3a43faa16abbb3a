#include "studio/memory_settings.h"

#include <cstdlib>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#ifdef __linux__
#include "studio/plane_allocator.h"
#endif

namespace kestrova::studio {

void keepLargeBlocksOutOfArenas() {
#ifdef __GLIBC__
    constexpr int kLargeBlock = 12 << 20, kKeptAtTheTop = 32 << 20, kGrowth = 1 << 20;
    mallopt(M_MMAP_THRESHOLD, kLargeBlock);  // also ends its adjustment while the program runs
    mallopt(M_TRIM_THRESHOLD, kKeptAtTheTop);
    mallopt(M_TOP_PAD, kGrowth);
#endif
#ifdef __linux__
    static auto* const planes = new PlaneAllocator;  // planes may be released while the program ends
    cv::Mat::setDefaultAllocator(planes);
#endif
}

}  // namespace kestrova::studio
