#pragma once

#include <opencv2/core.hpp>

#include "kestrova/export.h"

/// Planes between scales: by two and by an integer, both ways. Planes are `CV_8UC1`, `CV_16UC1` or `CV_32FC1`, input
/// and output of one type. The output is the caller's, allocated; it may be larger than the factor makes it, because
/// half sizes are rounded up: the additional columns repeat the last regular one, while the additional rows stay as the
/// resampling wrote them, beyond the last row from that row repeated. That the two differ is meant.
///
/// `interp` is 1 nearest, 2 linear, 4 cubic (Keys, a = -1/2; what is used as a rule). Any other code leaves the output
/// unwritten but for those additional columns, without a message. Integer results are rounded to nearest, halves up.
/// Input and output do not overlap.
///
/// With pixel centres counted from 0, output pixel x takes the input at
///     downSize2X: 2 x                          downSizeNX: n x + n/2 - 1
///     upSize2X:   x/2                          upSizeNX:   (x + 1/2 + 1/n) / n - 1/2
/// in both directions, so that a reduction by an even factor copies single pixels. The grid of `upSizeNX` lies lower
/// than that of pixel centres for n above 2; this is meant.

/// Of `downSize2X` and `upSize2X` alone: a step of the Gaussian pyramid (`cv::pyrDown`, `cv::pyrUp`) with mirrored
/// edges. P. J. Burt and E. H. Adelson, "The Laplacian Pyramid as a Compact Image Code" (1983). Types and sizes are
/// those that OpenCV takes; others make it throw its `cv::Exception`. In the last row of an odd number, enlarged from 8
/// or 16 bits, OpenCV writes one row over another in an order that hangs on the processor's vector unit.
constexpr int kPyramidStep = 257;

/// Reduces `in` by 2 into `outHalf`.
/// Throws "ERROR - downSize2X - outHalf must be allocated!" if `outHalf` is empty or of another type,
/// "ERROR - down2X - type" for types not supported, "ERROR - down2X - ippsMalloc_8u(pBufferSize)" without memory.
KESTROVA_EXPORT void downSize2X(const cv::Mat& in, cv::Mat& outHalf, int interp);

/// Enlarges `in` by 2 into `out2X`.
/// Throws a trace text of "upSize2X", line 103, "out2X is not allocated" if `out2X` is empty or of another type,
/// "ERROR - up2X - type" for types not supported, "ERROR - up2X - ippsMalloc_8u(pBufferSize)" without memory.
KESTROVA_EXPORT void upSize2X(const cv::Mat& in, cv::Mat& out2X, int interp);

/// Reduces `in` by n into `out`. n = 1 is `in.copyTo(out)`, for every type; n < 1 leaves `out` untouched, silently.
/// Throws "downSizeNX - out is not allocated" if `out` is empty or of another type (whatever n is),
/// "ERROR - downSizeNX - type" for types not supported, "ERROR - downSizeNX - ippsMalloc_8u(pBufferSize)" without
/// memory.
KESTROVA_EXPORT void downSizeNX(const cv::Mat& in, cv::Mat& out, int n, int interp);

/// Enlarges `in` by n into `outNX`. n = 1 is `in.copyTo(outNX)`, for every type; n < 1 leaves `outNX` untouched,
/// silently. Throws "ERROR - upSizeNX - outNX is not allocated" if `outNX` is empty or of another type (whatever n is),
/// "ERROR - upNX - type" for types not supported, "ERROR - upNX - ippsMalloc_8u(pBufferSize)" without memory.
KESTROVA_EXPORT void upSizeNX(const cv::Mat& in, cv::Mat& outNX, int n, int interp);

/// Fills margins of `m`, a plane of any type, from the nearest inner column or row: the first `left` columns, the last
/// `right` columns, the first `top` rows, then of the last `bottom` rows only as many as `top` says: none if `top` is
/// 0. That the bottom margin hangs on `top` is meant. Widths below 1 fill nothing; a margin that leaves no inner column
/// or row to copy from stays as it is.
KESTROVA_EXPORT void extendBorder(cv::Mat& m, int left, int top, int right, int bottom);
