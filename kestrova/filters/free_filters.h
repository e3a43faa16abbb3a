#pragma once

#include <opencv2/core.hpp>

#include "kestrova/export.h"

class TImage;     // kestrova/image/timage.h
class TProgress;  // kestrova/frame/tprogress.h

/// \file
/// Filters that belong to no class. Failures are thrown texts (`const char*`). Unless it is said otherwise they come
/// before anything is written, those about memory included. "ERROR - plane - dims>2" refuses planes of three
/// dimensions.

/// Blurs `in_p` into `out_p`, which has its kind and size, by `iterations` passes of a mean over a square window of
/// side 2 `radius` + 1 with mirrored edges (the pixel at the edge itself counts once, `cv::BORDER_REFLECT_101`). Kinds
/// are `IM_Y16U` and `IM_C8U`, whose planes are blurred in turn; means are rounded to nearest, halves up. Above a
/// radius of 53 the passes work on a copy reduced by f = 1 + trunc(radius / 54), with the radius divided by f, so that
/// the cost does not grow with the radius; both resizes are linear. Both images may be the same. The stamp of `out_p`
/// stays.
///
/// `radius` < 1 or `iterations` < 1 is `out_p->copyFrom(*in_p)`, for every kind.
///
/// `progress` may be null. Otherwise one step is reported after each pass and one at the end, and, against the rule of
/// all other operations, a *true* answer stops the work, and a true result says that it was stopped. A `TProgress`
/// without callback answers true. When stopped, `out_p` keeps the planes that were finished before. The answer to the
/// step at the end is the result, though the work is whole.
///
/// Throws, in this order, "ERROR - tFilterBox - !in_p || !out_p", "tFilterBox - in_p->type() != out_p->type()",
/// "tFilterBox - type not supported", "ERROR - tFilterBox - image smaller than reduction factor" for an empty image or
/// one with a side below f, "ERROR - tFilterBox - in_p has no pixels" and "ERROR - tFilterBox - out_p has no pixels"
/// for images that once got no memory, "ERROR - tFilterBox - not enough memory", and, after the passes of the first
/// plane, what `TImage::fromMat` throws for an `out_p` of another size. Where memory runs out `out_p` is as it was,
/// except that above a radius of 53 it may be written in part if it is not `in_p` itself.
KESTROVA_EXPORT bool tFilterBox(const TImage* in_p, TImage* out_p, int radius, int iterations, TProgress* progress);

/// Mixes two planes of one type and size, `CV_8UC1`, `CV_16UC1` or `CV_32FC1`, under `alpha`, `CV_8UC1`:
/// out = in0 (1 - w) + in1 w in float, w = k alpha / 255, into `out`, which is created unless it fits. Alpha 255 and
/// `k` 1 give `in1`, alpha 0 or `k` 0 `in0`. An `alpha` larger than the planes is read from its top left. Integers are
/// truncated and their low 8 or 16 bits stored; nothing is clamped, which shows for `k` outside 0..1. `out` may be or
/// overlap any of the inputs.
///
/// Throws, in this order, and leaves `out` as it was,
/// "ERROR - blendAlpha - in0.type()!=in1.type()", "ERROR - blendAlpha - in0.size() !=in1.size()",
/// "ERROR - blendAlpha - in0 type", "ERROR - blendAlpha - alpha.type()!=CV_8UC1",
/// "ERROR - blendAlpha - alpha.size()<in0.size()", "ERROR - blendAlpha - not enough memory".
KESTROVA_EXPORT void blendAlpha(const cv::Mat& in0, const cv::Mat& in1, const cv::Mat& alpha, cv::Mat& out, float k);

/// Scales a plane of bytes: dst = src k, rounded to nearest, ties to even, and clamped to 0..255. `width` and `height`
/// are pixels; a size below 1 does nothing. Steps are bytes from row to row and may be negative. `dst` may be `src`,
/// but not overlap it otherwise. In spite of the name nothing is blended. Throws "ERROR - blendC - !src || !dst".
KESTROVA_EXPORT void blendC(const uchar* src, int srcStep, uchar* dst, int dstStep, int width, int height, float k);

/// Sharpens a plane `CV_16UC1` into `out`, which is created unless it fits: each pixel becomes the nearer of the
/// minimum and the maximum of its 3 by 3 neighbourhood, the minimum on a tie. The outermost rows and columns are those
/// of `in`. `out` may be or overlap `in`.
/// H. P. Kramer and J. B. Bruckner, "Iterations of a Non-linear Transformation for Enhancement of Digital Images"
/// (1975). Throws "ERROR - extremeSharpen - in.type()!=CV_16UC1" and "ERROR - extremeSharpen - not enough memory", with
/// `out` as it was.
KESTROVA_EXPORT void extremeSharpen(const cv::Mat& in, cv::Mat& out);
