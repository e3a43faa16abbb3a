#pragma once

#include "kestrova/frame/vendor_types.h"

/// Inverts the `order` by `order` matrix at `src`. Element (row, column) lies row * stride1 + column * stride2 bytes
/// from the first; strides are positive multiples of 4, else -14. Computed in double, rounded once to float. A matrix
/// whose determinant (order 3) or pivot (other orders) is no larger than its own rounding error in double gives -195
/// and leaves `dst` untouched. `src` and `dst` may be the same matrix. `buffer` is not looked at: any number of threads
/// may pass the same one, or null. Internal.
IppStatus ippmInvert_m_32f(const float* src, int srcStride1, int srcStride2, float* buffer, float* dst, int dstStride1,
                           int dstStride2, int order);
