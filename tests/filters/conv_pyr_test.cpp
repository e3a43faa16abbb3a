#include "kestrova/filters/conv_pyr.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

// ---- Reference: whole planes, every row and column and every zero

float at(const cv::Mat& m, int y, int x) {
    if (y < 0 || y >= m.rows || x < 0 || x >= m.cols) return 0;
    switch (m.depth()) {
        case CV_8U: return m.at<uchar>(y, x);
        case CV_16U: return m.at<ushort>(y, x);
        case CV_16S: return m.at<short>(y, x);
        default: return m.at<float>(y, x);
    }
}

cv::Mat filtered(const cv::Mat& in, const cv::Mat& kernel) {
    const int taps = static_cast<int>(kernel.total()), anchor = taps / 2;
    const float* k = kernel.ptr<float>();
    cv::Mat along(in.size(), CV_32FC1), out(in.size(), CV_32FC1);
    const auto filter = [&](cv::Mat& to, const auto& pixel) {
        for (int y = 0; y < in.rows; ++y) {
            for (int x = 0; x < in.cols; ++x) {
                float sum = 0;
                for (int i = 0; i < taps; ++i) sum += k[i] * pixel(y, x, i - anchor);
                to.at<float>(y, x) = sum;
            }
        }
    };
    filter(along, [&](int y, int x, int d) { return at(in, y, x + d); });
    filter(out, [&](int y, int x, int d) { return at(along, y + d, x); });
    return out;
}

cv::Mat filteredByOpenCV(const cv::Mat& in, const cv::Mat& kernel) {
    cv::Mat out;
    cv::sepFilter2D(in.clone(), out, CV_32F, kernel, kernel, {-1, -1}, 0, cv::BORDER_CONSTANT);
    return out;
}

using Filter = cv::Mat (*)(const cv::Mat&, const cv::Mat&);

cv::Mat decimated(const cv::Mat& m) {
    cv::Mat out(m.rows / 2 + m.rows % 2, m.cols / 2 + m.cols % 2, CV_32FC1);
    for (int y = 0; y < out.rows; ++y)
        for (int x = 0; x < out.cols; ++x) out.at<float>(y, x) = m.at<float>(2 * y, 2 * x);
    return out;
}

cv::Mat withZeros(const cv::Mat& low, cv::Size size) {
    cv::Mat out(size, CV_32FC1, cv::Scalar(0));
    for (int y = 0; y < low.rows; ++y)
        for (int x = 0; x < low.cols; ++x) out.at<float>(2 * y, 2 * x) = low.at<float>(y, x);
    return out;
}

struct Kernels {
    cv::Mat k1, k2, k3;
};

cv::Mat synthesised(const cv::Mat& low, const cv::Mat& src, const Kernels& k, Filter filter) {
    return filter(src, k.k3) + filter(withZeros(low, src.size()), k.k2);
}

cv::Mat reference(const cv::Mat& in, const Kernels& k, Filter filter = filtered) {
    int levels = 1;
    for (int m = std::max(in.rows, in.cols); m >= 2; m >>= 1) ++levels;
    std::vector<cv::Mat> down = {in};
    for (int l = 1; l < levels; ++l) down.push_back(decimated(filter(down.back(), k.k1)));
    cv::Mat up = filter(down.back(), k.k3);
    for (int l = levels - 1; l > 0; --l) up = synthesised(up, down[static_cast<std::size_t>(l - 1)], k, filter);
    return up;
}

cv::Mat kernel(const std::vector<float>& taps) { return cv::Mat(taps, true).reshape(1, 1); }

const Kernels kPaper = {kernel({0.1507f, 0.6836f, 1.0334f, 0.6836f, 0.1507f}),
                        kernel({0.004054f, 0.018389f, 0.027798f, 0.018389f, 0.004054f}),
                        kernel({0.0312f, 0.7753f, 0.0312f})};
