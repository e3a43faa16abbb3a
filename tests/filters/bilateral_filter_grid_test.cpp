#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "kestrova/filters/bilateral_filter.h"
#include "tests/filters/bilateral_reference.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

testing::AssertionResult sameCells(const std::vector<float>& expected, const float* actual) {
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (std::memcmp(&expected[i], &actual[i], sizeof(float)) != 0)
            return testing::AssertionFailure() << "cell " << i << ": " << expected[i] << " became " << actual[i];
    }
    return testing::AssertionSuccess();
}

cv::Mat filtered(const cv::Mat& plane, const cv::Mat& edge, int sampling, int range) {
    BilateralFilter filter;
    cv::Mat result = plane.clone();
    EXPECT_TRUE(filter.proc(edge, result, sampling, range, nullptr));
    return result;
}

void expectFiltered(const cv::Mat& plane, const cv::Mat& guide, int sampling, int range) {
    EXPECT_TRUE(
        samePixels(NaiveBilateral::filtered(plane, guide, sampling, range), filtered(plane, guide, sampling, range)))
        << plane.size() << ", type " << plane.type() << ", guide " << guide.type() << ", sampling " << sampling
        << ", range " << range;
}

/// A sky over hills: long runs of one guide value, edges, some noise.
cv::Mat scene(int rows, int cols, int type, double noise) {
    const double top = type == CV_8UC1 ? 255 : 65535;
    cv::Mat plane = randomPlane(rows, cols, CV_32FC1, -noise * top, noise * top, 3);
    for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < cols; ++x) {
            const double hill = 0.5 + 0.2 * std::sin(0.05 * x);
            plane.at<float>(y, x) += static_cast<float>((y < hill * rows ? 0.8 : 0.3) * top);
        }
    }
    cv::Mat result;
    plane.convertTo(result, type);
    return result;
}

TEST(BilateralFilterTest, FiltersPlanesOfAllSizesAndTypesWithAnyNumberOfThreads) {
    for (const cv::Size size : testSizes()) {
        for (int type : {CV_8UC1, CV_16UC1}) {
            for (int guideType : {CV_8UC1, CV_16UC1}) {
                const cv::Mat plane = randomPlane(size.height, size.width, type, 1);
                const cv::Mat guide = randomPlane(size.height, size.width, guideType, 2);
                const int range = guideType == CV_8UC1 ? 25 : 6000;
                const cv::Mat expected = NaiveBilateral::filtered(plane, guide, 16, range);
                withThreadCounts([&](int threads) {
                    EXPECT_TRUE(samePixels(expected, filtered(plane, guide, 16, range)))
                        << size << ", types " << type << ", " << guideType << ", " << threads << " threads";
                });
            }
        }
    }
}

TEST(BilateralFilterTest, FiltersAlongTheEdgesOfAScene) {
    for (int type : {CV_8UC1, CV_16UC1}) {
        const cv::Mat guide = scene(150, 201, type, 0.02);
        for (int sampling : {2, 3, 7, 8, 15, 16, 17, 33, 300}) {
            for (double range : {0.02, 0.1, 0.5}) {
                const int levels = static_cast<int>(range * (type == CV_8UC1 ? 255 : 65535));
                expectFiltered(guide, guide, sampling, levels);
            }
        }
    }
}

TEST(BilateralFilterTest, AddsUpInTheOrderOfThePixelsWhereFloatsRound) {
    // 40 x 40 pixels near 65535 and one depth: sums of up to 2^26, which single precision holds in steps of 8.
    cv::Mat plane = randomPlane(170, 210, CV_16UC1, 60001, 65535, 4);
    const cv::Mat guide(plane.size(), CV_8UC1, cv::Scalar(77));
    NaiveBilateral naive(guide, 40, 10);
    naive.splat<ushort>(plane, guide);
    double exact = 0;
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 40; ++x) exact += plane.at<ushort>(y, x);
    EXPECT_NE(naive.values[naive.index(2, 2, 2)], static_cast<float>(exact)) << "the order does not show";
    naive.blur();
    naive.divide();
    withThreadCounts([&](int threads) {
        BilateralFilter filter;
        ASSERT_TRUE(filter.setup(guide, plane.cols, plane.rows, 40, 10, true));
        filter.gridInit(1e-20f, 0.0f);
        filter.buildGrid(plane, guide);
        EXPECT_TRUE(sameCells(naive.values, filter.m_values_p)) << threads << " threads";
    });
    expectFiltered(plane, guide, 40, 10);
}

