#include "kestrova/filters/local_laplacian.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "tests/filters/local_laplacian_reference.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

constexpr int kForms[] = {10, 16, 24};

bool proc(LocalLaplacian& filter, int k, const cv::Mat& in, cv::Mat& out, float alpha, float blur, int levels) {
    if (k == 10) return filter.proc10K(in, out, alpha, blur, levels);
    if (k == 16) return filter.proc16K(in, out, alpha, blur, levels);
    return filter.proc24K(in, out, alpha, blur, levels);
}

cv::Mat filtered(int k, const cv::Mat& in, float alpha, float blur, int levels) {
    static LocalLaplacian filter;  // which keeps its table while the parameters stay
    cv::Mat out;
    EXPECT_TRUE(proc(filter, k, in, out, alpha, blur, levels));
    return out;
}

std::string nameOf(int k, cv::Size size, int levels) {
    return std::to_string(k) + " references, " + std::to_string(size.width) + "x" + std::to_string(size.height) + ", " +
           std::to_string(levels) + " levels";
}

/// Soft shading with an edge and a texture.
cv::Mat picture(int rows, int cols) {
    cv::Mat plane(rows, cols, CV_16UC1);
    for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < cols; ++x) {
            const double shade = 20000 + 12000 * std::sin(0.03 * x + 0.02 * y);
            const double shape = 3 * x + y > 2 * cols ? 26000 : 0;
            plane.at<ushort>(y, x) = static_cast<ushort>(shade + shape + 900 * std::sin(1.7 * x) * std::cos(1.3 * y));
        }
    }
    return plane;
}

}  // namespace

TEST(LocalLaplacian, EqualsItsDefinitionAtAllSizesInAllForms) {
    for (cv::Size size : testSizes()) {
        const cv::Mat in = randomPlane(size.height, size.width, CV_16UC1);
        for (int k : kForms) {
            for (int levels : {1, 2, 4})
                EXPECT_TRUE(
                    samePixels(expectedLaplacian(k, in, 0.15f, 0.3f, levels), filtered(k, in, 0.15f, 0.3f, levels)))
                    << nameOf(k, size, levels);
        }
    }
}

TEST(LocalLaplacian, EqualsItsDefinitionAtEveryHeightAndWidthOfAFewPixels) {
    for (int rows = 1; rows <= 9; ++rows) {
        for (int cols : {1, 2, 3, 4, 5, 6, 7, 8, 9, 13, 18}) {
            const cv::Mat in = randomPlane(rows, cols, CV_16UC1, rows * 31 + cols);
            EXPECT_TRUE(samePixels(expectedLaplacian(10, in, -0.4f, 0.1f, 3), filtered(10, in, -0.4f, 0.1f, 3)))
                << cols << "x" << rows;
        }
    }
}

TEST(LocalLaplacian, EqualsItsDefinitionOnPicturesForAllSignsAndBlurs) {
    const cv::Mat in = picture(61, 83);
    for (int k : kForms) {
        for (float alpha : {-0.9f, -0.3f, -0.01f, 0.0f, 0.05f, 0.5f, 0.95f}) {
            for (float blur : {0.0f, 0.3f, 1.0f})
                EXPECT_TRUE(samePixels(expectedLaplacian(k, in, alpha, blur, 5), filtered(k, in, alpha, blur, 5)))
                    << k << " references, alpha " << alpha << ", blur " << blur;
        }
    }
}

TEST(LocalLaplacian, EqualsItsDefinitionAcrossTheTilesOfWidePlanes) {
    for (int cols : {127, 128, 129, 130, 131, 259, 1023, 1024, 1025, 1026, 1027, 2050}) {
        const cv::Mat in = randomPlane(11, cols, CV_16UC1, cols);
        for (int k : kForms)
            EXPECT_TRUE(samePixels(expectedLaplacian(k, in, 0.2f, 0.3f, 3), filtered(k, in, 0.2f, 0.3f, 3)))
                << nameOf(k, in.size(), 3);
    }
}

TEST(LocalLaplacian, ThreadsChangeNoBit) {
    const cv::Mat in = randomPlane(131, 309, CV_16UC1);
    for (int k : kForms) {
        const cv::Mat expected = expectedLaplacian(k, in, 0.3f, 0.3f, 4);
        withThreadCounts(
            [&](int threads) { EXPECT_TRUE(samePixels(expected, filtered(k, in, 0.3f, 0.3f, 4))) << threads; });
    }
}

TEST(LocalLaplacian, ReadsSubPlanesAsPlanesOfTheirOwn) {
    for (cv::Size size : {cv::Size(1, 1), {13, 1}, {1, 13}, {47, 33}, {64, 48}}) {
        const cv::Mat in = randomPlane(size.height, size.width, CV_16UC1, 5);
        for (int levels : {1, 3})
            EXPECT_TRUE(samePixels(expectedLaplacian(10, in, 0.3f, 0.3f, levels),
                                   filtered(10, asSubPlane(in), 0.3f, 0.3f, levels)))
                << nameOf(10, size, levels);
    }
}

