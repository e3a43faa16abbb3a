#include <gtest/gtest.h>

#include "kestrova/filters/tguidedfilter.h"
#include "kestrova/primitives/primitives.h"
#include "tests/support/failures.h"
#include "tests/support/little_memory.h"
#include "tests/support/planes.h"

namespace {

constexpr int kSide = 2000;  // a plane of floats takes some 16 MB
constexpr std::size_t kMebibyte = 1 << 20;

cv::Mat floats(int rows, int cols) { return cv::Mat(rows, cols, CV_32FC1, cv::Scalar(0.25)); }

void expectSame(const cv::Mat& before, const cv::Mat& after) { EXPECT_TRUE(samePixels(before, after)); }

TEST(TGuidedFilterMemory, SetupKeepsAModelOfAnotherSizeWhereThereIsNone) {
    const cv::Mat I = floats(kSide, kSide), small = randomPlane(9, 7, CV_32FC1, 0, 1);
    for (std::size_t guides : {1, 3}) {
        TGuidedFilter filter;
        filter.setup(std::vector<cv::Mat>(guides, small), small, 1, 0.01f);
        const TGuidedFilter model = filter;
        for (std::size_t mebibytes : {1, 8, 20, 28}) {
            withLittleMemory(mebibytes * kMebibyte, [&] {
                EXPECT_FAILURE(filter.setup(std::vector<cv::Mat>(guides, I), I, 2, 0.01f),
                               "ERROR - TGuidedFilter::setup - not enough memory");
                EXPECT_EQ(filter.m_a0.data, model.m_a0.data);
                EXPECT_EQ(filter.m_a1.data, model.m_a1.data);
                EXPECT_EQ(filter.m_a2.data, model.m_a2.data);
                EXPECT_EQ(filter.m_b.data, model.m_b.data);
                return !testing::Test::HasFailure();
            });
        }
    }
}

TEST(TGuidedFilterMemory, SetupKeepsAModelOfTheSameSizeWhereThereIsNone) {
    const cv::Mat I = floats(kSide, kSide);
    TGuidedFilter filter;
    filter.m_a0 = floats(kSide, kSide);
    filter.m_b = floats(kSide, kSide);
    const TGuidedFilter model = filter;
    withLittleMemory(kMebibyte, [&] {  // what is kept of the rows under a window takes 2
        EXPECT_FAILURE(filter.setup({I}, I, 1500, 0.01f), "ERROR - TGuidedFilter::setup - not enough memory");
        EXPECT_EQ(filter.m_a0.data, model.m_a0.data);
        expectSame(I, filter.m_a0);
        expectSame(I, filter.m_b);
        return !testing::Test::HasFailure();
    });
}

TEST(TGuidedFilterMemory, ProcLeavesTheOutputAsItWasWhereThereIsNone) {
    TGuidedFilter filter;
    filter.m_a0 = filter.m_a1 = filter.m_a2 = filter.m_b = floats(9, 7);
    const cv::Mat before = randomPlane(9, 7, CV_8UC1);
    for (int type : {CV_8UC1, CV_16UC1, CV_32FC1}) {
        const cv::Mat guide(kSide, kSide, type, cv::Scalar(1));
        for (std::size_t guides : {1, 3}) {
            withLittleMemory(kMebibyte, [&] {
                cv::Mat q = before;
                EXPECT_FAILURE(filter.proc(std::vector<cv::Mat>(guides, guide), q),
                               "ERROR - TGuidedFilter::proc - not enough memory");
                expectSame(before, q);
                return !testing::Test::HasFailure();
            });
        }
    }
}

TEST(TGuidedFilterMemory, ProcLeavesTheOutputAsItWasWhereARowCannotBeSpread) {
    const int cols = 8 << 20;
    TGuidedFilter filter;
    filter.m_a0 = filter.m_b = floats(1, cols / 2);
    const cv::Mat guide(1, cols, CV_8UC1, cv::Scalar(1)), before = randomPlane(9, 7, CV_8UC1);
    withLittleMemory(16 * kMebibyte, [&] {  // the output would take 8, the rows 64
        cv::Mat q = before;
        EXPECT_FAILURE(filter.proc({guide}, q), "ERROR - TGuidedFilter::proc - not enough memory");
        expectSame(before, q);
        return !testing::Test::HasFailure();
    });
}

TEST(TGuidedFilterMemory, TheFloatFormsLeaveTheOutputAsItWasWhereThereIsNone) {
    TGuidedFilter filter;
    filter.m_a0 = filter.m_a1 = filter.m_a2 = filter.m_b = floats(9, 7);
    const cv::Mat I = floats(kSide, kSide), before = randomPlane(9, 7, CV_32FC1);
    for (std::size_t mebibytes : {1, 20, 28}) {
        withLittleMemory(mebibytes * kMebibyte, [&] {
            cv::Mat q = before;
            const char* text = "ERROR - TGuidedFilter::apply - not enough memory";
            EXPECT_FAILURE(filter.gFc1_apply(I, q), text);
            EXPECT_FAILURE(filter.gFc3_apply({I, I, I}, q), text);
            expectSame(before, q);
            return !testing::Test::HasFailure();
        });
    }
}

TEST(TGuidedFilterMemory, TheCovarianceStepLeavesTheOutputAsItWasWhereThereIsNone) {
    const int cols = 1 << 20;
    const cv::Mat X = floats(3, cols), mean = floats(1, cols - 2);
    cv::Mat tmpWide = X.clone(), tmpInner = mean.clone(), out = mean.clone();
    withLittleMemory(4 * kMebibyte, [&] {  // the sums of the columns take 24
        EXPECT_FAILURE(
            TGuidedFilter().calvar2(out, X, mean, tmpWide, tmpInner, {cols, 3}, {cols - 2, 1}, {3, 3}, {1, 1}, false),
            "ERROR - TGuidedFilter::calcov2 - not enough memory");
        expectSame(mean, out);
        return !testing::Test::HasFailure();
    });
}

TEST(TGuidedFilterMemory, StripProcLeavesTheOutputAsItWasWhereThereIsNone) {
    const cv::Mat I = floats(kSide, kSide), before(kSide, kSide, CV_32FC1, cv::Scalar(7));
    cv::Mat q = before.clone(), inPlace = I.clone();
    withLittleMemory(4 * kMebibyte, [&] {
        const char* text = "ERROR - TGuidedFilter::stripProc - not enough memory";
        EXPECT_FAILURE(TGuidedFilter().stripProc(I, I, q, 300, 0.01f), text);  // the rows under a window take 10 MB
        expectSame(before, q);
        EXPECT_FAILURE(TGuidedFilter().stripProc(I, inPlace, inPlace, 1, 0.01f), text);
        expectSame(I, inPlace);
        return !testing::Test::HasFailure();
    });
}

}  // namespace