const Kernels kUneven = {kernel({0.3f, -0.7f, 1.1f, 0.2f, -0.4f, 0.5f, 0.13f}), kernel({0.9f, -0.3f, 0.21f, 0.6f}),
                         kernel({-0.25f, 0.8f, 0.33f, 0.1f, 0.77f, -0.6f, 0.4f, 0.05f, 0.3f, -0.1f, 0.02f})};
const Kernels kSingle = {kernel({0.7f}), kernel({1.3f}), kernel({-0.6f})};
const Kernels kPairs = {kernel({0.5f, 0.6f}), kernel({0.4f, 0.7f}), kernel({0.2f, 0.9f})};

ConvPyr pyramid(const Kernels& k) { return {k.k1, k.k2, k.k3}; }

cv::Mat processed(const cv::Mat& in, const Kernels& k) {
    cv::Mat out;
    EXPECT_TRUE(pyramid(k).proc(in, out));
    return out;
}

// ---- Results

TEST(ConvPyrTest, RunsThePyramidOnEveryDepthAndSize) {
    for (int type : {CV_8UC1, CV_16UC1, CV_16SC1, CV_32FC1}) {
        for (const cv::Size& size : testSizes()) {
            const cv::Mat in = randomPlane(size.height, size.width, type);
            EXPECT_TRUE(samePixels(reference(in, kPaper), processed(in, kPaper))) << size << type;
        }
    }
}

TEST(ConvPyrTest, TakesKernelsOfAnyLength) {
    for (const Kernels& k : {kUneven, kSingle, kPairs, Kernels{kPairs.k1, kUneven.k3, kSingle.k1}}) {
        for (const cv::Size& size :
             {cv::Size(1, 1), cv::Size(2, 1), cv::Size(5, 7), cv::Size(33, 18), cv::Size(64, 64)}) {
            const cv::Mat in = randomPlane(size.height, size.width, CV_32FC1);
            EXPECT_TRUE(samePixels(reference(in, k), processed(in, k))) << size;
        }
    }
}

TEST(ConvPyrTest, TakesAKernelLongerThanThePlane) {
    const Kernels k = {randomPlane(1, 40, CV_32FC1, -1, 1), randomPlane(1, 31, CV_32FC1, -1, 1, 2),
                       randomPlane(1, 25, CV_32FC1, -1, 1, 3)};
    const cv::Mat in = randomPlane(6, 9, CV_32FC1);
    EXPECT_TRUE(samePixels(reference(in, k), processed(in, k)));
}

// Sums of small binary fractions are exact, in any order.
TEST(ConvPyrTest, FiltersAsSepFilter2DDoes) {
    const Kernels k = {kernel({0.25f, 0.5f, -0.25f}), kernel({0.5f, 0.25f, -0.5f, 1.0f}), kernel({-0.5f, 1.0f, 0.25f})};
    for (const cv::Size& size : {cv::Size(5, 5), cv::Size(16, 9), cv::Size(3, 30)}) {
        const cv::Mat in = randomPlane(size.height, size.width, CV_8UC1);
        cv::Mat low = randomPlane((size.height + 1) / 2, (size.width + 1) / 2, CV_8UC1, 2), up, down;
        low.convertTo(low, CV_32F);
        ConvPyr pyr = pyramid(k);
        pyr.pyrDown(in, down);
        pyr.pyrUp(low, in, up);
        EXPECT_TRUE(samePixels(decimated(filteredByOpenCV(in, k.k1)), down));
        EXPECT_TRUE(samePixels(synthesised(low, in, k, filteredByOpenCV), up));
    }
}

// OpenCV's sums of other fractions have an order and a fusing of their own on each processor: of the size of the sums
// remain some roundings for each level.
TEST(ConvPyrTest, StaysWithinRoundingsOfSepFilter2D) {
    const cv::Mat in = randomPlane(97, 131, CV_32FC1, 0, 1);
    const cv::Mat expected = reference(in, kPaper, filteredByOpenCV);
    double most = 0;
    cv::minMaxIdx(cv::abs(expected), nullptr, &most);
    EXPECT_TRUE(closePixels(expected, processed(in, kPaper), 30 * 0x1p-24 * most));
}

