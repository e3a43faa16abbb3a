#include "kestrova/primitives/vector_math.h"

#include <omp.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "kestrova/frame/kernel.h"

void* mkl_malloc(std::size_t size, int alignment) {
    const bool powerOfTwo = alignment > 0 && (alignment & (alignment - 1)) == 0;
    const std::size_t unit = powerOfTwo && alignment >= 16 ? static_cast<std::size_t>(alignment) : 64;
    if (size == 0 || size > PTRDIFF_MAX) return nullptr;
    return std::aligned_alloc(unit, (size + unit - 1) / unit * unit);
}

void mkl_free(void* block) { std::free(block); }

KESTROVA_KERNEL void vsAbs(int n, const float* a, float* y) {
    for (int i = 0; i < n; ++i) y[i] = std::fabs(a[i]);
}

KESTROVA_KERNEL void vsSub(int n, const float* a, const float* b, float* y) {
    for (int i = 0; i < n; ++i) y[i] = a[i] - b[i];
}

KESTROVA_KERNEL void vsDiv(int n, const float* a, const float* b, float* y) {
    for (int i = 0; i < n; ++i) y[i] = a[i] / b[i];
}

void vsLn(int n, const float* a, float* y) {
    for (int i = 0; i < n; ++i) y[i] = std::log(a[i]);
}

void vsPowx(int n, const float* a, float b, float* y) {
    for (int i = 0; i < n; ++i) y[i] = std::pow(a[i], b);
}

int mkl_get_max_threads() { return omp_in_parallel() ? 1 : omp_get_max_threads(); }
