#pragma once

#include <kestrova/kestrova.h>

#include <vector>

/// A picture made by a formula, so that a tour needs no files: a bright red disc before a darker green ground that
/// lightens to the right, with a fine weave all over.
struct Scene {
    static constexpr int kWidth = 256, kHeight = 192;

    Scene();

    cv::Mat red, green, blue;           ///< CV_16UC1
    std::vector<unsigned char> pixels;  ///< packed B, G, R, A
    TPImage picture;                    ///< converted from `pixels`
    cv::Mat fullDr;                     ///< its red difference at full size, CV_16UC1, which a picture does not keep
};

/// Peak signal to noise ratio of two planes of one size and type, in dB; 99.9 for equal ones.
double psnr(const cv::Mat& a, const cv::Mat& b);

/// The standard deviation of a plane within a corner of the ground, in percent of the mean there: how much weave shows.
double weave(const cv::Mat& plane);

/// The difference of luminance between the disc and the ground, 3 pixels to either side of the disc's rim, in percent
/// of full scale.
double rim(const cv::Mat& plane);