TEST(ConvPyrTest, BeginsItsSumsAtPositiveZero) {
    const cv::Mat in(12, 12, CV_32FC1, cv::Scalar(-0.0)), zeros = cv::Mat::zeros(6, 6, CV_32FC1);
    cv::Mat half;
    pyramid(kPaper).pyrDown(in, half);
    ASSERT_TRUE(std::signbit(in.at<float>(6, 6)));
    EXPECT_TRUE(samePixels(zeros, half));
}

// Where a pixel is infinite or none is left to the order of sums, so the pattern of numbers alone is compared.
TEST(ConvPyrTest, SpreadsCoefficientsThatAreNotFiniteAsSepFilter2DDoes) {
    const cv::Mat in = randomPlane(9, 11, CV_32FC1, 1, 2), low = randomPlane(5, 6, CV_32FC1, 1, 2);
    const auto numbers = [](const cv::Mat& m) { return cv::Mat(m == m); };
    for (float bad : {NAN, INFINITY}) {
        for (int at : {0, 1, 2, 3}) {
            cv::Mat taps = kernel({0.5f, 0.25f, 0.125f, 1.0f});
            taps.at<float>(at) = bad;
            for (const Kernels& k : {Kernels{taps, taps, taps}, Kernels{taps, taps, kSingle.k1}}) {
                cv::Mat down, up;
                pyramid(k).pyrDown(in, down);
                pyramid(k).pyrUp(low, in, up);
                EXPECT_TRUE(samePixels(numbers(decimated(filteredByOpenCV(in, k.k1))), numbers(down))) << bad << at;
                EXPECT_TRUE(samePixels(numbers(synthesised(low, in, k, filteredByOpenCV)), numbers(up))) << bad << at;
            }
        }
    }
}

TEST(ConvPyrTest, FiltersASinglePixelOnceWithTheThirdKernel) {
    const cv::Mat in(1, 1, CV_32FC1, cv::Scalar(3));
    EXPECT_EQ(processed(in, kPaper).at<float>(0, 0), 0.7753f * (0.7753f * 3.0f));
}

TEST(ConvPyrTest, ReadsKernelsAsRowsOrColumnsOfAnyDepth) {
    const cv::Mat in = randomPlane(20, 30, CV_32FC1);
    const cv::Mat expected = processed(in, kPaper);
    cv::Mat k1, wide(3, 7, CV_32FC1, cv::Scalar(9));
    kPaper.k1.convertTo(k1, CV_64F);
    cv::Mat k3 = wide.col(4);
    cv::Mat(kPaper.k3.t()).copyTo(k3);
    EXPECT_TRUE(samePixels(expected, processed(in, {k1, kPaper.k2.t(), k3})));
}

TEST(ConvPyrTest, HasZeroOutsideThePlaneGivenAlsoWithinALargerOne) {
    const cv::Mat in = randomPlane(40, 50, CV_16UC1);
    EXPECT_TRUE(samePixels(processed(in, kPaper), processed(asSubPlane(in), kPaper)));
    cv::Mat larger(60, 70, CV_32FC1, cv::Scalar(-5)), out = larger(cv::Rect(7, 9, 50, 40));
    pyramid(kPaper).proc(asSubPlane(in), out);
    EXPECT_TRUE(samePixels(processed(in, kPaper), larger(cv::Rect(7, 9, 50, 40))));
    EXPECT_EQ(cv::countNonZero(larger != -5.0f), cv::countNonZero(out != -5.0f)) << "wrote beside the plane";
}

TEST(ConvPyrTest, GivesTheSameBitsWithAnyNumberOfThreads) {
    const cv::Mat in = randomPlane(301, 403, CV_32FC1);
    for (const Kernels& k : {kPaper, kUneven, kSingle}) {
        const cv::Mat expected = reference(in, k);
        withThreadCounts([&](int threads) { EXPECT_TRUE(samePixels(expected, processed(in, k))) << threads; });
    }
}

// ---- Purpose

