#pragma once

#include <opencv2/core.hpp>

#include <vector>

#include "kestrova/export.h"

/// \file
/// Planes enlarged to the size of a guide so that their edges follow it: the model of a guided filter
/// (`TGuidedFilter`) is fitted at the small size and applied at the large one. K. He and J. Sun, "Fast Guided Filter"
/// (arXiv:1505.00996, 2015).
///
/// **Arguments.** `guide` is one plane, or the three planes of a colour picture, at full size; `low` the plane to
/// enlarge, as a rule of the guide's size divided by the factor and rounded up. `interp` is an interpolation code of
/// the plain resampling (`InterpolationCode` of resample.h; `upSize2X` knows `kPyramidStep` too).
///
/// **With `useGuide`** planes are `CV_8UC1` or `CV_16UC1`; the result has the size and type of the guide, and a `low`
/// of the other type is scaled to it: its 0..255 counts as 0..65535, or the other way round. `r` is the radius of the
/// window in pixels of `low`, 1 to 16 as a rule. `eps`, above 0, is the variance of the guide on the scale 0..1 below
/// which the result is smoothed rather than made to follow it, 1e-6 to 1e-2 as a rule. A guide of floats guides
/// nothing: `out` becomes a copy of it, or of the first of three; this is intentional.
///
/// **Without `useGuide`** `low` is of any type and size that the plain resampling takes; `r` and `eps` are ignored.
///
/// `out` is made with the size and type of the result unless it has them. It may be, or overlap, any input plane. It
/// stays as it was when a call fails, but for a `kPyramidStep` of 8 bits or floats that runs out of memory.
///
/// **Failures** are thrown texts (`const char*`). Those of the plain resampling and of `TGuidedFilter` pass through.
/// Each function that enlarges adds, in its own name and before anything is written: "ERROR - <function> - guide.cols <
/// n" (" - guide.cols < 2" of `upSize2XGuidedByY`) for a guide narrower than the factor, "ERROR - <function> -
/// low.type() != CV_8UC1 && low.type() != CV_16UC1" with a guide, "ERROR - <function> - low.empty()" without. All have
/// "ERROR - <function> - not enough memory", and "ERROR - plane - dims>2" refuses planes of three dimensions.

/// Enlarges `low` by 2 into `out`. With `useGuide` the guide is reduced cubically, whatever `interp`, and `out` takes
/// size and type of `guide`; without, `out` is made the size of `guide` and the type of `low` for
/// `upSize2X(low, out, interp)`.
KESTROVA_EXPORT void upSize2XGuidedByY(cv::Mat guide, const cv::Mat& low, cv::Mat& out, bool useGuide, int interp,
                                       int r, float eps);

/// Enlarges `low` by n into `out`: with `useGuide` as `upSize2XGuidedByY`, without as `upSizeNX(low, out, n, interp)`.
/// n = 1 is `low.copyTo(out)`, also with `useGuide`; n < 1 leaves `out` untouched, without a message.
KESTROVA_EXPORT void upSizeNXGuidedByY(cv::Mat guide, const cv::Mat& low, cv::Mat& out, int n, bool useGuide,
                                       int interp, int r, float eps);

/// Enlarges `low` by n into `out` with three guide planes, which are reduced with `interp`; other than with one guide
/// plane, this is intentional. A code that the plain resampling does not know leaves the reduced guide at zero. Prints
/// three lines to standard output, around the two halves of the filter, unless `Kestrova::setPrinting(false)`. n = 1
/// with `useGuide` filters the top left rectangle that `guide[0]` and `low` share at its own size, without printing; n
/// = 1 without is `low.copyTo(out)`; n < 1 leaves `out` untouched, without a message.
///
/// Throws "ERROR - upSizeNXGuidedByRGB - Guide data need to be RGB..." for other than three planes and
/// "ERROR - upSizeNXGuidedByRGB - Guide data need to use same data type..." for planes of different types, whatever n
/// and `useGuide`; "ERROR - upSizeNXGuidedByRGB - Guide data need to have the same size..." where planes of different
/// sizes are to be reduced; "ERROR - upSizeNXGuidedByRGB - Guide data need to cover the same rectangle..." with n = 1
/// for a second or third plane smaller than the rectangle shared.
KESTROVA_EXPORT void upSizeNXGuidedByRGB(std::vector<cv::Mat>& guide, const cv::Mat& low, cv::Mat& out, int n,
                                         bool useGuide, int interp, int r, float eps);

/// Filters `p` in place with three guide planes of its size and depth. Of planes of different sizes the top left
/// rectangle that `guide[0]` and `p` share is filtered. A `p` of another depth than `guide[0]` stays as it is: the
/// result is dropped, which is intentional. Throws the texts of `upSizeNXGuidedByRGB` about guides, in that function's
/// name.
KESTROVA_EXPORT void filterGuidedByRGB(std::vector<cv::Mat>& guide, cv::Mat& p, int r, float eps);
