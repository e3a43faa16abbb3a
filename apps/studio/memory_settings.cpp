#include "studio/memory_settings.h"

#include <cstdlib>
#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace kestrova::studio {

void keepLargeBlocksOutOfArenas() {
#ifdef __GLIBC__
    // Above the tiles and frames that come and go all the time, below the planes of a photograph. Setting the first
    // also ends its adjustment while the program runs.
    constexpr int kLargeBlock = 12 << 20, kKeptAtTheTop = 32 << 20;
    mallopt(M_MMAP_THRESHOLD, kLargeBlock);
    mallopt(M_TRIM_THRESHOLD, kKeptAtTheTop);
#endif
}

}  // namespace kestrova::studio