TEST(BilateralFilterTest, TheLargestSumsThatFloatsHoldAreExact) {
    const cv::Mat white(64, 64, CV_16UC1, cv::Scalar(65535));
    expectFiltered(white, white, 16, 1000);
    EXPECT_TRUE(samePixels(white, filtered(white, white, 16, 1000)));
    const cv::Mat bytes(520, 530, CV_8UC1, cv::Scalar(255));
    expectFiltered(bytes, bytes, 256, 10);
}

TEST(BilateralFilterTest, AddsUpInOrderAcrossCellsThatRunIntoEachOther) {
    // Level 255 is 5 layers beyond the last, so cell x shares sums beyond 2^24 with level 1 of cell x + 1.
    const cv::Mat plane = randomPlane(90, 700, CV_16UC1, 60001, 65535, 4);
    cv::Mat guide(plane.size(), CV_8UC1, cv::Scalar(0));
    const cv::Mat dice = randomPlane(90, 700, CV_8UC1, 0, 9, 5);
    guide.setTo(255, dice > 0);
    guide.setTo(1, dice > 5);
    NaiveBilateral naive(guide, 40, 1);
    ASSERT_EQ(naive.depth, 252);
    naive.splat<ushort>(plane, guide);
    ASSERT_GT(naive.values[naive.index(3, 2, 3)], 0x1p25f);
    naive.blur();
    naive.divide();
    withThreadCounts([&](int threads) {
        BilateralFilter filter;
        ASSERT_TRUE(filter.setup(guide, plane.cols, plane.rows, 40, 1, true));
        filter.gridInit(1e-20f, 0.0f);
        cv::Mat copy = plane.clone();
        filter.buildGrid(copy, guide);
        EXPECT_TRUE(sameCells(naive.values, filter.m_values_p)) << threads << " threads";
        EXPECT_TRUE(sameCells(naive.weights, filter.m_weights_p)) << threads << " threads";
    });
    expectFiltered(plane, guide, 40, 1);
}

TEST(BilateralFilterTest, LongRowsAndLongColumnsAreFilteredLikeOthers) {
    for (const cv::Size size : {cv::Size(1100, 43), cv::Size(43, 1100), cv::Size(30000, 1), cv::Size(1, 30000)}) {
        for (int sampling : {7, 16, 24, 600}) {
            const cv::Mat plane = scene(size.height, size.width, CV_16UC1, 0.05);
            expectFiltered(plane, plane, sampling, 5000);
        }
    }
}

TEST(BilateralFilterTest, BuildsBothGridsBitByBit) {
    for (int sampling : {5, 16, 21}) {
        const cv::Mat guide = scene(91, 133, CV_16UC1, 0.05), plane = randomPlane(91, 133, CV_16UC1, 5);
        NaiveBilateral naive(guide, sampling, 900);
        naive.splat<ushort>(plane, guide);
        naive.blur();
        withThreadCounts([&](int threads) {
            BilateralFilter filter;
            cv::Mat copy = plane.clone();
            ASSERT_TRUE(filter.setup(guide, copy.cols, copy.rows, sampling, 900, true));
            filter.gridInit(1e-20f, 0.0f);
            filter.buildGrid(copy, guide);
            EXPECT_TRUE(sameCells(naive.weights, filter.m_weights_p)) << threads << " threads";
            EXPECT_TRUE(samePixels(plane, copy)) << "the plane is only read";
            NaiveBilateral divided = naive;
            divided.divide();
            EXPECT_TRUE(sameCells(divided.values, filter.m_values_p)) << threads << " threads";
        });
    }
}

TEST(BilateralFilterTest, PlanesMayBePartsOfLargerOnes) {
    const cv::Mat plane = scene(77, 95, CV_16UC1, 0.1), guide = randomPlane(77, 95, CV_16UC1, 8);
    const cv::Mat expected = NaiveBilateral::filtered(plane, guide, 8, 5000);
    cv::Mat inOut = asSubPlane(plane);
    BilateralFilter filter;
    ASSERT_TRUE(filter.proc(asSubPlane(guide), inOut, 8, 5000, nullptr));
    EXPECT_TRUE(samePixels(expected, inOut));
    cv::Size whole;
    cv::Point offset;
    inOut.locateROI(whole, offset);
    const cv::Mat fresh = asSubPlane(plane);
    cv::Mat around = inOut, aroundFresh = fresh;
    around.adjustROI(offset.y, whole.height, offset.x, whole.width);
    aroundFresh.adjustROI(offset.y, whole.height, offset.x, whole.width);
    fresh.copyTo(inOut);
    EXPECT_TRUE(samePixels(aroundFresh, around)) << "the margin is only another plane's";
}