// The method approximates: what is left of the difference stays below a tenth of the picture's contrast.
TEST(ConvPyrTest, RecoversAPictureFromItsLaplacian) {
    cv::Mat picture(256, 256, CV_32FC1, cv::Scalar(0)), shapes = picture(cv::Rect(32, 32, 192, 192)), laplacian;
    cv::GaussianBlur(randomPlane(192, 192, CV_32FC1, 0, 8), shapes, {}, 3);
    cv::circle(shapes, {90, 90}, 40, 6.0, cv::FILLED);
    const cv::Mat cross = (cv::Mat_<float>(3, 3) << 0, -1, 0, -1, 4, -1, 0, -1, 0);
    cv::filter2D(picture, laplacian, CV_32F, cross, {-1, -1}, 0, cv::BORDER_CONSTANT);
    const cv::Mat k = kernel({0.15f, 0.5f, 0.7f, 0.5f, 0.15f});
    const cv::Mat recovered = processed(laplacian, {k, k, kernel({0.175f, 0.547f, 0.175f})});
    cv::Scalar constant, error, contrast;
    cv::meanStdDev(recovered - picture, constant, error);
    cv::meanStdDev(picture, constant, contrast);
    EXPECT_LT(error[0], 0.1 * contrast[0]);
}

TEST(ConvPyrTest, SpreadsScatteredValuesSmoothly) {
    cv::Mat values = cv::Mat::zeros(128, 128, CV_32FC1), places = values.clone();
    for (int y = 8; y < 128; y += 16) {
        for (int x = 8; x < 128; x += 16) {
            values.at<float>(y, x) = static_cast<float>(1 + x);
            places.at<float>(y, x) = 1;
        }
    }
    const cv::Mat spread = processed(values, kPaper) / processed(places, kPaper);
    for (int y = 24; y < 104; ++y)
        for (int x = 24; x < 104; ++x) ASSERT_NEAR(spread.at<float>(y, x), 1 + x, 9) << x << ", " << y;
}

// ---- Levels

TEST(ConvPyrTest, HalvesRoundedUpAndKeepsTheEvenRowsAndColumns) {
    ConvPyr pyr = pyramid(kPaper);
    cv::Mat plane = randomPlane(3, 1000, CV_16UC1);
    for (const auto& [rows, cols] : std::vector<std::pair<int, int>>{
             {2, 500}, {1, 250}, {1, 125}, {1, 63}, {1, 32}, {1, 16}, {1, 8}, {1, 4}, {1, 2}, {1, 1}, {1, 1}}) {
        const cv::Mat expected = decimated(filtered(plane, kPaper.k1));
        cv::Mat half;
        EXPECT_TRUE(pyr.pyrDown(plane, half));
        EXPECT_EQ(half.size(), cv::Size(cols, rows));
        EXPECT_TRUE(samePixels(expected, half));
        plane = half;
    }
}

TEST(ConvPyrTest, ReachesTheLastRowAndColumnOfAnOddPlane) {
    const Kernels identity = {kSingle.k1, kernel({1}), kernel({0})};
    const cv::Mat low = randomPlane(3, 3, CV_32FC1), src(5, 5, CV_32FC1, cv::Scalar(7));
    cv::Mat up;
    pyramid(identity).pyrUp(low, src, up);
    EXPECT_TRUE(samePixels(withZeros(low, {5, 5}), up));
    EXPECT_EQ(up.at<float>(4, 4), low.at<float>(2, 2));
}

TEST(ConvPyrTest, AddsTheFilteredLevelToTheFilteredEnlargement) {
    for (const cv::Size& size : testSizes()) {
        const cv::Mat src = randomPlane(size.height, size.width, CV_8UC1);
        const cv::Mat low = randomPlane((size.height + 1) / 2, (size.width + 1) / 2, CV_32FC1);
        cv::Mat up;
        EXPECT_TRUE(pyramid(kPaper).pyrUp(low, asSubPlane(src), up));
        EXPECT_TRUE(samePixels(synthesised(low, src, kPaper, filtered), up)) << size;
    }
}

