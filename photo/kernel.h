#pragma once

#include <cstdint>
#include <cstring>

/// Marks a row kernel: a plain loop over plain pointers that the compiler vectorises, compiled once for each level of
/// the instruction set. The results are the same bits on every level.
#if !defined(__x86_64__) || !defined(__GNUC__) || defined(__clang__) || defined(KESTROVA_KERNEL_LEVEL)
#define KESTROVA_PHOTO_KERNEL
#elif __GNUC__ < 12  // its resolvers know processors, not levels: one of each level
#define KESTROVA_PHOTO_KERNEL __attribute__((target_clones("arch=skylake-avx512", "arch=haswell", "default")))
#else
#define KESTROVA_PHOTO_KERNEL __attribute__((target_clones("arch=x86-64-v4", "arch=x86-64-v3", "default")))
#endif

namespace kestrova::photo {

/// `v` clamped to 0..`top`, at most 65535, and rounded to the nearest integer, ties to even: adding 2^23 leaves no bits
/// for a fraction, and the integer stands in the low bits of the sum.
inline int rounded(float v, float top) {
    const float clamped = v > 0.0f ? (v < top ? v : top) : 0.0f;
    const float sum = clamped + 0x1p23f;
    std::int32_t bits;
    std::memcpy(&bits, &sum, sizeof bits);
    return bits - 0x4b000000;
}

inline unsigned short rounded16(float v) { return static_cast<unsigned short>(rounded(v, 65535.0f)); }

}  // namespace kestrova::photo