TEST(BilateralFilterTest, APlaneWithoutAnEdgePlaneGuidesItself) {
    for (int type : {CV_8UC1, CV_16UC1}) {
        const cv::Mat plane = scene(60, 83, type, 0.1);
        const int range = type == CV_8UC1 ? 12 : 3000;
        const cv::Mat expected = NaiveBilateral::filtered(plane, plane, 6, range);
        EXPECT_TRUE(samePixels(expected, filtered(plane, cv::Mat(), 6, range)));
        EXPECT_TRUE(samePixels(expected, filtered(plane, cv::Mat(0, 5, CV_32FC3), 6, range)));
        EXPECT_TRUE(samePixels(expected, filtered(plane, cv::Mat(0, 83, type, plane.data), 6, range)));
        cv::Mat inOut = plane.clone();
        BilateralFilter filter;
        ASSERT_TRUE(filter.proc(inOut, inOut, 6, range, nullptr));
        EXPECT_TRUE(samePixels(expected, inOut)) << "the plane given as its own edge";
    }
}

TEST(BilateralFilterTest, AnEdgePlaneThatLiesAcrossThePlaneIsReadBeforeItChanges) {
    const cv::Mat whole = scene(90, 70, CV_16UC1, 0.1);
    const cv::Range upper(0, 80), lower(7, 87);
    for (const auto& [planeRows, guideRows] : {std::pair(upper, lower), std::pair(lower, upper)}) {
        const cv::Mat expected =
            NaiveBilateral::filtered(whole.rowRange(planeRows), whole.rowRange(guideRows), 8, 4000);
        const cv::Mat copy = whole.clone();
        cv::Mat inOut = copy.rowRange(planeRows);
        BilateralFilter filter;
        ASSERT_TRUE(filter.proc(copy.rowRange(guideRows), inOut, 8, 4000, nullptr));
        EXPECT_TRUE(samePixels(expected, inOut));
    }
}

TEST(BilateralFilterTest, AnEdgePlaneOfOtherPixelsInTheSameRowsIsReadBeforeItChanges) {
    const cv::Mat plane = scene(50, 700, CV_16UC1, 0.1);
    const cv::Mat copy = plane.clone(), guide(copy.rows, copy.cols, CV_8UC1, copy.data, copy.step[0]);
    const cv::Mat expected = NaiveBilateral::filtered(plane, guide.clone(), 16, 25);
    cv::Mat inOut = copy;
    BilateralFilter filter;
    ASSERT_TRUE(filter.proc(guide, inOut, 16, 25, nullptr));
    EXPECT_TRUE(samePixels(expected, inOut));
}

TEST(BilateralFilterTest, DepthsInTheMiddleBetweenTwoCellsBelongToTheEvenOne) {
    // Guide values at multiples of half the range: every other one lies in the middle between two cells.
    for (const auto& [type, range] : {std::pair(CV_8UC1, 2), std::pair(CV_8UC1, 8), std::pair(CV_16UC1, 512)}) {
        for (int step : {1, 2, 4}) {
            cv::Mat guide(70, 130, type);
            for (int y = 0; y < guide.rows; ++y) {
                for (int x = 0; x < guide.cols; ++x) {
                    const int value = (x / 16 * step + (x + y) % (step + 1)) * (range / 2);
                    if (type == CV_8UC1)
                        guide.at<uchar>(y, x) = static_cast<uchar>(value);
                    else
                        guide.at<ushort>(y, x) = static_cast<ushort>(value);
                }
            }
            for (int sampling : {8, 16, 24}) expectFiltered(randomPlane(70, 130, CV_16UC1, 6), guide, sampling, range);
        }
    }
}

TEST(BilateralFilterTest, PlanesWithFewDepthsInACellAreFilteredLikeOthers) {
    for (int type : {CV_8UC1, CV_16UC1}) {
        const double top = type == CV_8UC1 ? 255 : 65535;
        for (int cols : {9, 16, 23, 31, 299}) {
            const cv::Mat plane = scene(61, cols, type, 0.01);
            for (int guideType : {CV_8UC1, CV_16UC1, CV_32FC1}) {
                cv::Mat guide;
                scene(61, cols, CV_16UC1, 0.03).convertTo(guide, guideType, guideType == CV_8UC1 ? 1 / 257.0 : 1);
                const double guideTop = guideType == CV_8UC1 ? 255 : 65535;
                for (int sampling : {8, 10, 16, 20, 64})
                    for (double range : {0.4, 0.1, 0.03}) {
                        expectFiltered(plane, guide, sampling, static_cast<int>(range * guideTop));
                        expectFiltered(plane, plane, sampling, static_cast<int>(range * top));
                    }
            }
        }
    }
}