TEST(ConvPyrTest, CountsItsDepthAndComesBack) {
    ConvPyr pyr = pyramid(kPaper);
    EXPECT_EQ(pyr.m_level, 0);
    cv::Mat half, out;
    pyr.pyrDown(randomPlane(8, 8, CV_32FC1), half);
    EXPECT_EQ(pyr.m_level, 1);
    pyr.proc(randomPlane(8, 8, CV_32FC1), out);
    EXPECT_EQ(pyr.m_level, 1);
    pyr.pyrUp(half, randomPlane(8, 8, CV_32FC1), out);
    EXPECT_EQ(pyr.m_level, 0);
}

// ---- Planes

TEST(ConvPyrTest, WritesIntoAPlaneThatFitsAndReplacesOneThatDoesNot) {
    const cv::Mat in = randomPlane(9, 12, CV_8UC1);
    cv::Mat fits(9, 12, CV_32FC1), other(9, 12, CV_64FC1);
    const uchar* before = fits.data;
    pyramid(kPaper).proc(in, fits);
    pyramid(kPaper).proc(in, other);
    EXPECT_EQ(fits.data, before);
    EXPECT_TRUE(samePixels(reference(in, kPaper), fits));
    EXPECT_TRUE(samePixels(fits, other));
}

TEST(ConvPyrTest, MayWriteOverItsInput) {
    for (int type : {CV_8UC1, CV_32FC1}) {
        for (int side : {1, 40}) {
            const cv::Mat in = randomPlane(side, side, type), expected = reference(in, kPaper);
            cv::Mat same = in.clone();
            pyramid(kPaper).proc(same, same);
            EXPECT_TRUE(samePixels(expected, same));
        }
    }
    const cv::Mat in = randomPlane(20, 30, CV_32FC1), low = randomPlane(10, 15, CV_32FC1);
    cv::Mat larger(24, 30, CV_32FC1), shifted = larger.rowRange(4, 24);
    in.copyTo(larger.rowRange(0, 20));
    pyramid(kPaper).proc(larger.rowRange(0, 20), shifted);
    EXPECT_TRUE(samePixels(reference(in, kPaper), larger.rowRange(4, 24)));
    cv::Mat down = in.clone(), up = in.clone(), fromLow = low.clone();
    pyramid(kPaper).pyrDown(down, down);
    pyramid(kPaper).pyrUp(low, up, up);
    pyramid(kPaper).pyrUp(fromLow, in, fromLow);
    EXPECT_TRUE(samePixels(decimated(filtered(in, kPaper.k1)), down));
    EXPECT_TRUE(samePixels(synthesised(low, in, kPaper, filtered), up));
    EXPECT_TRUE(samePixels(up, fromLow));
    const cv::Mat bytes = randomPlane(20, 30, CV_8UC1);
    cv::Mat fromBytes = bytes.clone();
    pyramid(kPaper).pyrUp(low, fromBytes, fromBytes);
    EXPECT_TRUE(samePixels(synthesised(low, bytes, kPaper, filtered), fromBytes));
}

TEST(ConvPyrTest, MayWriteOverRowsThatItStillReads) {
    const cv::Mat in = randomPlane(20, 30, CV_32FC1), low = randomPlane(10, 15, CV_32FC1);
    const cv::Mat half = decimated(filtered(in, kPaper.k1)), up = synthesised(low, in, kPaper, filtered);
    const cv::Rect corner(15, 10, 15, 10);
    cv::Mat whole = in.clone(), part = whole(corner);
    pyramid(kPaper).pyrDown(whole, part);
    EXPECT_TRUE(samePixels(half, whole(corner)));
    part = whole(cv::Rect({}, low.size()));
    low.copyTo(part);
    pyramid(kPaper).pyrUp(part, in, whole);
    EXPECT_TRUE(samePixels(up, whole));
    cv::Mat larger(24, 30, CV_32FC1), shifted = larger.rowRange(4, 24);
    in.copyTo(larger.rowRange(0, 20));
    pyramid(kPaper).pyrUp(low, larger.rowRange(0, 20), shifted);
    EXPECT_TRUE(samePixels(up, larger.rowRange(4, 24)));
}

