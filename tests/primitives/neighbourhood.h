#pragma once

#include "tests/primitives/region.h"

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
