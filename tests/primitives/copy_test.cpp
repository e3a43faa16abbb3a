#include "kestrova/primitives/copy.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "tests/primitives/region.h"
#include "tests/support/threads.h"

namespace {

template <class Element>
void expectCopies(IppStatus (*copy)(const Element*, int, Element*, int, IppiSize), int type) {
    for (cv::Size size : testSizes()) {
        const cv::Mat src = asSubPlane(randomPlane(size.height, size.width, type));
        cv::Mat frame = randomPlane(size.height + 2, size.width + 2, type, 5);
        cv::Mat expected = frame.clone();
        for (int y = 0; y < size.height; ++y)
            std::memcpy(expected.ptr(y + 1) + src.elemSize(), src.ptr(y), src.elemSize() * size.width);
        cv::Mat dst = frame(cv::Rect(1, 1, size.width, size.height));
        ASSERT_EQ(copy(src.ptr<Element>(), stepOf(src), dst.ptr<Element>(), stepOf(dst), sizeOf(src)), ippStsNoErr);
        EXPECT_TRUE(samePixels(expected, frame));
    }
    expectRegionChecks({asSubPlane(randomPlane(3, 5, type)), asSubPlane(randomPlane(3, 5, type))},
                       [&](const auto& p, IppiSize size) { return copy(p[0], p[0].step, p[1], p[1].step, size); });
}

TEST(CopyTest, CopiesTheRegionAndNothingElse) {
    expectCopies(ippiCopy_8u_C1R, CV_8UC1);
    expectCopies(ippiCopy_16u_C1R, CV_16UC1);
    expectCopies(ippiCopy_16u_C3R, CV_16UC3);
    expectCopies(ippiCopy_8u_C4R, CV_8UC4);
    expectCopies(ippiCopy_16u_C4R, CV_16UC4);
    expectCopies(ippiCopy_32f_C1R, CV_32FC1);
}

TEST(CopyTest, LargePlanesAreCopiedByAnyNumberOfThreads) {
    const cv::Mat src = randomPlane(701, 1003, CV_16UC1);
    withThreadCounts([&](int) {
        cv::Mat dst(src.size(), src.type(), cv::Scalar(0));
        ippiCopy_16u_C1R(src.ptr<ushort>(), stepOf(src), dst.ptr<ushort>(), stepOf(dst), sizeOf(src));
        EXPECT_TRUE(samePixels(src, dst));
    });
}

template <class Element>
void expectFills(IppStatus (*set)(Element, Element*, int, IppiSize), int type, Element value) {
    std::vector<cv::Size> sizes = testSizes();
    sizes.push_back({2003, 501});
    for (cv::Size size : sizes) {
        cv::Mat frame = randomPlane(size.height + 2, size.width + 2, type, 5);
        cv::Mat expected = frame.clone();
        for (int y = 1; y <= size.height; ++y)
            for (int x = 1; x <= size.width; ++x) expected.at<Element>(y, x) = value;
        cv::Mat dst = frame(cv::Rect(1, 1, size.width, size.height));
        ASSERT_EQ(set(value, dst.ptr<Element>(), stepOf(dst), sizeOf(dst)), ippStsNoErr);
        EXPECT_TRUE(samePixels(expected, frame));
    }
    expectRegionChecks({asSubPlane(randomPlane(3, 5, type))},
                       [&](const auto& p, IppiSize size) { return set(value, p[0], p[0].step, size); });
}

TEST(SetTest, FillsTheRegionAndNothingElse) {
    expectFills<uchar>(ippiSet_8u_C1R, CV_8UC1, 200);
    expectFills<ushort>(ippiSet_16u_C1R, CV_16UC1, 40000);
    expectFills<float>(ippiSet_32f_C1R, CV_32FC1, -0.1f);
}

TEST(SetTest, UnderAMaskWritesOnlyWhereTheMaskIsNotZero) {
    for (cv::Size size : testSizes()) {
        const cv::Mat mask = asSubPlane(randomPlane(size.height, size.width, CV_8UC1, -1, 1.99, 3));
        cv::Mat dst = asSubPlane(randomPlane(size.height, size.width, CV_8UC1));
        cv::Mat expected = dst.clone();
        for (int y = 0; y < size.height; ++y)
            for (int x = 0; x < size.width; ++x)
                if (mask.at<uchar>(y, x)) expected.at<uchar>(y, x) = 77;
        ASSERT_EQ(ippiSet_8u_C1MR(77, dst.data, stepOf(dst), sizeOf(dst), mask.data, stepOf(mask)), ippStsNoErr);
        EXPECT_TRUE(samePixels(expected, dst));
    }
    expectRegionChecks({randomPlane(3, 5, CV_8UC1), randomPlane(3, 5, CV_8UC1)}, [&](const auto& p, IppiSize size) {
        return ippiSet_8u_C1MR(77, p[0], p[0].step, size, p[1], p[1].step);
    });
}

TEST(SetTest, FillsAVector) {
    for (int len : {1, 2, 33, 16384, 16385, 100001}) {
        std::vector<float> filled(len + 1, 7.0f);
        withThreadCounts([&](int) {
            std::fill(filled.begin(), filled.end(), 7.0f);
            ASSERT_EQ(ippsSet_32f(0.25f, filled.data(), len), ippStsNoErr);
            EXPECT_EQ(std::count(filled.begin(), filled.end(), 0.25f), len);
            EXPECT_EQ(filled.back(), 7.0f);
        });
    }
    float untouched = 1;
    EXPECT_EQ(ippsSet_32f(2, &untouched, 0), ippStsSizeErr);
    EXPECT_EQ(ippsSet_32f(2, nullptr, 1), ippStsNullPtrErr);
    EXPECT_EQ(untouched, 1);
}

struct Border {
    int top, left, bottom, right;
};
const Border kBorders[] = {{0, 0, 0, 0}, {1, 1, 1, 1}, {2, 0, 0, 3}, {0, 5, 4, 0}, {9, 9, 9, 9}, {0, 0, 1, 1}};

template <class Element>
cv::Mat replicated(const cv::Mat& src, Border b) {
    cv::Mat wide(src.rows + b.top + b.bottom, src.cols + b.left + b.right, src.type());
    for (int y = 0; y < wide.rows; ++y)
        for (int x = 0; x < wide.cols; ++x)
            wide.at<Element>(y, x) =
                src.at<Element>(std::clamp(y - b.top, 0, src.rows - 1), std::clamp(x - b.left, 0, src.cols - 1));
    return wide;
}

template <class Element>
using BorderCopy = IppStatus (*)(const Element*, int, IppiSize, Element*, int, IppiSize, int, int);
template <class Element>
using BorderInPlace = IppStatus (*)(Element*, int, IppiSize, IppiSize, int, int);

template <class Element>
void expectBorders(BorderCopy<Element> copy, BorderInPlace<Element> inPlace, int type, cv::Size size, Border b) {
    const cv::Mat src = asSubPlane(randomPlane(size.height, size.width, type));
    const cv::Mat expected = replicated<Element>(src, b);
    cv::Mat dst = asSubPlane(randomPlane(expected.rows, expected.cols, type, 9));
    ASSERT_EQ(
        copy(src.ptr<Element>(), stepOf(src), sizeOf(src), dst.ptr<Element>(), stepOf(dst), sizeOf(dst), b.top, b.left),
        ippStsNoErr);
    EXPECT_TRUE(samePixels(expected, dst));

    cv::Mat larger = asSubPlane(randomPlane(expected.rows, expected.cols, type, 9));
    cv::Mat inner = larger(cv::Rect(b.left, b.top, src.cols, src.rows));
    src.copyTo(inner);
    ASSERT_EQ(inPlace(inner.ptr<Element>(), stepOf(inner), sizeOf(inner), sizeOf(larger), b.top, b.left), ippStsNoErr);
    EXPECT_TRUE(samePixels(expected, larger));
}

TEST(ReplicateBorderTest, BothFormsRepeatTheNearestPixel) {
    for (cv::Size size : testSizes()) {
        for (Border b : kBorders) {
            expectBorders<uchar>(ippiCopyReplicateBorder_8u_C1R, ippiCopyReplicateBorder_8u_C1IR, CV_8UC1, size, b);
            expectBorders<ushort>(ippiCopyReplicateBorder_16u_C1R, ippiCopyReplicateBorder_16u_C1IR, CV_16UC1, size, b);
            expectBorders<float>(ippiCopyReplicateBorder_32f_C1R, ippiCopyReplicateBorder_32f_C1IR, CV_32FC1, size, b);
        }
    }
}

TEST(ReplicateBorderTest, AnyNumberOfThreadsGivesTheSame) {
    withThreadCounts([&](int) {
        expectBorders<ushort>(ippiCopyReplicateBorder_16u_C1R, ippiCopyReplicateBorder_16u_C1IR, CV_16UC1, {301, 211},
                              {200, 150, 100, 120});
    });
}

TEST(ReplicateBorderTest, WritesNothingOutsideTheDestination) {
    const cv::Mat src = randomPlane(4, 6, CV_8UC1);
    cv::Mat frame = randomPlane(9, 12, CV_8UC1, 8);
    const cv::Mat before = frame.clone();
    cv::Mat dst = frame(cv::Rect(1, 1, 9, 6));
    ASSERT_EQ(
        ippiCopyReplicateBorder_8u_C1R(src.data, stepOf(src), sizeOf(src), dst.data, stepOf(dst), sizeOf(dst), 1, 2),
        ippStsNoErr);
    cv::Mat expected = before.clone();
    cv::Mat expectedInner = expected(cv::Rect(1, 1, 9, 6));
    replicated<uchar>(src, {1, 2, 1, 1}).copyTo(expectedInner);
    EXPECT_TRUE(samePixels(expected, frame));
}

TEST(ReplicateBorderTest, TheInPlaceFormNeverWritesTheInnerImage) {
    // Every row of the inner image is a page of its own that may not be written.
    const int page = static_cast<int>(sysconf(_SC_PAGESIZE));
    const cv::Size inner(page, 4);
    const int step = 3 * page;
    const std::size_t bytes = static_cast<std::size_t>(step) * 8;
    void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    cv::Mat larger(8, step, CV_8UC1, memory);
    cv::Mat src = larger(cv::Rect(page, 2, inner.width, inner.height));
    randomPlane(inner.height, inner.width, CV_8UC1).copyTo(src);
    for (int y = 0; y < inner.height; ++y) ASSERT_EQ(mprotect(src.ptr(y), page, PROT_READ), 0);
    EXPECT_EQ(ippiCopyReplicateBorder_8u_C1IR(src.data, step, sizeOf(src), sizeOf(larger), 2, page), ippStsNoErr);
    EXPECT_TRUE(samePixels(replicated<uchar>(src, {2, page, 2, page}), larger));
    munmap(memory, bytes);
}

TEST(ReplicateBorderTest, RefusesWhatDoesNotFit) {
    const cv::Mat src = randomPlane(4, 6, CV_8UC1);
    cv::Mat dst = randomPlane(9, 12, CV_8UC1, 8);
    const cv::Mat before = dst.clone();
    const auto copy = [&](IppiSize srcSize, IppiSize dstSize, int top, int left) {
        return ippiCopyReplicateBorder_8u_C1R(src.data, stepOf(src), srcSize, dst.data, stepOf(dst), dstSize, top,
                                              left);
    };
    EXPECT_EQ(copy({6, 4}, {12, 9}, 6, 0), ippStsSizeErr);
    EXPECT_EQ(copy({6, 4}, {12, 9}, 0, 7), ippStsSizeErr);
    EXPECT_EQ(copy({6, 4}, {12, 9}, -1, 0), ippStsSizeErr);
    EXPECT_EQ(copy({6, 4}, {12, 9}, 0, -1), ippStsSizeErr);
    EXPECT_EQ(copy({0, 4}, {12, 9}, 0, 0), ippStsSizeErr);
    EXPECT_EQ(copy({6, 4}, {12, 0}, 0, 0), ippStsSizeErr);
    const auto inPlace = [&](IppiSize srcSize, IppiSize dstSize, int top, int left) {
        return ippiCopyReplicateBorder_8u_C1IR(dst.data, stepOf(dst), srcSize, dstSize, top, left);
    };
    EXPECT_EQ(inPlace({6, 4}, {5, 9}, 0, 0), ippStsSizeErr);
    EXPECT_EQ(inPlace({6, 4}, {12, 9}, 6, 0), ippStsSizeErr);
    EXPECT_EQ(inPlace({6, 0}, {12, 9}, 0, 0), ippStsSizeErr);
    EXPECT_EQ(inPlace({6, 4}, {13, 9}, 0, 0), ippStsRowStepErr);
    EXPECT_EQ(ippiCopyReplicateBorder_8u_C1IR(nullptr, 12, {6, 4}, {12, 9}, 0, 0), ippStsNullPtrErr);
    EXPECT_EQ(ippiCopyReplicateBorder_8u_C1IR(dst.data, 0, {6, 4}, {12, 9}, 0, 0), ippStsStepErr);
    EXPECT_TRUE(samePixels(before, dst));

    expectRegionChecks({randomPlane(3, 5, CV_16UC1), randomPlane(3, 5, CV_16UC1)}, [&](const auto& p, IppiSize size) {
        return ippiCopyReplicateBorder_16u_C1R(p[0], p[0].step, size, p[1], p[1].step, size, 0, 0);
    });
}

}  // namespace