TEST(BilateralFilterTest, AGuideMayBeOfAnyDepth) {
    const cv::Mat plane = scene(50, 61, CV_16UC1, 0.1);
    for (int depth : {CV_8S, CV_16S, CV_32S, CV_32F, CV_64F})
        expectFiltered(plane, randomPlane(50, 61, depth, -90.7, 110.9, 6), 5, 9);
    expectFiltered(plane, randomPlane(50, 61, CV_32F, 0.5, 20.7, 6), 5, 2);
    cv::Mat fractions(50, 61, CV_32FC1, cv::Scalar(0.9));
    fractions.colRange(30, 61) = 10.9f;  // the last cell of a value axis that begins at 0
    expectFiltered(plane, fractions, 5, 1);
}

TEST(BilateralFilterTest, GuideValuesThatAreNotNumbersDoNoHarm) {
    const cv::Mat plane = scene(50, 61, CV_16UC1, 0.1);
    cv::Mat guide = randomPlane(50, 61, CV_32FC1, 0, 100, 6);
    for (int y = 0; y < 50; y += 3) guide.at<float>(y, (7 * y) % 61) = std::numeric_limits<float>::quiet_NaN();
    const cv::Mat result = filtered(plane, guide, 5, 9);
    for (int y = 0; y < 50; y += 3) EXPECT_EQ(result.at<ushort>(y, (7 * y) % 61), 0);
    cv::Mat inOut = plane.clone();
    guide.setTo(std::numeric_limits<float>::quiet_NaN());
    EXPECT_FAILURE(BilateralFilter().proc(guide, inOut, 5, 9, nullptr),
                   "ERROR - bool BilateralFilter::proc - edge is not finite or beyond int");
    EXPECT_TRUE(samePixels(plane, inOut));
}

TEST(BilateralFilterTest, GuideValuesThatFloatsCannotTellApartStayInTheGrid) {
    for (int depth : {CV_32S, CV_32F, CV_64F}) {
        BilateralFilter filter;
        for (const cv::Size& size : {cv::Size(34, 19), cv::Size(80, 50)}) {  // new grids check the ends of the old ones
            const cv::Mat guide(size, CV_MAKETYPE(depth, 1), cv::Scalar(1617000001));
            cv::Mat plane(size, CV_16UC1, cv::Scalar(1000));
            EXPECT_NO_THROW(filter.proc(guide, plane, 13, 3, nullptr));
        }
    }
}

TEST(BilateralFilterTest, AConstantGuideUsesOneLayer) {
    const cv::Mat plane = scene(45, 70, CV_8UC1, 0.2), guide(45, 70, CV_16UC1, cv::Scalar(40000));
    BilateralFilter filter;
    cv::Mat inOut = plane.clone();
    ASSERT_TRUE(filter.setup(guide, 70, 45, 9, 100, false));
    EXPECT_EQ(filter.m_gridZ, 4);
    EXPECT_EQ(filter.m_min, 40000);
    ASSERT_TRUE(filter.proc(guide, inOut, 9, 100, nullptr));
    EXPECT_TRUE(samePixels(NaiveBilateral::filtered(plane, guide, 9, 100), inOut));
}

TEST(BilateralFilterTest, ADeepValueAxisIsCappedAndItsRangeOverridden) {
    cv::Mat plane = scene(40, 60, CV_16UC1, 0.3);
    plane.at<ushort>(0, 0) = 0;
    plane.at<ushort>(0, 1) = 65535;
    BilateralFilter filter;
    cv::Mat inOut = plane.clone();
    ASSERT_TRUE(filter.proc(cv::Mat(), inOut, 10, 1, nullptr));
    EXPECT_EQ(filter.m_gridZ, 252);
    EXPECT_EQ(filter.m_range, 264);
    EXPECT_TRUE(samePixels(NaiveBilateral::filtered(plane, plane, 10, 1), inOut));
}

TEST(BilateralFilterTest, AnOverriddenRangeThatIsTooSmallRunsIntoTheNextCell) {
    // 495 levels at range trunc(495 / 248) = 1: the upper levels take the last byte, 255, 3 beyond the last layer.
    const cv::Mat plane = scene(70, 90, CV_16UC1, 0.3);
    for (int top : {249, 255, 300, 495, 700}) {
        const cv::Mat guide = randomPlane(70, 90, CV_16UC1, 0, top, 7);
        NaiveBilateral naive(guide, 4, 1);
        ASSERT_EQ(naive.depth, 252);
        expectFiltered(plane, guide, 4, 1);
        expectFiltered(plane, guide, 30, 1);
    }
}

