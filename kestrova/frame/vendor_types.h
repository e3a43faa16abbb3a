#pragma once

#include <opencv2/core/hal/interface.h>

/// The records, status values and codes shared by all image primitives.
///
/// A plane is a pointer to its first pixel in the region and a row step in bytes, a region an `IppiSize`. Names say
/// element type and channels: `8u`, `16u`, `32f`; `C1`, `C4` interleaved channels; `R` works on a region, `I` in place,
/// `M` under a mask. Every primitive checks its pointers, size and steps before it writes, returns a status, and may be
/// called at once from several threads on disjoint data.

struct IppiSize {
    int width;
    int height;
};

struct IppiRect {
    int x;
    int y;
    int width;
    int height;
};

struct IppiPoint {
    int x;
    int y;
};

/// 0 is success, negative an error (nothing was written), positive a warning.
using IppStatus = int;

constexpr IppStatus ippStsNoErr = 0;
constexpr IppStatus ippStsDivByZero = 6;
constexpr IppStatus ippStsBadArgErr = -5;  ///< a code or a count outside its range
constexpr IppStatus ippStsSizeErr = -6;
constexpr IppStatus ippStsNullPtrErr = -8;
constexpr IppStatus ippStsNoMemErr = -9;
constexpr IppStatus ippStsStepErr = -14;  ///< the step is not positive, or not a whole number of elements
constexpr IppStatus ippStsMaskSizeErr = -33;
constexpr IppStatus ippStsAnchorErr = -34;
constexpr IppStatus ippStsRowStepErr = -37;  ///< the step is too small for the region
constexpr IppStatus ippStsSingularErr = -195;

/// Rounding of float to integer: truncation, or to nearest with ties to even.
enum IppRoundMode { ippRndZero = 0, ippRndNear = 1 };

enum IppHintAlgorithm { ippAlgHintFast = 1 };

enum IppiAxis { ippAxsHorizontal = 0, ippAxsVertical = 1, ippAxsBoth = 2 };

enum IppiMaskSize { ippMskSize3x3 = 33, ippMskSize5x5 = 55 };
