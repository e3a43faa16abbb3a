#include "kestrova/resample/chroma_upsize.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "kestrova/rows/chroma_rows.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/rooms.h"
#include "tests/support/threads.h"

namespace {

// The six passes over the whole plane, in their order. Where a pass would read outside the plane, the pixel stays as it
// is; in a plane one pixel wide, whose odd rows no pass reaches, those take the nearer of the rows above and below.
struct SixPasses {
    const cv::Mat& guide;
    cv::Mat out;
    int W, H;

    ushort& at(int y, int x) { return out.ptr<ushort>(y)[x]; }
    int g(int y, int x) const { return guide.ptr<ushort>(y)[x]; }

    void takeFirstBest(int y, int x, const std::vector<cv::Point>& candidates) {
        int best = 1 << 20;
        ushort value = 0;
        for (const cv::Point& p : candidates) {
            const int measure = std::abs(g(y, x) - g(p.y, p.x));
            if (measure < best) best = measure, value = at(p.y, p.x);
        }
        at(y, x) = value;
    }

    SixPasses(const cv::Mat& guide, const cv::Mat& low)
        : guide(guide), out(guide.size(), CV_16UC1, cv::Scalar(0xdead)), W(guide.cols), H(guide.rows) {
        const auto l = [&](int y, int x) { return low.ptr<ushort>(y)[x]; };
        for (int y = 0; y <= H - 1; y += 2) {
            for (int x = 0; x < W; x += 2) at(y, x) = l(y / 2, x / 2);
            at(y, W - 1) = l(y / 2, low.cols - 1);
        }
        for (int x = 0; x < W; ++x) at(H - 1, x) = l(low.rows - 1, x / 2);
        if (H >= 3) {
            for (int y = 1; y <= H - 2; y += 2) {
                for (int x = 1; x < W - 1; x += 2)
                    takeFirstBest(y, x, {{x - 1, y - 1}, {x + 1, y - 1}, {x - 1, y + 1}, {x + 1, y + 1}});
                if (W % 2 == 0) takeFirstBest(y, W - 1, {{W - 2, y - 1}, {W - 2, y + 1}});
                if (W == 1) takeFirstBest(y, 0, {{0, y - 1}, {0, y + 1}});
            }
            for (int y = 1; y <= H - 2; ++y)
                for (int x = y % 2 == 0 ? 1 : 2; x < W - 1; x += 2)
                    takeFirstBest(y, x, {{x, y - 1}, {x - 1, y}, {x + 1, y}, {x, y + 1}});
            if (W > 1) {
                for (int y = 1; y <= H - 2; ++y) {
                    at(y, 0) = at(y, 1);
                    at(y, W - 1) = at(y, W - 2);
                }
            }
        }
        if (H > 1) {
            for (int x = 0; x < W; ++x) {
                at(0, x) = at(1, x);
                at(H - 1, x) = at(H - 2, x);
            }
        }
    }
};

cv::Mat enlarged(const cv::Mat& guide, const cv::Mat& low) {
    cv::Mat out;
    upSize2XGuidedByYSimple(guide, low, out);
    return out;
}

cv::Mat lowFor(const cv::Size& size, int extraRows = 0, int extraCols = 0) {
    return randomPlane((size.height + 1) / 2 + extraRows, (size.width + 1) / 2 + extraCols, CV_16UC1, 5);
}

template <class Work>
void forManySizes(const Work& work) {
    for (int height = 1; height <= 9; ++height)
        for (int width = 1; width <= 9; ++width) work(cv::Size(width, height));
    for (int width = 10; width <= 140; ++width) work(cv::Size(width, 5));
    for (const cv::Size& size : testSizes()) work(size);
}

TEST(ChromaUpsizeTest, FollowsTheSixPassesAtEverySize) {
    forManySizes([](const cv::Size& size) {
        const cv::Mat guide = randomPlane(size.height, size.width, CV_16UC1, 3), low = lowFor(size);
        EXPECT_TRUE(samePixels(SixPasses(guide, low).out, enlarged(guide, low))) << size;
    });
}

TEST(ChromaUpsizeTest, BreaksTiesAsThePassesDo) {
    forManySizes([](const cv::Size& size) {
        const cv::Mat guide = randomPlane(size.height, size.width, CV_16UC1, 100, 103, 3), low = lowFor(size);
        EXPECT_TRUE(samePixels(SixPasses(guide, low).out, enlarged(guide, low))) << size;
    });
}

TEST(ChromaUpsizeTest, ATieOfFourTakesTheUpperLeft) {
    const cv::Mat guide(5, 5, CV_16UC1, cv::Scalar(700));
    const cv::Mat low = (cv::Mat_<ushort>(3, 3) << 1, 2, 3, 4, 5, 6, 7, 8, 9);
    const cv::Mat out = enlarged(guide, low);
    EXPECT_EQ(out.at<ushort>(1, 1), 1);
    EXPECT_EQ(out.at<ushort>(1, 3), 2);
    EXPECT_EQ(out.at<ushort>(3, 1), 4);
    EXPECT_EQ(out.at<ushort>(3, 3), 5);
}

TEST(ChromaUpsizeTest, MeasuresTheWholeRangeOfTheGuide) {
    cv::Mat guide(3, 3, CV_16UC1, cv::Scalar(65535));
    guide.at<ushort>(1, 1) = 0;
    guide.at<ushort>(2, 0) = 32767;
    const cv::Mat low = (cv::Mat_<ushort>(2, 2) << 1, 2, 3, 4);
    EXPECT_EQ(enlarged(guide, low).at<ushort>(1, 1), 3);
}

TEST(ChromaUpsizeTest, AnEdgeOfColourFollowsTheEdgeOfLuminance) {
    cv::Mat guide(8, 12, CV_16UC1, cv::Scalar(1000)), low(4, 6, CV_16UC1, cv::Scalar(30000));
    guide.colRange(5, 12).setTo(50000);
    low.colRange(3, 6).setTo(40000);
    const cv::Mat out = enlarged(guide, low);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 12; ++x) ASSERT_EQ(out.at<ushort>(y, x), x < 5 ? 30000 : 40000) << y << ' ' << x;
}

