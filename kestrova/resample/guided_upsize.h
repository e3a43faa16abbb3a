#pragma once

#include <opencv2/core.hpp>

#include <vector>

#include "kestrova/export.h"

/// Planes enlarged to the size of a guide so that their edges follow it: the model of a guided filter
/// (`TGuidedFilter`) is fitted at the small size and applied at the large one, the first of which is
/// K. He and J. Sun, "Fast Guided Filter" (arXiv:1505.00996, 2015).
///
/// `guide` is one plane, or the three planes of a colour picture, at full size; `low` the plane to enlarge, as a rule
/// of the size of the guide divided by n and rounded up; both are `CV_8UC1` or `CV_16UC1`. Plain enlarging, with
/// `useGuide` false, takes every type of the plain resampling. `interp` is an interpolation code of the plain
/// resampling (1 nearest, 2 linear, 4 cubic).
/// `r` is the radius of the window in pixels of `low`, `eps` the regularisation in squared units of planes scaled to
/// 0..1: an edge of the guide with a variance well above `eps` is followed, below it smoothed. Sensible are r from 1
/// to 16 and eps from 1e-6 to 1e-2. Both, and they alone, go unused with `useGuide` false.
///
/// Guided results have the size and type of the guide: a `low` of another depth is scaled to the guide's.
/// Failures of the plain resampling and of `TGuidedFilter` pass through. The four functions differ in details on
/// purpose, as told with each.

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
/// and `useGuide`.
KESTROVA_EXPORT void upSizeNXGuidedByRGB(std::vector<cv::Mat>& guide, const cv::Mat& low, cv::Mat& out, int n,
                                         bool useGuide, int interp, int r, float eps);

/// Filters `p` in place with three guide planes of its size and depth: of different sizes, the top left rectangle that
/// `guide[0]` and `p` share. A `p` of another depth than `guide[0]` stays as it is: the result is dropped.
/// Throws the texts of `upSizeNXGuidedByRGB`, in that function's name.
KESTROVA_EXPORT void filterGuidedByRGB(std::vector<cv::Mat>& guide, cv::Mat& p, int r, float eps);
