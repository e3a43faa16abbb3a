#include <algorithm>
#include <cmath>

#include "kestrova/primitives/neighbourhood.h"
#include "tests/primitives/neighbourhood.h"
#include "tests/support/threads.h"

namespace {

template <class Element>
using Filter = IppStatus (*)(const Element*, int, Element*, int, IppiSize, const uchar*, IppiSize, IppiPoint);

/// The extreme, by `better`, over the cells of the mask.
template <class Element, class Better>
cv::Mat extremes(const Surrounded& src, const cv::Mat& mask, const Better& better) {
    cv::Mat dst(src.region.size(), src.region.type());
    for (int y = 0; y < dst.rows; ++y) {
        for (int x = 0; x < dst.cols; ++x) {
            bool any = false;
            Element best = 0;
            for (int i = 0; i < mask.rows; ++i) {
                for (int j = 0; j < mask.cols; ++j) {
                    if (!mask.at<uchar>(i, j)) continue;
                    const Element v = src.frame.at<Element>(y + i, x + j);
                    if (!any || better(v, best)) best = v;
                    any = true;
                }
            }
            dst.at<Element>(y, x) = best;
        }
    }
    return dst;
}

template <class Element, class Better>
void expectExtremes(Filter<Element> filter, int type, cv::Size size, const cv::Mat& mask, IppiPoint anchor,
                    const Better& better) {
    SCOPED_TRACE(testing::Message() << size << " mask\n" << mask << " anchor " << anchor.x << ' ' << anchor.y);
    const Surrounded src(size, sizeOf(mask), anchor, type);
    const cv::Mat expected = extremes<Element>(src, mask, better);
    withThreadCounts([&](int) {
        cv::Mat dst = asSubPlane(cv::Mat(size, type, cv::Scalar(1)));
        ASSERT_EQ(filter(src.region.ptr<Element>(), stepOf(src.region), dst.ptr<Element>(), stepOf(dst), sizeOf(dst),
                         mask.data, sizeOf(mask), anchor),
                  ippStsNoErr);
        EXPECT_TRUE(samePixels(expected, dst));
    });
}

void expectAllForms(cv::Size size, const cv::Mat& mask, IppiPoint anchor) {
    expectExtremes<uchar>(ippiErode_8u_C1R, CV_8UC1, size, mask, anchor, std::less<>());
    expectExtremes<ushort>(ippiErode_16u_C1R, CV_16UC1, size, mask, anchor, std::less<>());
    expectExtremes<uchar>(ippiDilate_8u_C1R, CV_8UC1, size, mask, anchor, std::greater<>());
    expectExtremes<ushort>(ippiDilate_16u_C1R, CV_16UC1, size, mask, anchor, std::greater<>());
}

cv::Mat disc(int radius) {
    const int side = 2 * radius + 1;
    cv::Mat mask(side, side, CV_8UC1, cv::Scalar(127));
    for (int i = 0; i < side; ++i)
        for (int j = 0; j < side; ++j)
            if (std::hypot(i - radius, j - radius) > radius + 0.5) mask.at<uchar>(i, j) = 0;
    return mask;
}

TEST(MorphologyTest, DiscsGiveTheExtremeOverTheirCells) {
    for (cv::Size size : testSizes())
        for (int radius : {1, 2, 5})
            if (size.area() < 10000 || radius == 2) expectAllForms(size, disc(radius), {radius, radius});
    expectAllForms({40, 9}, disc(21), {21, 21});
}

TEST(MorphologyTest, OnlyTheCellsThatAreNotZeroCount) {
    for (std::uint32_t seed = 1; seed <= 12; ++seed) {
        const int rows = 1 + static_cast<int>(seed * 7 % 6), cols = 1 + static_cast<int>(seed * 5 % 11);
        cv::Mat mask = randomPlane(rows, cols, CV_8UC1, -2, 1.99, seed);
        mask.at<uchar>(rows - 1, cols / 2) = 1;
        expectAllForms({37, 29}, mask, {static_cast<int>(seed) % cols, static_cast<int>(seed) % rows});
    }
}

TEST(MorphologyTest, RunsOfAnyLengthAreCovered) {
    for (int length = 1; length <= 20; ++length) {
        cv::Mat mask(1, 24, CV_8UC1, cv::Scalar(0));
        mask.colRange(2, 2 + length) = 1;
        expectAllForms({30, 3}, mask, {5, 0});
        expectAllForms({5, 30}, cv::Mat(mask.t()), {0, 5});
    }
}

TEST(MorphologyTest, AFullMaskReachesAllOfItself) {
    expectAllForms({33, 21}, cv::Mat(4, 6, CV_8UC1, cv::Scalar(255)), {0, 3});
    expectAllForms({33, 21}, cv::Mat(1, 1, CV_8UC1, cv::Scalar(1)), {0, 0});
}

TEST(MorphologyTest, ChecksItsArguments) {
    const uchar one = 1, zeros[4] = {0, 0, 0, 0};
    expectRegionChecks({randomPlane(3, 5, CV_16UC1), randomPlane(3, 5, CV_16UC1)}, [&](const auto& p, IppiSize size) {
        return ippiErode_16u_C1R(p[0], p[0].step, p[1], p[1].step, size, &one, {1, 1}, {0, 0});
    });
    expectRegionChecks({randomPlane(3, 5, CV_8UC1), randomPlane(3, 5, CV_8UC1)}, [&](const auto& p, IppiSize size) {
        return ippiDilate_8u_C1R(p[0], p[0].step, p[1], p[1].step, size, &one, {1, 1}, {0, 0});
    });
    const uchar src[9] = {};
    uchar dst = 9;
    const auto dilate = [&](const uchar* mask, IppiSize size, IppiPoint anchor) {
        return ippiDilate_8u_C1R(src + 4, 3, &dst, 1, {1, 1}, mask, size, anchor);
    };
    EXPECT_EQ(dilate(nullptr, {1, 1}, {0, 0}), ippStsNullPtrErr);
    EXPECT_EQ(dilate(zeros, {2, 2}, {0, 0}), ippStsMaskSizeErr);
    for (IppiSize size : {IppiSize{0, 1}, {1, 0}, {-1, 1}, {1, -1}})
        EXPECT_EQ(dilate(&one, size, {0, 0}), ippStsMaskSizeErr);
    for (IppiPoint anchor : {IppiPoint{1, 0}, {0, 1}, {-1, 0}, {0, -1}})
        EXPECT_EQ(dilate(&one, {1, 1}, anchor), ippStsAnchorErr);
    EXPECT_EQ(dst, 9);
}

template <class Better>
void expect3x3InPlace(IppStatus (*filter)(ushort*, int, IppiSize), const Better& better) {
    std::vector<cv::Size> sizes = testSizes();
    sizes.push_back({503, 401});
    for (cv::Size size : sizes) {
        const Surrounded src(size, {3, 3}, {1, 1}, CV_16UC1);
        cv::Mat expected = src.clone().frame;
        extremes<ushort>(src, cv::Mat(3, 3, CV_8UC1, cv::Scalar(1)), better)
            .copyTo(expected(cv::Rect(1, 1, size.width, size.height)));
        withThreadCounts([&](int) {
            Surrounded plane = src.clone();
            ASSERT_EQ(filter(plane.region.ptr<ushort>(), stepOf(plane.region), sizeOf(plane.region)), ippStsNoErr);
            EXPECT_TRUE(samePixels(expected, plane.frame));
        });
    }
    const Surrounded plane({5, 3}, {3, 3}, {1, 1}, CV_16UC1);
    expectRegionChecks({plane.region}, [&](const auto& p, IppiSize size) { return filter(p[0], p[0].step, size); });
}

TEST(MorphologyTest, ThreeByThreeInPlaceSeesTheUnmodifiedPlane) {
    expect3x3InPlace(ippiErode3x3_16u_C1IR, std::less<>());
    expect3x3InPlace(ippiDilate3x3_16u_C1IR, std::greater<>());
}

}  // namespace
