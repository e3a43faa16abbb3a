#include "kestrova/filters/guided_upsize.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "kestrova/filters/tguidedfilter.h"
#include "kestrova/resample/resample.h"
#include "tests/filters/guided_upsize_reference.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/printed.h"
#include "tests/support/threads.h"

namespace {

constexpr int kNearest = 1, kLinear = 2, kCubic = 4;
constexpr int kRadius = 2;
constexpr float kEps = 0.01f;
// The filter's single precision loses some 1e-6 of the scale, which may tip the rounding of a pixel.
constexpr double kRounding = 1;

const int kTypes[] = {CV_8UC1, CV_16UC1};

cv::Mat reduced(const cv::Mat& guide, cv::Size size, int n, int interp = kCubic) {
    cv::Mat small(size, guide.type());
    downSizeNX(guide, small, n, interp);
    return small;
}

cv::Mat lowFor(const cv::Mat& guide, int n, int type, std::uint32_t seed = 7) {
    return randomPlane((guide.rows + n - 1) / n, (guide.cols + n - 1) / n, type, seed);
}

cv::Mat unitPlane(const cv::Mat& plane) {
    cv::Mat unit;
    plane.convertTo(unit, CV_32FC1, plane.depth() == CV_8U ? 0.00392156862745098 : 1.5259021896696422e-05);
    return unit;
}

// The same by the steps of the filter.
cv::Mat byTheFilter(const cv::Mat& guide, const cv::Mat& small, const cv::Mat& low, int r = kRadius) {
    TGuidedFilter filter;
    cv::Mat out;
    filter.setup({unitPlane(small)}, unitPlane(low), r, kEps);
    filter.proc({guide}, out);
    return out;
}

cv::Mat enlarged2X(const cv::Mat& guide, const cv::Mat& low, int interp = kCubic) {
    cv::Mat out;
    upSize2XGuidedByY(guide, low, out, true, interp, kRadius, kEps);
    return out;
}

cv::Mat enlargedNX(const cv::Mat& guide, const cv::Mat& low, int n, int interp = kCubic) {
    cv::Mat out;
    upSizeNXGuidedByY(guide, low, out, n, true, interp, kRadius, kEps);
    return out;
}

const std::vector<cv::Size> kGuideSizes = {{8, 1}, {8, 9}, {25, 14}, {40, 30}};

// ---- Guided

TEST(GuidedUpsizeTest, FitsAtTheSmallSizeAndAppliesAtTheLarge) {
    for (int guideType : kTypes) {
        for (int lowType : kTypes) {
            for (const cv::Size& size : kGuideSizes) {
                for (int n : {2, 3, 4, 5}) {
                    const cv::Mat guide = randomPlane(size.height, size.width, guideType);
                    const cv::Mat low = lowFor(guide, n, lowType), small = reduced(guide, low.size(), n);
                    const cv::Mat expected = guided_reference::applied(
                        guided_reference::fitted({small}, low, kRadius, static_cast<double>(kEps)), {guide});
                    EXPECT_TRUE(closePixels(expected, enlargedNX(guide, low, n), kRounding)) << size << n;
                    if (n != 2) continue;
                    cv::Mat half(low.size(), guideType);
                    downSize2X(guide, half, kCubic);
                    EXPECT_TRUE(samePixels(byTheFilter(guide, half, low), enlarged2X(guide, low))) << size;
                    EXPECT_TRUE(closePixels(expected, enlarged2X(guide, low), kRounding)) << size;
                }
            }
        }
    }
}

TEST(GuidedUpsizeTest, GivesTheBitsOfTheFilter) {
    for (int guideType : kTypes) {
        for (int lowType : kTypes) {
            for (int n : {2, 3, 8}) {
                const cv::Mat guide = randomPlane(67, 91, guideType), low = lowFor(guide, n, lowType);
                const cv::Mat expected = byTheFilter(guide, reduced(guide, low.size(), n), low);
                EXPECT_EQ(expected.type(), guideType);
                EXPECT_TRUE(samePixels(expected, enlargedNX(guide, low, n)));
                EXPECT_TRUE(samePixels(expected, enlargedNX(asSubPlane(guide), asSubPlane(low), n)));
            }
        }
    }
}

TEST(GuidedUpsizeTest, ReducesAGuidePlaneCubicallyWhateverTheCode) {
    const cv::Mat guide = randomPlane(30, 45, CV_16UC1), low = lowFor(guide, 3, CV_16UC1);
    const cv::Mat half = lowFor(guide, 2, CV_16UC1), expected = enlargedNX(guide, low, 3);
    ASSERT_FALSE(samePixels(byTheFilter(guide, reduced(guide, low.size(), 3, kLinear), low), expected));
    for (int interp : {kNearest, kLinear, 257, -1}) {
        EXPECT_TRUE(samePixels(expected, enlargedNX(guide, low, 3, interp)));
        EXPECT_TRUE(samePixels(enlarged2X(guide, half), enlarged2X(guide, half, interp)));
    }
}

TEST(GuidedUpsizeTest, KeepsAnEdgeThatThePlainEnlargingBlurs) {
    cv::Mat guide(32, 32, CV_8UC1, cv::Scalar(40)), low(8, 8, CV_8UC1, cv::Scalar(60)), out;
    guide.colRange(16, 32) = 200;
    low.colRange(4, 8) = 180;
    upSizeNXGuidedByY(guide, low, out, 4, true, kCubic, 2, 1e-6f);
    for (int x = 0; x < 32; ++x) EXPECT_NEAR(out.at<uchar>(16, x), x < 16 ? 60 : 180, 1) << x;
}

TEST(GuidedUpsizeTest, TakesALowPlaneOfAnySize) {
    const cv::Mat guide = randomPlane(24, 31, CV_8UC1);
    for (const cv::Size& size : {cv::Size(1, 1), cv::Size(5, 20), cv::Size(31, 24), cv::Size(40, 50)}) {
        const cv::Mat low = randomPlane(size.height, size.width, CV_8UC1);
        EXPECT_TRUE(samePixels(byTheFilter(guide, reduced(guide, size, 4), low), enlargedNX(guide, low, 4)));
    }
}

TEST(GuidedUpsizeTest, CopiesAGuideOfFloats) {
    const cv::Mat guide = randomPlane(20, 30, CV_32FC1);
    for (int lowType : {CV_8UC1, CV_16UC1, CV_32FC1}) {
        EXPECT_TRUE(samePixels(guide, enlarged2X(guide, lowFor(guide, 2, lowType))));
        EXPECT_TRUE(samePixels(guide, enlargedNX(guide, lowFor(guide, 3, lowType), 3)));
    }
}

TEST(GuidedUpsizeTest, MayWriteOverTheGuideOrTheLowPlane) {
    const cv::Mat guide = randomPlane(21, 34, CV_16UC1), low = lowFor(guide, 2, CV_16UC1);
    const cv::Mat expected = enlarged2X(guide, low);
    cv::Mat overGuide = guide.clone(), overLow = low.clone();
    upSize2XGuidedByY(overGuide, low, overGuide, true, kCubic, kRadius, kEps);
    upSize2XGuidedByY(guide, overLow, overLow, true, kCubic, kRadius, kEps);
    EXPECT_TRUE(samePixels(expected, overGuide));
    EXPECT_TRUE(samePixels(expected, overLow));
}

TEST(GuidedUpsizeTest, LeavesGuideAndLowPlaneAlone) {
    const cv::Mat guide = randomPlane(21, 34, CV_16UC1), low = lowFor(guide, 2, CV_8UC1);
    const cv::Mat guideBefore = guide.clone(), lowBefore = low.clone();
    const int references = guide.u->refcount;
    enlarged2X(guide, low);
    enlargedNX(guide, low, 2);
    EXPECT_TRUE(samePixels(guideBefore, guide));
    EXPECT_TRUE(samePixels(lowBefore, low));
    EXPECT_EQ(guide.u->refcount, references);
}

TEST(GuidedUpsizeTest, GivesTheSameBitsWithAnyNumberOfThreads) {
    const cv::Mat guide = randomPlane(402, 311, CV_16UC1), low = lowFor(guide, 2, CV_16UC1);
    const cv::Mat expected = byTheFilter(guide, reduced(guide, low.size(), 2), low);
    withThreadCounts([&](int threads) { EXPECT_TRUE(samePixels(expected, enlarged2X(guide, low))) << threads; });
}

TEST(GuidedUpsizeTest, PrintsNothingForAGuidePlane) {
    const cv::Mat guide = randomPlane(20, 30, CV_8UC1);
    EXPECT_EQ(printed([&] { enlargedNX(guide, lowFor(guide, 2, CV_8UC1), 2); }), "");
}

// ---- Plain

TEST(GuidedUpsizeTest, EnlargesPlainlyWithoutTheGuide) {
    for (int type : {CV_8UC1, CV_16UC1, CV_32FC1}) {
        for (int interp : {kNearest, kLinear, kCubic}) {
            const cv::Mat guide = randomPlane(23, 41, CV_8UC1), half = lowFor(guide, 2, type);
            const cv::Mat third = lowFor(guide, 3, type);
            cv::Mat expected(guide.size(), type), out;
            upSize2X(half, expected, interp);
            upSize2XGuidedByY(guide, half, out, false, interp, -1, -1.0f);
            EXPECT_TRUE(samePixels(expected, out));
            upSizeNX(third, expected, 3, interp);
            upSizeNXGuidedByY(guide, third, out, 3, false, interp, -1, -1.0f);
            EXPECT_TRUE(samePixels(expected, out));
            cv::Mat same = third.clone();
            upSizeNXGuidedByY(guide, same, same, 3, false, interp, -1, -1.0f);
            EXPECT_TRUE(samePixels(expected, same));
        }
    }
}

TEST(GuidedUpsizeTest, EnlargesPlainlyIntoAPlaneThatFits) {
    const cv::Mat guide = randomPlane(20, 30, CV_16UC1), low = lowFor(guide, 2, CV_8UC1);
    cv::Mat fits(20, 30, CV_8UC1);
    const uchar* before = fits.data;
    upSize2XGuidedByY(guide, low, fits, false, kCubic, 0, 0.0f);
    EXPECT_EQ(fits.data, before);
    upSizeNXGuidedByY(guide, low, fits, 2, false, kCubic, 0, 0.0f);
    EXPECT_EQ(fits.data, before);
}

TEST(GuidedUpsizeTest, EnlargesPlainlyAPlaneThatLiesInTheOutput) {
    const cv::Mat guide = randomPlane(40, 60, CV_8UC1), half = lowFor(guide, 2, CV_16UC1);
    cv::Mat expected(guide.size(), CV_16UC1), whole(guide.size(), CV_16UC1);
    for (int factor : {2, 3}) {
        const cv::Mat low = lowFor(guide, factor, CV_16UC1);
        cv::Mat inside = whole(cv::Rect({}, low.size()));
        low.copyTo(inside);
        upSizeNX(low, expected, factor, kCubic);
        upSizeNXGuidedByY(guide, inside, whole, factor, false, kCubic, kRadius, kEps);
        EXPECT_TRUE(samePixels(expected, whole));
    }
    cv::Mat inside = whole(cv::Rect({}, half.size()));
    half.copyTo(inside);
    upSize2X(half, expected, kCubic);
    upSize2XGuidedByY(guide, inside, whole, false, kCubic, kRadius, kEps);
    EXPECT_TRUE(samePixels(expected, whole));
    cv::Mat same = randomPlane(40, 60, CV_16UC1);
    upSizeNX(same, expected, 2, kCubic);
    upSizeNXGuidedByY(guide, same, same, 2, false, kCubic, kRadius, kEps);
    EXPECT_TRUE(samePixels(expected, same));
}

TEST(GuidedUpsizeTest, CopiesForAFactorOfOneAlsoWithTheGuide) {
    const cv::Mat guide = randomPlane(20, 30, CV_8UC1), low = randomPlane(9, 7, CV_64FC3);
    for (bool useGuide : {false, true}) {
        cv::Mat out;
        upSizeNXGuidedByY(guide, low, out, 1, useGuide, kCubic, 2, kEps);
        EXPECT_TRUE(samePixels(low, out));
        EXPECT_NE(low.data, out.data);
    }
}

TEST(GuidedUpsizeTest, LeavesTheOutputForFactorsBelowOne) {
    const cv::Mat guide = randomPlane(20, 30, CV_8UC1), low = randomPlane(10, 15, CV_8UC1);
    cv::Mat out(3, 4, CV_8UC1, cv::Scalar(9));
    const cv::Mat before = out.clone();
    for (int n : {0, -1, -7})
        for (bool useGuide : {false, true}) upSizeNXGuidedByY(guide, low, out, n, useGuide, kCubic, 2, kEps);
    EXPECT_TRUE(samePixels(before, out));
}

// ---- Failures

TEST(GuidedUpsizeTest, RefusesAGuideNarrowerThanTheFactor) {
    cv::Mat out;
    const cv::Mat low = randomPlane(10, 1, CV_8UC1);
    EXPECT_FAILURE(upSize2XGuidedByY(randomPlane(20, 1, CV_8UC1), low, out, true, 4, 2, kEps),
                   "ERROR - upSize2XGuidedByY - guide.cols < 2");
    EXPECT_FAILURE(upSizeNXGuidedByY(randomPlane(20, 4, CV_8UC1), low, out, 5, true, 4, 2, kEps),
                   "ERROR - upSizeNXGuidedByY - guide.cols < n");
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(enlargedNX(randomPlane(20, 4, CV_8UC1), low, 4).size(), cv::Size(4, 20));
}

TEST(GuidedUpsizeTest, RefusesToEnlargeAnEmptyPlanePlainly) {
    const cv::Mat guide = randomPlane(20, 30, CV_8UC1), none;
    cv::Mat out(3, 4, CV_16UC1, cv::Scalar(9));
    const cv::Mat before = out.clone();
    EXPECT_FAILURE(upSize2XGuidedByY(guide, none, out, false, 4, 2, kEps), "ERROR - upSize2XGuidedByY - low.empty()");
    EXPECT_FAILURE(upSizeNXGuidedByY(guide, none, out, 2, false, 4, 2, kEps),
                   "ERROR - upSizeNXGuidedByY - low.empty()");
    EXPECT_TRUE(samePixels(before, out));
}

TEST(GuidedUpsizeTest, RefusesALowPlaneWithoutAScale) {
    cv::Mat out;
    const cv::Mat guide = randomPlane(20, 30, CV_8UC1);
    for (int type : {CV_32FC1, CV_16SC1, CV_8UC3}) {
        const cv::Mat low = randomPlane(10, 15, type);
        EXPECT_FAILURE(upSize2XGuidedByY(guide, low, out, true, 4, 2, kEps),
                       "ERROR - upSize2XGuidedByY - low.type() != CV_8UC1 && low.type() != CV_16UC1");
        EXPECT_FAILURE(upSizeNXGuidedByY(guide, low, out, 2, true, 4, 2, kEps),
                       "ERROR - upSizeNXGuidedByY - low.type() != CV_8UC1 && low.type() != CV_16UC1");
    }
    EXPECT_TRUE(out.empty());
}

TEST(GuidedUpsizeTest, PassesTheFailuresOfTheResamplingOn) {
    cv::Mat out;
    const cv::Mat doubles = randomPlane(20, 30, CV_64FC1), low = randomPlane(10, 15, CV_8UC1);
    const cv::Mat bytes = randomPlane(20, 30, CV_8UC1);
    EXPECT_FAILURE(upSize2XGuidedByY(doubles, low, out, true, 4, 2, kEps), "ERROR - down2X - type");
    EXPECT_FAILURE(upSizeNXGuidedByY(doubles, low, out, 2, true, 4, 2, kEps), "ERROR - downSizeNX - type");
    EXPECT_FAILURE(upSizeNXGuidedByY(bytes, cv::Mat(0, 0, CV_8UC1), out, 2, true, 4, 2, kEps),
                   "downSizeNX - out is not allocated");
    EXPECT_FAILURE(upSize2XGuidedByY(bytes, randomPlane(10, 15, CV_64FC1), out, false, 4, 2, kEps),
                   "ERROR - up2X - type");
    EXPECT_FAILURE(upSizeNXGuidedByY(bytes, randomPlane(10, 15, CV_64FC1), out, 2, false, 4, 2, kEps),
                   "ERROR - upNX - type");
    EXPECT_TRACED_FAILURE(upSize2XGuidedByY(cv::Mat(), low, out, false, 4, 2, kEps),
                          " - 103 - upSize2X : out2X is not allocated - ");
    EXPECT_FAILURE(upSizeNXGuidedByY(cv::Mat(), low, out, 2, false, 4, 2, kEps),
                   "ERROR - upSizeNX - outNX is not allocated");
}

}  // namespace