TEST(ConvPyrTest, SharesKernelsWithTheCallerAndWithCopies) {
    const Kernels k = {kPaper.k1.clone(), kPaper.k2.clone(), kPaper.k3.clone()};
    ConvPyr pyr = pyramid(k);
    pyr.m_level = 3;
    const ConvPyr copy(pyr);
    ConvPyr assigned = pyramid(kUneven);
    assigned = pyr;
    for (const ConvPyr* p : {&std::as_const(pyr), &copy, &std::as_const(assigned)}) {
        EXPECT_EQ(p->m_k1.data, k.k1.data);
        EXPECT_EQ(p->m_k2.data, k.k2.data);
        EXPECT_EQ(p->m_k3.data, k.k3.data);
        EXPECT_EQ(p->m_level, 3);
    }
}

// ---- Failures

TEST(ConvPyrTest, ThrowsWhatSepFilter2DThrowsBeforeAnythingIsWritten) {
    const cv::Mat in = randomPlane(8, 8, CV_32FC1), two(3, 3, CV_32FC1, cv::Scalar(1)), none;
    cv::Mat out(3, 5, CV_8UC1, cv::Scalar(5));  // one that a result would replace
    const cv::Mat before = out.clone();
    const cv::Mat low = randomPlane(4, 4, CV_32FC1);
    for (const cv::Mat& bad : {none, two, cv::Mat(1, 3, CV_32FC2, cv::Scalar(1))}) {
        ConvPyr first(bad, kPaper.k2, kPaper.k3), second(kPaper.k1, bad, kPaper.k3), third(kPaper.k1, kPaper.k2, bad);
        for (ConvPyr* pyr : {&first, &second, &third}) {
            EXPECT_THROW(pyr->proc(in, out), cv::Exception);
            EXPECT_EQ(pyr->m_level, 0);
        }
        EXPECT_THROW(first.pyrDown(in, out), cv::Exception);
        EXPECT_THROW(second.pyrUp(low, in, out), cv::Exception);
        EXPECT_THROW(third.pyrUp(low, in, out), cv::Exception);
    }
    for (int type : {CV_8SC1, CV_32SC1, CV_64FC1})
        EXPECT_THROW(pyramid(kPaper).proc(randomPlane(8, 8, type), out), cv::Exception);
    EXPECT_THROW(pyramid(kPaper).proc(none, out), cv::Exception);
    EXPECT_TRUE(samePixels(before, out));
}

TEST(ConvPyrTest, NeedsNoPyramidKernelsForASinglePixel) {
    const cv::Mat in(1, 1, CV_8UC1, cv::Scalar(4)), none;
    EXPECT_TRUE(samePixels(filtered(in, kPaper.k3), processed(in, {none, none, kPaper.k3})));
}

TEST(ConvPyrTest, RefusesPlanesOfSeveralChannelsAndLevelsThatDoNotFit) {
    cv::Mat out;
    const cv::Mat two(8, 8, CV_32FC2, cv::Scalar(1)), src = randomPlane(8, 7, CV_32FC1);
    EXPECT_FAILURE(pyramid(kPaper).proc(two, out), "ERROR - ConvPyr::proc - in.channels() != 1");
    EXPECT_FAILURE(pyramid(kPaper).pyrDown(two, out), "ERROR - ConvPyr::pyrDown - src.channels() != 1");
    EXPECT_FAILURE(pyramid(kPaper).pyrUp(src, two, out), "ERROR - ConvPyr::pyrUp - src.channels() != 1");
    for (const cv::Mat& low : {randomPlane(4, 3, CV_32FC1), randomPlane(5, 4, CV_32FC1), randomPlane(4, 4, CV_8UC1)}) {
        EXPECT_FAILURE(pyramid(kPaper).pyrUp(low, src, out),
                       "ERROR - ConvPyr::pyrUp - low is not CV_32FC1 of half the size of src");
    }
    EXPECT_TRUE(out.empty());
}

}  // namespace