TEST(LocalLaplacian, WritesIntoAPlaneOfTheRightSizeAndReplacesOthers) {
    const cv::Mat in = randomPlane(20, 31, CV_16UC1);
    const cv::Mat expected = expectedLaplacian(10, in, 0.3f, 0.3f, 3);
    LocalLaplacian filter;

    cv::Mat around = randomPlane(30, 50, CV_16UC1, 9);
    const cv::Mat before = around.clone();
    cv::Mat out = around(cv::Rect(7, 4, 31, 20));
    const uchar* const data = out.data;
    filter.proc10K(in, out, 0.3f, 0.3f, 3);
    EXPECT_EQ(out.data, data);
    EXPECT_TRUE(samePixels(expected, out));
    before(cv::Rect(7, 4, 31, 20)).copyTo(around(cv::Rect(7, 4, 31, 20)));
    EXPECT_TRUE(samePixels(before, around));

    for (cv::Mat other : {cv::Mat(), cv::Mat(20, 31, CV_8UC1), cv::Mat(19, 31, CV_16UC1), cv::Mat(3, 4, CV_32FC3)}) {
        filter.proc10K(in, other, 0.3f, 0.3f, 3);
        EXPECT_TRUE(samePixels(expected, other));
    }
}

TEST(LocalLaplacian, GivesPixelsToAPlaneOfTheRightSizeThatOnceGotNoMemory) {
    const cv::Mat in = randomPlane(20, 31, CV_16UC1);
    cv::Mat out(20, 31, CV_16UC1);
    out.data = nullptr;
    LocalLaplacian().proc10K(in, out, 0.3f, 0.3f, 3);
    EXPECT_TRUE(samePixels(expectedLaplacian(10, in, 0.3f, 0.3f, 3), out));
}

TEST(LocalLaplacian, FiltersInPlace) {
    for (int levels : {1, 2, 4}) {
        cv::Mat plane = randomPlane(50, 71, CV_16UC1);
        const cv::Mat expected = expectedLaplacian(16, plane, 0.3f, 0.3f, levels);
        LocalLaplacian filter;
        filter.proc16K(plane, plane, 0.3f, 0.3f, levels);
        EXPECT_TRUE(samePixels(expected, plane)) << levels;
    }
}

TEST(LocalLaplacian, FiltersIntoAPlaneThatOverlapsItsSource) {
    for (cv::Point shift : {cv::Point(0, 1), {1, 0}, {3, 5}}) {
        cv::Mat around = randomPlane(60, 90, CV_16UC1, 2);
        const cv::Mat in = around(cv::Rect(10, 10, 60, 40));
        cv::Mat out = around(cv::Rect(10 + shift.x, 10 + shift.y, 60, 40));
        const cv::Mat expected = expectedLaplacian(10, in, 0.3f, 0.3f, 2);
        LocalLaplacian filter;
        filter.proc10K(in, out, 0.3f, 0.3f, 2);
        EXPECT_TRUE(samePixels(expected, out)) << shift;
    }
}

TEST(LocalLaplacian, OneLevelInterpolatesTheRemappedPictureAlone) {
    // Table of alpha 0.5 without blur: differences of up to 16384 from a reference are flattened onto it.
    cv::Mat_<ushort> in(1, 3);
    in << 6553, 2 * 6553, 6553 + 1000;
    const cv::Mat out = filtered(10, in, 0.5f, 0.0f, 1);
    EXPECT_NEAR(out.at<ushort>(0, 0), 6553, 1);
    EXPECT_NEAR(out.at<ushort>(0, 1), 2 * 6553, 1);
    // Of 7553 the references at 6553 and 13106 leave themselves, weighted by distance: the value itself again.
    EXPECT_NEAR(out.at<ushort>(0, 2), 7553, 1);
}

TEST(LocalLaplacian, ManyLevelsBeyondASinglePixelEqualTheDefinition) {
    for (cv::Size size : {cv::Size(1, 1), {2, 1}, {1, 3}, {5, 4}}) {
        for (int levels : {2, 5, 40}) {
            for (std::uint32_t seed = 1; seed < 6; ++seed) {
                const cv::Mat in = randomPlane(size.height, size.width, CV_16UC1, seed);
                for (int k : kForms)
                    EXPECT_TRUE(
                        samePixels(expectedLaplacian(k, in, 0.3f, 0.3f, levels), filtered(k, in, 0.3f, 0.3f, levels)))
                        << nameOf(k, size, levels);
            }
        }
    }
}

TEST(LocalLaplacian, LevelsBeyondASinglePixelTakeAwayWhatInterpolationTruncates) {
    for (int k : kForms) {
        for (int first : {0, 768, 65436}) {
            for (int value = first; value < first + 100; ++value) {
                const cv::Mat in(1, 1, CV_16UC1, cv::Scalar(value));
                for (int levels : {2, 40})
                    ASSERT_TRUE(
                        samePixels(expectedLaplacian(k, in, 0.3f, 0.3f, levels), filtered(k, in, 0.3f, 0.3f, levels)))
                        << value << ", " << nameOf(k, in.size(), levels);
            }
        }
    }
}

