#pragma once

#include <gtest/gtest.h>

#include <opencv2/core.hpp>

#include "kestrova/primitives/resize.h"

/// Resizes of whole planes for tests, and the naive reference beside them.

constexpr int kResizeTypes[] = {CV_8UC1, CV_16UC1, CV_32FC1};
constexpr int kResizeCodes[] = {IPPI_INTER_NN, IPPI_INTER_LINEAR, IPPI_INTER_CUBIC};

using Wide = __int128;

/// The exact ratio that a factor or a shift stands for; the primitive gets the nearest double.
struct Fraction {
    int over, under = 1;
    double value() const { return static_cast<double>(over) / under; }
};

struct Resize {
    Fraction xFactor, yFactor, xShift, yShift;
    int code;
};

/// The primitive of the plane's type.
IppStatus resize(const cv::Mat& src, IppiRect srcROI, cv::Mat& dst, IppiRect dstROI, double xFactor, double yFactor,
                 double xShift, double yShift, int code);

/// A whole plane, and a single row.
cv::Mat resized(const cv::Mat& src, cv::Size size, const Resize& r);
cv::Mat resizedRow(const cv::Mat& row, int width, double factor, double shift, int code);

/// Integer planes: the exact sum in integers, rounded to nearest with halves up, saturated. Float planes: sums in
/// double, along each row first, from left to right and from top to bottom.
void referenceResize(const cv::Mat& src, IppiRect srcROI, cv::Mat& dst, IppiRect dstROI, const Resize& r);
cv::Mat referenceResized(const cv::Mat& src, cv::Size size, const Resize& r);
