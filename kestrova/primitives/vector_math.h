#pragma once

#include <cstddef>

// Blocks of memory, and elementwise functions over float vectors of `n` elements; n < 1 does nothing. The output may
// be one of the inputs. Internal.

/// A block that begins at a multiple of `alignment`, a power of two (anything else counts as 64). Null if `size` is 0
/// or if there is no memory.
void* mkl_malloc(std::size_t size, int alignment);

/// Releases a block of `mkl_malloc`; null is ignored.
void mkl_free(void* block);

/// y = |a|
void vsAbs(int n, const float* a, float* y);
/// y = a - b
void vsSub(int n, const float* a, const float* b, float* y);
/// y = a / b
void vsDiv(int n, const float* a, const float* b, float* y);
/// y = natural logarithm of a: minus infinity at 0, NaN below.
void vsLn(int n, const float* a, float* y);
/// y = a to the power of the scalar b; 0 to the power 0 is 1.
void vsPowx(int n, const float* a, float b, float* y);

/// How many threads an operation called here could use.
int mkl_get_max_threads();