TEST(LocalLaplacian, AnyNumberOfLevelsEnds) {
    const cv::Mat in = randomPlane(3, 4, CV_16UC1);
    EXPECT_EQ(filtered(10, in, 0.3f, 0.3f, 2147483647).size(), in.size());
}

TEST(LocalLaplacian, BlackAndWhiteEqualTheDefinition) {
    for (int value : {0, 1, 32767, 32768, 58977, 65533, 65534, 65535}) {
        const cv::Mat in(9, 14, CV_16UC1, cv::Scalar(value));
        for (int k : kForms) {
            for (int levels : {1, 3})
                EXPECT_TRUE(
                    samePixels(expectedLaplacian(k, in, 0.2f, 0.3f, levels), filtered(k, in, 0.2f, 0.3f, levels)))
                    << value << ", " << nameOf(k, in.size(), levels);
        }
    }
}

TEST(LocalLaplacian, ValuesAboveTheTopReferenceAreExtrapolatedWithoutAClamp) {
    // alpha -0.1 without blur doubles differences of up to 3276, and fades to twice that size, 6553. 65535 lies further
    // above both references: both channels hold 65535, and so does the extrapolation.
    const cv::Mat white(1, 1, CV_16UC1, cv::Scalar(65535));
    EXPECT_NEAR(filtered(10, white, -0.1f, 0.0f, 1).at<ushort>(0, 0), 65535, 1);

    // alpha 0.2 without blur: A = 6553, h = 3276. Channel 9 (58977): half difference 3279, 3 beyond h on the fading
    // line, offset about -2 * (3276 - 3) = -6546. Channel 8 (52424): half difference 6555.5 is beyond A, no offset.
    const int channel8 = 65535, channel9 = 65535 - 2 * 3273;
    const float f = 65535 * 0.00015260186f - 8;
    const float value = (1 - f) * channel8 + f * channel9;
    EXPECT_NEAR(filtered(10, white, 0.2f, 0.0f, 1).at<ushort>(0, 0), value, 8);
}

TEST(LocalLaplacian, ExtrapolatedValuesBeyond16BitsAreCut) {
    // alpha -0.125 without blur doubles differences of up to 4096. 63000 lies 4023 above the reference of channel 9,
    // which clamps at 65535, and too far above that of channel 8 to change there.
    const float part = 63000 * 0.00015260186f - 8.0f;
    const int whole = static_cast<int>((1.0f - part) * 63000 + part * 65535);
    ASSERT_GT(whole, 65535);
    const cv::Mat in(1, 1, CV_16UC1, cv::Scalar(63000));
    EXPECT_EQ(filtered(10, in, -0.125f, 0.0f, 1).at<ushort>(0, 0), whole - 65536);
}

TEST(LocalLaplacian, AlphaZeroChangesNothingButRoundings) {
    // Sides that stay even: cv::pyrUp makes the last of an odd number of rows by taps that depend on the channels.
    const cv::Mat in = picture(96, 128);
    for (int k : kForms) {
        for (int levels : {1, 4, 6})
            EXPECT_TRUE(closePixels(in, filtered(k, in, 0.0f, 0.3f, levels), levels)) << nameOf(k, in.size(), levels);
    }
}

TEST(LocalLaplacian, PositiveAlphaSoftensAndNegativeAlphaBoostsDetailButNotEdges) {
    cv::Mat in(64, 128, CV_16UC1);
    for (int y = 0; y < in.rows; ++y) {
        for (int x = 0; x < in.cols; ++x)
            in.at<ushort>(y, x) = static_cast<ushort>((x < 64 ? 15000 : 45000) + ((x / 2 + y / 2) % 2 ? 500 : -500));
    }
    const auto detail = [](const cv::Mat& plane) {
        cv::Scalar mean, deviation;
        cv::meanStdDev(plane(cv::Rect(12, 12, 40, 40)), mean, deviation);
        return deviation[0];
    };
    const auto edge = [](const cv::Mat& plane) {
        return cv::mean(plane(cv::Rect(76, 12, 40, 40)))[0] - cv::mean(plane(cv::Rect(12, 12, 40, 40)))[0];
    };
    for (int k : kForms) {
        const cv::Mat soft = filtered(k, in, 0.3f, 0.1f, 4), strong = filtered(k, in, -0.3f, 0.1f, 4);
        EXPECT_LT(detail(soft), 0.4 * detail(in)) << k;
        EXPECT_GT(detail(strong), 1.6 * detail(in)) << k;
        EXPECT_NEAR(edge(soft), 30000, 1500) << k;
        EXPECT_NEAR(edge(strong), 30000, 1500) << k;
    }
}
