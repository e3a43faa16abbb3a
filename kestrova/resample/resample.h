#pragma once

#include <opencv2/core.hpp>

#include "kestrova/export.h"

/// \file
/// Planes between scales: by two and by an integer, both ways. Planes are `CV_8UC1`, `CV_16UC1` or `CV_32FC1`, input
/// and output of one type; they do not overlap. The output is the caller's, allocated.
///
///     cv::Mat half((y.rows + 1) / 2, (y.cols + 1) / 2, y.type());
///     downSize2X(y, half, kInterpCubic);
///
/// It may be smaller than the factor makes it, and then holds the top left of the result, or larger, because half sizes
/// are rounded up. Its additional columns then repeat the last regular one; its additional rows stay as the resampling
/// wrote them, which beyond the input's last row is that row repeated. That columns and rows differ is intentional.
///
/// Integer results are rounded to nearest, halves up; float sums are taken in double and rounded once.
///
/// With pixel centres counted from 0, output pixel x takes the input at
///
///     downSize2X: 2 x                          downSizeNX: n x + n/2 - 1
///     upSize2X:   x/2                          upSizeNX:   (x + 1/2 + 1/n) / n - 1/2
///
/// in both directions, so that a reduction by an even factor copies single pixels. Above n = 2 the grid of `upSizeNX`
/// lies lower than that of pixel centres; this is intentional.
///
/// Failures are thrown texts (`const char*`). The texts that each function lists come before its output is written,
/// except those about memory of a pyramid step, which OpenCV may take on the way. Besides them, "ERROR - plane -
/// dims>2" and "ERROR - plane - step>INT_MAX" refuse planes of three dimensions and rows of 2^31 bytes and more.

/// Interpolation codes, the values of `interp`. Any other code but `kPyramidStep` leaves the output unwritten, except
/// for its additional columns, without a message: this is the documented answer to unknown codes.
enum InterpolationCode {
    kInterpNearest = 1,  ///< the pixel that holds the position; between two the one to the right or below
    kInterpLinear = 2,   ///< two by two pixels
    kInterpCubic = 4,    ///< four by four pixels (Keys, a = -1/2); what the library itself uses
};

/// A value of `interp` for `downSize2X` and `upSize2X` alone: a step of the Gaussian pyramid (`cv::pyrDown`,
/// `cv::pyrUp`) with mirrored edges. P. J. Burt and E. H. Adelson, "The Laplacian Pyramid as a Compact Image Code"
/// (1983). Types and sizes are those that OpenCV takes; others make it throw its `cv::Exception`. In the last row of an
/// odd number of rows, enlarged from 8 or 16 bits, OpenCV writes one row over another in an order that depends on the
/// vectors it was built for; here it is that of 128 bits, its baseline, everywhere.
constexpr int kPyramidStep = 257;

/// Reduces `in` by 2 into `outHalf`.
/// Throws "ERROR - downSize2X - outHalf must be allocated!" if `outHalf` is empty or of another type,
/// "ERROR - downSize2X - in.empty()" for a source without pixels, "ERROR - down2X - type" for types not supported,
/// "ERROR - down2X - ippsMalloc_8u(pBufferSize)" without memory.
KESTROVA_EXPORT void downSize2X(const cv::Mat& in, cv::Mat& outHalf, int interp);

/// Enlarges `in` by 2 into `out2X`.
/// Throws a trace text (`Kestrova::traceMsg`) of "upSize2X", line 103, "out2X is not allocated" if `out2X` is empty or
/// of another type; the thread's next failure with such a text overwrites it. Throws "ERROR - upSize2X - in.empty()"
/// for a source without pixels, "ERROR - up2X - type" for types not supported, "ERROR - up2X -
/// ippsMalloc_8u(pBufferSize)" without memory.
KESTROVA_EXPORT void upSize2X(const cv::Mat& in, cv::Mat& out2X, int interp);

/// Reduces `in` by n into `out`. n = 1 is `in.copyTo(out)`, for every type and any `interp`; n < 1 leaves `out`
/// untouched, without a message.
/// Throws "downSizeNX - out is not allocated" if `out` is empty or of another type (whatever n is),
/// "ERROR - downSizeNX - in.empty()" for a source without pixels where n > 1, "ERROR - downSizeNX - type" for types not
/// supported, "ERROR - downSizeNX - ippsMalloc_8u(pBufferSize)" without memory.
KESTROVA_EXPORT void downSizeNX(const cv::Mat& in, cv::Mat& out, int n, int interp);

/// Enlarges `in` by n into `outNX`. n = 1 is `in.copyTo(outNX)`, for every type and any `interp`; n < 1 leaves `outNX`
/// untouched, without a message.
/// Throws "ERROR - upSizeNX - outNX is not allocated" if `outNX` is empty or of another type (whatever n is),
/// "ERROR - upSizeNX - in.empty()" for a source without pixels where n > 1, "ERROR - upNX - type" for types not
/// supported, "ERROR - upNX - ippsMalloc_8u(pBufferSize)" without memory.
KESTROVA_EXPORT void upSizeNX(const cv::Mat& in, cv::Mat& outNX, int n, int interp);

/// Fills margins of `m`, a plane of any type, from the nearest inner column or row: the first `left` columns, the last
/// `right` columns, the first `top` rows, then of the last `bottom` rows only the first `top` ones, so none if `top`
/// is 0. That the bottom margin depends on `top` is intentional. Widths below 1 fill nothing.
/// A margin to be filled that is as large as the plane, and so has no inner column or row to copy from, throws
/// "ERROR - extendBorder - left>=m.cols", "... right>=m.cols", "... top>=m.rows" or "... bottom>=m.rows"; nothing is
/// written then.
KESTROVA_EXPORT void extendBorder(cv::Mat& m, int left, int top, int right, int bottom);
