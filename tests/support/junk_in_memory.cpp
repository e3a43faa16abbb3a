#include <cstdlib>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

// Memory that is taken holds junk: a pixel that an operation does not write shows, also where the result of the call
// before, with the right value, lay in the same place.

namespace {

#if defined(__GLIBC__)
[[maybe_unused]] const int filled = mallopt(M_PERTURB, 0xa5);
#endif

}  // namespace
