#include "kestrova/filters/guide_depths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tests/filters/bilateral_reference.h"
#include "tests/support/planes.h"

using kestrova::filters::GuideDepths;

namespace {

constexpr int kDepths[] = {CV_8U, CV_8S, CV_16U, CV_16S, CV_32S, CV_32F, CV_64F};

struct Values {
    double lowest, highest;
};
Values valuesOf(int depth) {
    switch (depth) {
        case CV_8U: return {0, 255};
        case CV_8S: return {-128, 127};
        case CV_16U: return {0, 65535};
        case CV_16S: return {-32768, 32767};
        case CV_32S: return {-100000, 2000000};
        default: return {-1000, 70000};
    }
}

cv::Mat guideOf(int depth, const cv::Size& size, unsigned seed = 7) {
    const Values values = valuesOf(depth);
    return randomPlane(size.height, size.width, CV_MAKETYPE(depth, 1), values.lowest, values.highest, seed);
}

cv::Mat nearestDepths(const cv::Mat& guide, double alpha, double beta) {
    const GuideDepths depths(guide, alpha, beta);
    cv::Mat out(guide.size(), CV_8UC1);
    for (int y = 0; y < guide.rows; ++y) depths.nearest(y, 0, guide.cols, out.ptr<uchar>(y));
    return out;
}

cv::Mat exactDepths(const cv::Mat& guide, double alpha, double beta) {
    const GuideDepths depths(guide, alpha, beta);
    cv::Mat out(guide.size(), CV_32FC1);
    for (int y = 0; y < guide.rows; ++y) depths.exact(y, 0, guide.cols, out.ptr<float>(y));
    return out;
}

template <class Compare>
void forEachGuide(const Compare& compare) {
    for (int depth : kDepths) {
        for (const cv::Size& size : testSizes()) {
            const cv::Mat guide = asSubPlane(guideOf(depth, size));
            const double lowest = valuesOf(depth).lowest, span = valuesOf(depth).highest - lowest;
            for (double range : {1.0, 6.0, std::ceil(span / 248), std::ceil(span / 10)}) {
                SCOPED_TRACE(testing::Message() << "depth " << depth << ", " << size << ", range " << range);
                compare(guide, 1 / range, -lowest / range);
            }
        }
    }
}

TEST(GuideDepths, AreThoseOfOpenCVsBaselineBitForBit) {
    forEachGuide([](const cv::Mat& guide, double alpha, double zero) {
        EXPECT_TRUE(
            samePixels(convertedOnBaseline(guide, CV_8U, alpha, 2 + zero), nearestDepths(guide, alpha, 2 + zero)));
        EXPECT_TRUE(
            samePixels(convertedOnBaseline(guide, CV_32F, alpha, 1.5 + zero), exactDepths(guide, alpha, 1.5 + zero)));
    });
}

// However OpenCV runs on this processor.
TEST(GuideDepths, DifferFromFusedOnesByTheRoundingOfTheProduct) {
    forEachGuide([](const cv::Mat& guide, double alpha, double zero) {
        cv::Mat fused;
        guide.convertTo(fused, CV_32F, alpha, 1.5 + zero);
        const cv::Mat depths = exactDepths(guide, alpha, 1.5 + zero);
        for (int y = 0; y < guide.rows; ++y) {
            for (int x = 0; x < guide.cols; ++x) {
                const float a = depths.at<float>(y, x), b = fused.at<float>(y, x);
                const double product = std::abs(static_cast<double>(a) - (1.5 + zero));
                const double unit = std::max(product, static_cast<double>(std::abs(a))) * 0x1p-23;
                ASSERT_LE(std::abs(static_cast<double>(a) - static_cast<double>(b)), 2 * unit) << y << ' ' << x;
            }
        }
        cv::Mat fusedBytes;
        guide.convertTo(fusedBytes, CV_8U, alpha, 2 + zero);
        EXPECT_TRUE(closePixels(fusedBytes, nearestDepths(guide, alpha, 2 + zero), 1));
    });
}

TEST(GuideDepths, OfAPartOfARowAreThoseOfTheRow) {
    const cv::Mat guide = guideOf(CV_16U, {100, 3});
    const GuideDepths depths(guide, 1.0 / 700, 1.5);
    const cv::Mat row = exactDepths(guide, 1.0 / 700, 1.5).row(2);
    for (int x : {0, 1, 17, 99}) {
        float part[100];
        depths.exact(2, x, 100 - x, part);
        EXPECT_TRUE(std::equal(part, part + 100 - x, row.ptr<float>(0) + x)) << x;
    }
}

TEST(GuideDepths, AsBytesStayWithinTheLargestWhereFloatsCannotHoldThem) {
    for (int depth : {CV_32S, CV_32F, CV_64F}) {
        const double value = 1617000001;
        const cv::Mat guide(3, 70, CV_MAKETYPE(depth, 1), cv::Scalar(value));
        for (int most : {4, 255}) {
            const GuideDepths depths(guide, 1.0 / 3, 40 - value / 3, most);
            for (int y = 0; y < guide.rows; ++y) {
                uchar row[70];
                depths.nearest(y, 0, guide.cols, row);
                for (uchar byte : row) EXPECT_LE(byte, most);
            }
        }
    }
}

TEST(GuideDepths, OfNaNAreTheByteZero) {
    const cv::Mat guide(1, 3, CV_32FC1, cv::Scalar(std::nan("")));
    EXPECT_EQ(cv::countNonZero(nearestDepths(guide, 1, 2)), 0);
}

}  // namespace
