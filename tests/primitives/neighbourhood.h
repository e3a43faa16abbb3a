#pragma once

#include "tests/primitives/region.h"

/// Pixels of which two in three are +-2^40, so that large ones cancel out and a sum in double shows its order.
inline cv::Mat cancellingFloats(int rows, int cols) {
    cv::Mat plane = randomPlane(rows, cols, CV_32FC1);
    const cv::Mat kinds = randomPlane(rows, cols, CV_8UC1, 0, 2, 7);
    plane.setTo(0x1p40, kinds == 0);
    plane.setTo(-0x1p40, kinds == 1);
    return plane;
}

/// A region in the middle of pixels that a mask covers, for filters that read around their region.
struct Surrounded {
    cv::Mat frame;
    cv::Mat region;

    Surrounded(cv::Size size, IppiSize mask, IppiPoint anchor, int type, std::uint32_t seed = 1)
        : Surrounded(randomPlane(size.height + mask.height - 1, size.width + mask.width - 1, type, seed), size,
                     anchor) {}
    Surrounded(const cv::Mat& pixels, cv::Size size, IppiPoint anchor)
        : frame(asSubPlane(pixels)), region(frame(cv::Rect(anchor.x, anchor.y, size.width, size.height))) {}

    Surrounded clone() const {
        cv::Point corner, frameCorner;
        cv::Size whole;
        region.locateROI(whole, corner);
        frame.locateROI(whole, frameCorner);
        return Surrounded(frame, region.size(), {corner.x - frameCorner.x, corner.y - frameCorner.y});
    }
};
