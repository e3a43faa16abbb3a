#pragma once

#include "kestrova/frame/vendor_types.h"

// Blocks of pixels. Rows begin at multiples of 32 bytes, a block at a multiple of 64. Contents are undefined. Internal.

/// A block of `height` rows; `*step` is the row's bytes rounded up to a multiple of 32. Null with `*step` = 0 if a size
/// is not positive, if a row exceeds an `int` of bytes, or if there is no memory.
uchar* ippiMalloc_8u_C1(int width, int height, int* step);
ushort* ippiMalloc_16u_C1(int width, int height, int* step);
uchar* ippiMalloc_8u_C4(int width, int height, int* step);
ushort* ippiMalloc_16u_C4(int width, int height, int* step);

/// Releases a block of `ippiMalloc`; null is ignored.
void ippiFree(void* block);

/// A block of `len` elements; null if `len` < 1 or if there is no memory.
uchar* ippsMalloc_8u(int len);
ushort* ippsMalloc_16u(int len);

/// Releases a block of `ippsMalloc`; null is ignored.
void ippsFree(void* block);
