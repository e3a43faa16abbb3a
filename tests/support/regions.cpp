#include "tests/support/regions.h"

#include <dlfcn.h>
#include <omp.h>

#include <atomic>
#include <cmath>

#include "kestrova/frame/parallel.h"

namespace {

std::atomic<int> opened{0}, ofOwnNumber{0};

// On a busy machine regions would be given up for a while: the tests' thread always opens them.
const bool bAlwaysOpened = (kestrova::frame::payoff.m_least = HUGE_VAL, true);

}  // namespace

Regions regionsOf(const std::function<void()>& work) {
    opened = ofOwnNumber = 0;
    work();
    return {opened, ofOwnNumber == 0};
}

#if !defined(__clang__) && defined(__linux__)
extern "C" [[gnu::visibility("default")]] void GOMP_parallel(void (*body)(void*), void* data, unsigned threads,
                                                             unsigned flags) {
    using Entry = void (*)(void (*)(void*), void*, unsigned, unsigned);
    static const Entry runtime = reinterpret_cast<Entry>(dlsym(RTLD_NEXT, "GOMP_parallel"));
    ++opened;
    if (threads != static_cast<unsigned>(omp_get_max_threads())) ++ofOwnNumber;
    runtime(body, data, threads, flags);
}
#endif