TEST(ChromaUpsizeTest, TwoRowsBothHoldTheLastRowOfLow) {
    const cv::Mat guide = randomPlane(2, 6, CV_16UC1, 3), low = lowFor({6, 2}, 1);
    const cv::Mat out = enlarged(guide, low);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 6; ++x) EXPECT_EQ(out.at<ushort>(y, x), low.at<ushort>(1, x / 2));
}

TEST(ChromaUpsizeTest, OneRowIsTheLastRowOfLow) {
    const cv::Mat guide = randomPlane(1, 5, CV_16UC1, 3), low = lowFor({5, 1});
    const cv::Mat out = enlarged(guide, low);
    for (int x = 0; x < 5; ++x) EXPECT_EQ(out.at<ushort>(0, x), low.at<ushort>(0, x / 2));
}

TEST(ChromaUpsizeTest, OneColumnTakesTheNearerRow) {
    const cv::Mat guide = (cv::Mat_<ushort>(5, 1) << 10, 18, 20, 22, 90);
    const cv::Mat low = (cv::Mat_<ushort>(3, 1) << 1, 2, 3);
    const cv::Mat expected = (cv::Mat_<ushort>(5, 1) << 2, 2, 2, 2, 2);
    EXPECT_TRUE(samePixels(expected, enlarged(guide, low)));
}

TEST(ChromaUpsizeTest, ALargerLowGivesItsLastRowAndColumnToTheOutermost) {
    forManySizes([](const cv::Size& size) {
        const cv::Mat guide = randomPlane(size.height, size.width, CV_16UC1, 3), low = lowFor(size, 2, 3);
        EXPECT_TRUE(samePixels(SixPasses(guide, low).out, enlarged(guide, low))) << size;
    });
}

TEST(ChromaUpsizeTest, SubPlanesAndThreadsGiveTheSameBits) {
    const cv::Size size(301, 227);
    const cv::Mat guide = randomPlane(size.height, size.width, CV_16UC1, 3), low = lowFor(size);
    const cv::Mat expected = SixPasses(guide, low).out;
    withThreadCounts([&](int threads) {
        cv::Mat out = asSubPlane(cv::Mat(size, CV_16UC1, cv::Scalar(0)));
        upSize2XGuidedByYSimple(asSubPlane(guide), asSubPlane(low), out);
        EXPECT_TRUE(samePixels(expected, out)) << threads;
    });
}

