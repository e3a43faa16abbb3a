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
    // The padding is the size of a thread's heap: heaps are mapped whole and never trimmed.
    constexpr int kLargeBlock = 12 << 20, kHeap = 64 << 20;
    mallopt(M_MMAP_THRESHOLD, kLargeBlock);  // also ends its adjustment while the program runs
    mallopt(M_TRIM_THRESHOLD, kHeap);
    mallopt(M_TOP_PAD, kHeap);
#endif
#ifdef __linux__
    static auto* const planes = new PlaneAllocator;  // planes may be released while the program ends
    cv::Mat::setDefaultAllocator(planes);
#endif
}

}  // namespace kestrova::studio
