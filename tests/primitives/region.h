#pragma once

#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <vector>

#include "kestrova/frame/vendor_types.h"
#include "tests/support/planes.h"

inline IppiSize sizeOf(const cv::Mat& plane) { return {plane.cols, plane.rows}; }
inline int stepOf(const cv::Mat& plane) { return static_cast<int>(plane.step[0]); }

/// A plane among the arguments of a primitive, or what is wrong with it.
struct PlaneArgument {
    cv::Mat plane;
    int step = stepOf(plane);
    bool null = false;

    template <class Element>
    operator Element*() const {
        return null ? nullptr : reinterpret_cast<Element*>(plane.data);
    }
};

/// Holds that `call(arguments, size)`, given `planes` of one size, refuses each kind of bad region with its status and
/// then writes nothing.
template <class Call>
void expectRegionChecks(const std::vector<cv::Mat>& planes, const Call& call) {
    std::vector<PlaneArgument> good;
    for (const cv::Mat& plane : planes) good.push_back({plane});
    const IppiSize size = sizeOf(planes[0]);
    ASSERT_GE(call(good, size), ippStsNoErr);

    std::vector<cv::Mat> before;
    for (const cv::Mat& plane : planes) before.push_back(plane.clone());
    for (IppiSize bad : {IppiSize{0, 1}, IppiSize{1, 0}, IppiSize{-1, 1}, IppiSize{1, -1}})
        EXPECT_EQ(call(good, bad), ippStsSizeErr) << bad.width << " x " << bad.height;
    for (std::size_t i = 0; i < planes.size(); ++i) {
        SCOPED_TRACE(testing::Message() << "plane " << i);
        std::vector<PlaneArgument> bad = good;
        bad[i].null = true;
        EXPECT_EQ(call(bad, size), ippStsNullPtrErr);
        bad = good;
        for (int step : {0, -1, -bad[i].step}) {
            bad[i].step = step;
            EXPECT_EQ(call(bad, size), ippStsStepErr) << step;
        }
        const int elementBytes = static_cast<int>(planes[i].elemSize1());
        bad[i].step = size.width * static_cast<int>(planes[i].elemSize()) - elementBytes;
        EXPECT_EQ(call(bad, size), ippStsRowStepErr);
        if (elementBytes > 1) {
            bad[i].step = good[i].step + 1;
            EXPECT_EQ(call(bad, size), ippStsStepErr);
        }
    }
    for (std::size_t i = 0; i < planes.size(); ++i) EXPECT_TRUE(samePixels(before[i], planes[i])) << "plane " << i;
}
