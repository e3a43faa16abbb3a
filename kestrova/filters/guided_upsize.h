#pragma once

#include <opencv2/core.hpp>

#include <vector>

#include "kestrova/export.h"

/// Planes enlarged to the size of a guide so that their edges follow it: the model of a guided filter
/// (`TGuidedFilter`) is fitted at the small size and applied at the large one. K. He and J. Sun, "Fast Guided Filter"
/// (arXiv:1505.00996, 2015).
///
/// `guide` is one plane, or the three planes of a colour picture, at full size; `low` the plane to enlarge, as a rule
/// of the guide's size divided by the factor and rounded up. `interp` is an interpolation code of the plain resampling
/// (`downSizeNX`, `upSizeNX`): 1 nearest, 2 linear, 4 cubic.
///
/// With `useGuide`: planes are `CV_8UC1` or `CV_16UC1`, the result has the size and type of the guide, and a `low` of
/// the other type is scaled to it. `r` is the radius of the window in pixels of `low`, 1 to 16 as a rule; `eps`, above
/// 0, is the variance of the guide, on the scale 0..1, below which the result is smoothed rather than made to follow
/// it, 1e-6 to 1e-2 as a rule. A guide of floats is no guide: `out` is a copy of it, of the first of three; this is
/// meant.
///
/// Without: `low` is of any type of the plain resampling and of its size, and may lie in `out`; `r` and `eps` are not
/// used.
///
/// Failures of the plain resampling and of `TGuidedFilter` pass through; those of the functions themselves come before
/// anything is written. Every guided one throws "ERROR - " with its name and " - guide.cols < n" (" - guide.cols < 2")
/// for a guide narrower than the factor, or " - low.type() != CV_8UC1 && low.type() != CV_16UC1", every plain one
/// " - low.empty()". The functions differ in details on purpose, as told with each.

/// Enlarges `low` by 2 into `out`. With `useGuide` the guide is reduced cubically, whatever `interp`, and `out` takes
/// size and type of `guide`; without, `out` is made the size of `guide` and the type of `low` for
/// `upSize2X(low, out, interp)`.
KESTROVA_EXPORT void upSize2XGuidedByY(cv::Mat guide, const cv::Mat& low, cv::Mat& out, bool useGuide, int interp,
                                       int r, float eps);

/// The same by n: guided as `upSize2XGuidedByY`, plain as `upSizeNX`. n = 1 is `low.copyTo(out)`, also with
/// `useGuide`; n < 1 leaves `out` untouched, silently.
KESTROVA_EXPORT void upSizeNXGuidedByY(cv::Mat guide, const cv::Mat& low, cv::Mat& out, int n, bool useGuide,
                                       int interp, int r, float eps);

/// The same by n with three guide planes, which are reduced with `interp`; prints a line to standard output before and
/// after each half of the filter. n = 1 with `useGuide` filters at one size, silently, the top left rectangle that
/// `guide[0]` and `low` share; n = 1 without is `low.copyTo(out)`; n < 1 leaves `out` untouched, silently.
/// Throws "ERROR - upSizeNXGuidedByRGB - Guide data need to be RGB..." for other than three planes and
/// "ERROR - upSizeNXGuidedByRGB - Guide data need to use same data type..." for planes of different types, whatever n
/// and `useGuide`; "ERROR - upSizeNXGuidedByRGB - interp is not 1, 2 or 4" for other codes where planes are reduced;
/// "ERROR - upSizeNXGuidedByRGB - Guide data need to have the same size..." there for planes of different sizes;
/// "ERROR - upSizeNXGuidedByRGB - Guide data need to cover the same rectangle..." at one size for a second or third
/// plane smaller than the rectangle shared.
KESTROVA_EXPORT void upSizeNXGuidedByRGB(std::vector<cv::Mat>& guide, const cv::Mat& low, cv::Mat& out, int n,
                                         bool useGuide, int interp, int r, float eps);

/// Filters `p` in place with three guide planes of its size and depth: of different sizes, the top left rectangle that
/// `guide[0]` and `p` share. A `p` of another depth than `guide[0]` stays as it is: the result is dropped.
/// Throws the texts of `upSizeNXGuidedByRGB`, in that function's name.
KESTROVA_EXPORT void filterGuidedByRGB(std::vector<cv::Mat>& guide, cv::Mat& p, int r, float eps);
