#pragma once

#include <opencv2/core/hal/interface.h>

/// \file
/// The records, status values and codes of the image primitives, under their published names. They are part of the
/// interface where a class names them in its protected operations (`TGuidedFilter`); hosts need them for nothing else.
///
/// A plane is a pointer to its first pixel in the region and a row step in bytes, a region an `IppiSize`. Names of
/// primitives say element type and channels: `8u`, `16u`, `32f`; `C1`, `C4` interleaved channels; `R` works on a
/// region, `I` in place, `M` under a mask. Every primitive checks its pointers, size and steps before it writes,
/// returns a status, and may be called at once from several threads on disjoint data.

/// The size of a region in pixels.
struct IppiSize {
    int width;   ///< columns
    int height;  ///< rows
};

/// A rectangle of pixels, counted from the top left of its plane.
struct IppiRect {
    int x;       ///< first column
    int y;       ///< first row
    int width;   ///< columns
    int height;  ///< rows
};

/// A pixel, counted from the top left of a plane or of a mask.
struct IppiPoint {
    int x;  ///< column
    int y;  ///< row
};

/// What a primitive answers: 0 is success, negative an error (nothing was written), positive a warning.
using IppStatus = int;

constexpr IppStatus ippStsNoErr = 0;           ///< success
constexpr IppStatus ippStsDivByZero = 6;       ///< a divisor was 0; all pixels are written
constexpr IppStatus ippStsBadArgErr = -5;      ///< a code or a count outside its range
constexpr IppStatus ippStsSizeErr = -6;        ///< a size is not positive, or sizes do not fit
constexpr IppStatus ippStsNullPtrErr = -8;     ///< a pointer is null
constexpr IppStatus ippStsNoMemErr = -9;       ///< there is not enough memory
constexpr IppStatus ippStsStepErr = -14;       ///< the step is not positive, or not a whole number of elements
constexpr IppStatus ippStsMaskSizeErr = -33;   ///< a mask of a size that does not serve
constexpr IppStatus ippStsAnchorErr = -34;     ///< the anchor lies outside the mask
constexpr IppStatus ippStsRowStepErr = -37;    ///< the step is too small for the region
constexpr IppStatus ippStsSingularErr = -195;  ///< the matrix is singular

/// Rounding of float to integer.
enum IppRoundMode {
    ippRndZero = 0,  ///< truncation
    ippRndNear = 1,  ///< to nearest, ties to even
};

/// How to weigh speed against accuracy; the one value there is.
enum IppHintAlgorithm { ippAlgHintFast = 1 };

/// What an image ramp follows.
enum IppiAxis {
    ippAxsHorizontal = 0,  ///< the column
    ippAxsVertical = 1,    ///< the row
    ippAxsBoth = 2,        ///< their product
};

/// Fixed masks of the Gaussian filters.
enum IppiMaskSize {
    ippMskSize3x3 = 33,  ///< 3 by 3 pixels
    ippMskSize5x5 = 55,  ///< 5 by 5 pixels
};
