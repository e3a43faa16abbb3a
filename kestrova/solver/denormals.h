#pragma once

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace kestrova::solver {

/// While it lives, denormals count as zero on this thread, where the processor can. Internal.
class DenormalsAreZero {
public:
    DenormalsAreZero(const DenormalsAreZero&) = delete;
    DenormalsAreZero& operator=(const DenormalsAreZero&) = delete;
#if defined(__SSE2__)
    DenormalsAreZero() : m_before(_mm_getcsr()) { _mm_setcsr(m_before | kFlushResults | kZeroOperands); }
    ~DenormalsAreZero() { _mm_setcsr(m_before); }

private:
    static constexpr unsigned kFlushResults = 0x8000, kZeroOperands = 0x0040;
    unsigned m_before;
#else
    DenormalsAreZero() {}
#endif
};

}  // namespace kestrova::solver