TEST(BilateralFilterTest, BlursALineWithTheDocumentedCoefficients) {
    // An impulse far from both ends: the line's mass stays, and its variance is sigma squared.
    std::vector<float> line(101, 0.0f);
    line[50] = 1.0f;
    BilateralFilter::iir(line.data(), 101, 1, 0.85f, 2);
    double sum = 0, variance = 0;
    for (int i = 0; i < 101; ++i) {
        sum += static_cast<double>(line[i]);
        variance += static_cast<double>(line[i]) * (i - 50) * (i - 50);
        EXPECT_NEAR(line[i], line[100 - i], 1e-7) << i;  // forth and back round in another order
    }
    EXPECT_NEAR(sum, 1.0, 1e-6);
    EXPECT_NEAR(variance, 0.85 * 0.85, 1e-6);

    // One element: boundary on both sides of two steps, then post, from the documented figures.
    float one = 1.0f;
    BilateralFilter::iir(&one, 1, 1, 0.85f, 2);
    EXPECT_NEAR(one, std::pow(1.15622020, 4) * 0.559548616, 1e-6);
}

TEST(BilateralFilterTest, BlursLinesOfAnyStrideAndNumberOfSteps) {
    for (int n : {1, 2, 3, 10, 57}) {
        for (int stride : {1, 3}) {
            for (int steps : {-3, -1, 1, 2, 3, 5, 8}) {
                for (float sigma : {0.3f, 0.85f, 4.0f}) {
                    const cv::Mat data = randomPlane(1, n * stride, CV_32FC1, 0, 100, 9);
                    cv::Mat expected = data.clone(), actual = data.clone();
                    const float lambda = static_cast<float>(static_cast<double>(sigma * sigma) / (steps * 2.0));
                    NaiveBilateral::blurLine(expected.ptr<float>(0), n, stride, lambda, steps);
                    BilateralFilter::iir(actual.ptr<float>(0), n, stride, sigma, steps);
                    // A negative lambda below -1/4 has no real root: NaN all over, whose sign is open.
                    if (steps < 0 && 4 * lambda + 1 < 0) {
                        for (int i = 0; i < n * stride; ++i)
                            EXPECT_EQ(std::isnan(actual.at<float>(0, i)), i % stride == 0);
                    } else {
                        EXPECT_TRUE(samePixels(expected, actual))
                            << n << " elements, stride " << stride << ", " << steps << " steps, sigma " << sigma;
                    }
                }
            }
        }
    }
    float untouched = 5.0f;
    BilateralFilter::iir(&untouched, 0, 1, 0.85f, 2);
    EXPECT_EQ(untouched, 5.0f);
}

TEST(BilateralFilterTest, ANegativeNumberOfStepsScalesByTheReciprocal) {
    const float sigma = 0.5f, lambda = -0.125f;  // 0.25 / -2
    const float nu = static_cast<float>((0.75 - std::sqrt(0.5)) / -0.25);
    float one = 1.0f;
    BilateralFilter::iir(&one, 1, 1, sigma, -1);
    EXPECT_EQ(one, 1.0f / (nu / lambda));
}

TEST(BilateralFilterTest, InterpolatesEightPointsAlongZThenXThenY) {
    const cv::Mat random = randomPlane(100, 11, CV_32FC1, 0, 1, 11);
    for (int i = 0; i < 100; ++i) {
        float p[8];
        std::memcpy(p, random.ptr<float>(i), sizeof p);
        const float u = random.at<float>(i, 8), v = random.at<float>(i, 9), w = random.at<float>(i, 10);
        float q[4];
        for (int k = 0; k < 4; ++k) q[k] = p[k] + (p[k + 4] - p[k]) * w;
        const float t0 = q[0] + (q[1] - q[0]) * u, t1 = q[2] + (q[3] - q[2]) * u;
        EXPECT_EQ(BilateralFilter::interp8Points(p, u, v, w), t0 + (t1 - t0) * v);
        EXPECT_EQ(std::memcmp(p, q, sizeof q), 0) << "the lower four are overwritten";
        EXPECT_EQ(std::memcmp(p + 4, random.ptr<float>(i) + 4, sizeof q), 0);
    }
}

}  // namespace
