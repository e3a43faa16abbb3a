#include "kestrova/rows/box_mirrored.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "kestrova/frame/plane_checks.h"
#include "tests/support/planes.h"
#include "tests/support/rooms.h"
#include "tests/support/threads.h"

namespace {

// Reflection pixel by pixel, as often as it takes.
int mirrored(int i, int n) {
    while (i < 0 || i >= n) {
        if (n == 1) return 0;
        i = i < 0 ? -i : 2 * (n - 1) - i;
    }
    return i;
}

template <class Element>
cv::Mat means(const cv::Mat& src, int radius) {
    cv::Mat dst(src.size(), src.type());
    const std::uint64_t side = 2 * radius + 1, area = side * side;
    for (int y = 0; y < src.rows; ++y) {
        for (int x = 0; x < src.cols; ++x) {
            std::uint64_t sum = 0;
            for (int i = -radius; i <= radius; ++i)
                for (int j = -radius; j <= radius; ++j)
                    sum += src.at<Element>(mirrored(y + i, src.rows), mirrored(x + j, src.cols));
            dst.at<Element>(y, x) = static_cast<Element>((2 * sum + area) / (2 * area));
        }
    }
    return dst;
}

template <class Element>
cv::Mat filtered(const cv::Mat& src, int radius) {
    cv::Mat dst = asSubPlane(cv::Mat(src.size(), src.type(), cv::Scalar(0)));
    MirroredBox<Element> box({src.cols, src.rows}, radius);
    box.filter({src.ptr<Element>(), stepOf(src)}, {dst.ptr<Element>(), stepOf(dst)});
    return dst;
}

template <class Element>
cv::Mat filteredInPlace(const cv::Mat& src, int radius) {
    cv::Mat plane = asSubPlane(src);
    MirroredBox<Element> box({src.cols, src.rows}, radius);
    box.filter({plane.ptr<Element>(), stepOf(plane)}, {plane.ptr<Element>(), stepOf(plane)});
    return plane;
}

template <class Element>
void expectMeans(int type) {
    for (const cv::Size& size : testSizes()) {
        for (int radius : {0, 1, 2, 3, 7, 16, 53, 90}) {
            if (size.area() * radius * radius > 2000000) continue;
            const cv::Mat src = randomPlane(size.height, size.width, type);
            const cv::Mat expected = means<Element>(src, radius);
            EXPECT_TRUE(samePixels(expected, filtered<Element>(src, radius))) << size << radius;
            EXPECT_TRUE(samePixels(expected, filtered<Element>(asSubPlane(src), radius))) << size << radius;
            EXPECT_TRUE(samePixels(expected, filteredInPlace<Element>(src, radius))) << size << radius;
        }
    }
}

TEST(BoxMirroredTest, BytesGiveTheMeanOverMirroredEdges) { expectMeans<uchar>(CV_8UC1); }
TEST(BoxMirroredTest, WordsGiveTheMeanOverMirroredEdges) { expectMeans<ushort>(CV_16UC1); }

TEST(BoxMirroredTest, WhiteStaysWhiteUnderTheLargestWindow) {
    const cv::Mat white(200, 1100, CV_16UC1, cv::Scalar(65535));
    EXPECT_TRUE(samePixels(white, filtered<ushort>(white, 90)));
}

// A plane as large as the window with a sum of `sum`.
template <class Element>
cv::Mat planeOfSum(int type, int radius, std::int64_t sum) {
    const int side = 2 * radius + 1;
    cv::Mat plane(side, side, type);
    std::int64_t pixels = plane.total();
    for (Element& v : cv::Mat_<Element>(plane)) {
        v = static_cast<Element>(sum / pixels);
        sum -= v;
        --pixels;
    }
    return plane;
}

// The largest sums are the hardest to divide: half of the window below white the mean is white, one more and it is not.
template <class Element>
void expectMeansRoundAtTheTop(int type) {
    const int white = std::numeric_limits<Element>::max();
    for (int radius = 0; radius <= 90; ++radius) {
        const std::int64_t side = 2 * radius + 1, area = side * side, full = area * white;
        const cv::Mat up = planeOfSum<Element>(type, radius, full - area / 2);
        EXPECT_EQ(filtered<Element>(up, radius).template at<Element>(radius, radius), white) << radius;
        const cv::Mat down = planeOfSum<Element>(type, radius, full - area / 2 - 1);
        EXPECT_EQ(filtered<Element>(down, radius).template at<Element>(radius, radius), white - 1) << radius;
    }
}

TEST(BoxMirroredTest, MeansRoundAtTheTopUnderEveryWindow) {
    expectMeansRoundAtTheTop<uchar>(CV_8UC1);
    expectMeansRoundAtTheTop<ushort>(CV_16UC1);
}

// Strips lower than the window, whose rows above and below belong to others.
TEST(BoxMirroredTest, InPlaceStripsMayBeLowerThanTheWindow) {
    const cv::Mat src = randomPlane(12, 4000, CV_8UC1), expected = means<uchar>(src, 7);
    withThreadCounts(
        [&](int threads) { EXPECT_TRUE(samePixels(expected, filteredInPlace<uchar>(src, 7))) << threads; });
}

TEST(BoxMirroredTest, ThreadsGiveTheSameBits) {
    const cv::Mat src = randomPlane(130, 1300, CV_16UC1), expected = means<ushort>(src, 4);
    withThreadCounts([&](int threads) {
        EXPECT_TRUE(samePixels(expected, filtered<ushort>(src, 4))) << threads;
        EXPECT_TRUE(samePixels(expected, filteredInPlace<ushort>(src, 4))) << threads;
    });
}

}  // namespace