TEST(ChromaUpsizeTest, KeepsAnOutputThatFitsAndCreatesOthers) {
    const cv::Mat guide = randomPlane(6, 8, CV_16UC1, 3), low = lowFor({8, 6});
    cv::Mat larger(10, 12, CV_16UC1, cv::Scalar(9));
    cv::Mat out = larger(cv::Rect(2, 2, 8, 6));
    const uchar* data = out.data;
    upSize2XGuidedByYSimple(guide, low, out);
    EXPECT_EQ(out.data, data);
    EXPECT_EQ(larger.at<ushort>(1, 2), 9);
    EXPECT_EQ(larger.at<ushort>(8, 2), 9);

    cv::Mat other(6, 8, CV_8UC1);
    upSize2XGuidedByYSimple(guide, low, other);
    EXPECT_TRUE(samePixels(out, other));
}

TEST(ChromaUpsizeTest, TheOutputMayBeTheObjectOfTheInput) {
    const cv::Mat guide = randomPlane(6, 8, CV_16UC1, 3), low = lowFor({8, 6});
    cv::Mat plane = low.clone();
    upSize2XGuidedByYSimple(guide, plane, plane);
    EXPECT_TRUE(samePixels(SixPasses(guide, low).out, plane));
}

TEST(ChromaUpsizeTest, AnEmptyGuideGivesAnEmptyPlane) {
    cv::Mat out(4, 4, CV_16UC1);
    upSize2XGuidedByYSimple(cv::Mat(), cv::Mat(), out);
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(out.type(), CV_16UC1);
    upSize2XGuidedByYSimple(cv::Mat(3, 0, CV_16UC1), cv::Mat(), out);
    EXPECT_TRUE(out.empty());
}

TEST(ChromaUpsizeTest, RefusesOtherTypesAndPlanesTooSmall) {
    const cv::Mat guide = randomPlane(7, 9, CV_16UC1), low = lowFor({9, 7});
    cv::Mat out(2, 2, CV_16UC1, cv::Scalar(3));
    const cv::Mat before = out.clone();
    EXPECT_FAILURE(upSize2XGuidedByYSimple(cv::Mat(7, 9, CV_8UC1), low, out),
                   "ERROR - upSize2XGuidedByYSimple - guide.type()!=CV_16UC1");
    EXPECT_FAILURE(upSize2XGuidedByYSimple(guide, cv::Mat(4, 5, CV_32FC1), out),
                   "ERROR - upSize2XGuidedByYSimple - low.type()!=CV_16UC1");
    for (const cv::Size& size : {cv::Size(4, 4), cv::Size(5, 3), cv::Size(0, 0)})
        EXPECT_FAILURE(upSize2XGuidedByYSimple(guide, cv::Mat(size, CV_16UC1), out),
                       "ERROR - upSize2XGuidedByYSimple - low is smaller than half of guide");
    EXPECT_TRUE(samePixels(before, out));
}

TEST(ChromaRowsTest, RowsComeInAnyOrderAndForSeveralPlanes) {
    const cv::Size size(33, 18);
    const cv::Mat guide = randomPlane(size.height, size.width, CV_16UC1, 3);
    const cv::Mat lows[] = {lowFor(size), randomPlane(9, 17, CV_16UC1, 8)};
    const cv::Mat expected[] = {SixPasses(guide, lows[0]).out, SixPasses(guide, lows[1]).out};
    ChromaRows rows(guide, {lows[0], lows[1]});
    std::vector<ushort> actual[] = {std::vector<ushort>(size.width), std::vector<ushort>(size.width)};
    ushort* const out[] = {actual[0].data(), actual[1].data()};
    for (int y : {17, 0, 5, 4, 9, 10, 3, 12, 16, 1}) {
        rows.compute(y, out);
        for (int p = 0; p < 2; ++p)
            EXPECT_TRUE(std::equal(out[p], out[p] + size.width, expected[p].ptr<ushort>(y))) << y << ' ' << p;
    }
}

}  // namespace
