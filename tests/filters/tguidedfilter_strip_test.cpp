#include "kestrova/filters/tguidedfilter.h"
#include "tests/filters/guided_reference.h"
#include "tests/support/failures.h"
#include "tests/support/threads.h"

namespace {

using namespace guided_reference;

constexpr float kEps = 0.01f;
const TGuidedFilter kFilter;

cv::Mat stripped(const cv::Mat& I, const cv::Mat& p, int r, int blkH) {
    cv::Mat q = asSubPlane(plane(p.rows, p.cols));
    kFilter.gFc1_stripproc(I, p, q, r, kEps, blkH);
    return q;
}

cv::Mat strippedReference(const cv::Mat& I, const cv::Mat& p, int r, int blkH) {
    cv::Mat q = plane(p.rows, p.cols);
    guided_reference::stripProc(I, p, q, r, kEps, blkH);
    return q;
}

TEST(TGuidedFilterStripTest, StripsAre600RowsHighFromTwoAndAQuarterMillionPixelsOn) {
    EXPECT_EQ(TGuidedFilter::checkBlkSz(1500, 1500), 600);
    EXPECT_EQ(TGuidedFilter::checkBlkSz(1499, 1500), 1500);
    EXPECT_EQ(TGuidedFilter::checkBlkSz(100000, 599), 599);
    EXPECT_EQ(TGuidedFilter::checkBlkSz(100000, 600), 600);
    EXPECT_EQ(TGuidedFilter::checkBlkSz(100000, 30000), 30000) << "the product wraps in 32 bits, below zero";
    EXPECT_EQ(TGuidedFilter::checkBlkSz(65536, 65536 + 600), 600);
}

TEST(TGuidedFilterStripTest, HasTheBitsOfTheStepsOnStoredPlanes) {
    for (cv::Size size : testSizes()) {
        for (int r : {0, 1, 3, 8}) {
            if (size.width < 4 * r || size.height < 4 * r) continue;
            for (int blkH : {1, 7, 33, 600}) {
                if (size.height / blkH > 50) continue;
                SCOPED_TRACE(testing::Message() << size << " r " << r << " blkH " << blkH);
                const cv::Mat I = asSubPlane(unitPlane(size, 1)), p = asSubPlane(unitPlane(size, 2));
                EXPECT_TRUE(samePixels(strippedReference(I, p, r, blkH), stripped(I, p, r, blkH)));
            }
        }
    }
}

TEST(TGuidedFilterStripTest, AnyNumberOfThreadsGivesTheSame) {
    const cv::Mat I = tracedPlane({301, 350}, 1), p = tracedPlane({301, 350}, 2);
    for (int r : {0, 2, 20}) {
        const cv::Mat expected = strippedReference(I, p, r, 150);
        withThreadCounts([&](int) { EXPECT_TRUE(samePixels(expected, stripped(I, p, r, 150))); });
    }
}

TEST(TGuidedFilterStripTest, AnyNumberOfThreadsGivesTheSameUnderWideWindows) {
    const cv::Mat I = tracedPlane({900, 480}, 1), p = tracedPlane({900, 480}, 2);
    const cv::Mat expected = strippedReference(I, p, 100, 50);
    withThreadCounts([&](int) { EXPECT_TRUE(samePixels(expected, stripped(I, p, 100, 50))); });
}

/// What `stripProc` gives, beside the reference with the strip height stated.
void expectStripHeight(cv::Size size, int blkH) {
    SCOPED_TRACE(testing::Message() << size << " blkH " << blkH);
    const cv::Mat I = tracedPlane(size, 1);
    cv::Mat p, q = plane(size.height, size.width);
    cv::flip(I, p, -1);
    kFilter.stripProc(I, p, q, 1, kEps);
    EXPECT_TRUE(samePixels(strippedReference(I, p, 1, blkH), q));
}

TEST(TGuidedFilterStripTest, TakesTheHeightOfTheStripsFromTheSize) {
    expectStripHeight({3757, 599}, 599);
    expectStripHeight({599, 3757}, 600);
    expectStripHeight({598, 3757}, 3757);
}

TEST(TGuidedFilterStripTest, ALastStripWithoutOutputWritesNothing) {
    const cv::Mat I = unitPlane({40, 48}, 1), p = unitPlane({40, 48}, 2);
    EXPECT_TRUE(samePixels(strippedReference(I, p, 2, 20), stripped(I, p, 2, 20)));
}

TEST(TGuidedFilterStripTest, ThePictureStandsTwoRadiiFurtherRightAndDown) {
    const int r = 2;
    cv::Mat ramp(30, 40, CV_32FC1), I(30, 40, CV_32FC1, cv::Scalar(0.5)), q = ramp.clone();
    for (int y = 0; y < ramp.rows; ++y)
        for (int x = 0; x < ramp.cols; ++x) ramp.at<float>(y, x) = static_cast<float>(x + 100 * y);
    kFilter.stripProc(I, ramp, q, r, kEps);
    for (int y = 0; y < q.rows; ++y) {
        for (int x = 0; x < q.cols; ++x) {
            const bool frame = y < 4 * r || x < 4 * r || y >= q.rows - 4 * r || x >= q.cols - 4 * r;
            const float expected = frame ? ramp.at<float>(y, x) : ramp.at<float>(y - 2 * r, x - 2 * r);
            ASSERT_FLOAT_EQ(q.at<float>(y, x), expected) << y << ", " << x;
        }
    }
}

TEST(TGuidedFilterStripTest, APlaneWithoutInnerPixelsIsCopied) {
    for (cv::Size size : {cv::Size(8, 8), cv::Size(8, 30), cv::Size(30, 8), cv::Size(15, 12)}) {
        const cv::Mat I = unitPlane(size, 1), p = unitPlane(size, 2);
        EXPECT_TRUE(samePixels(p, stripped(I, p, 2, 5)));
    }
}

TEST(TGuidedFilterStripTest, WritesNothingAroundASubPlane) {
    const cv::Mat I = unitPlane({40, 30}, 1), p = unitPlane({40, 30}, 2);
    cv::Mat frame = randomPlane(50, 60, CV_32FC1), q = frame(cv::Rect(9, 8, 40, 30));
    cv::Mat expected = frame.clone();
    strippedReference(I, p, 2, 600).copyTo(expected(cv::Rect(9, 8, 40, 30)));
    kFilter.stripProc(I, p, q, 2, kEps);
    EXPECT_TRUE(samePixels(expected, frame));
}

TEST(TGuidedFilterStripTest, TheOutputMayBeThePlaneOrTheGuide) {
    const cv::Mat I = unitPlane({60, 90}, 1), p = unitPlane({60, 90}, 2);
    const cv::Mat expected = strippedReference(I, p, 2, 20);
    cv::Mat plane = p.clone(), guide = I.clone();
    kFilter.gFc1_stripproc(I, plane, plane, 2, kEps, 20);
    EXPECT_TRUE(samePixels(expected, plane));
    kFilter.gFc1_stripproc(guide, p, guide, 2, kEps, 20);
    EXPECT_TRUE(samePixels(expected, guide));
}

TEST(TGuidedFilterStripTest, LeavesTheModelAlone) {
    TGuidedFilter filter;
    cv::Mat q = plane(30, 20);
    filter.stripProc(unitPlane({20, 30}, 1), unitPlane({20, 30}, 2), q, 1, kEps);
    EXPECT_TRUE(filter.m_a0.empty());
    EXPECT_TRUE(filter.m_b.empty());
}

TEST(TGuidedFilterStripTest, OneStripTakesAnyOutputThatItHoldsWhole) {
    const cv::Mat I = unitPlane({50, 40}, 1), p = unitPlane({50, 40}, 2);
    for (cv::Size size : {cv::Size(42, 32), cv::Size(17, 9), cv::Size(1, 1)}) {
        cv::Mat expected = plane(size.height, size.width), q = expected.clone();
        blkGuide(I, p, expected, 2, kEps);
        kFilter.gFc1_blkGuide(I, p, q, 2, kEps);
        EXPECT_TRUE(samePixels(expected, q));
    }
    for (cv::Size size : {cv::Size(42, 33), cv::Size(43, 32)}) {
        cv::Mat tooLarge = plane(size.height, size.width);
        EXPECT_FAILURE(kFilter.gFc1_blkGuide(I, p, tooLarge, 2, kEps),
                       "ERROR - TGuidedFilter::gFc1_blkGuide - q is larger than the strip holds whole");
    }
    cv::Mat empty(0, 42, CV_32FC1);
    kFilter.gFc1_blkGuide(I, p, empty, 2, kEps);
}

TEST(TGuidedFilterStripTest, RefusesWhatDoesNotFitBeforeItWrites) {
    const cv::Mat I = unitPlane({20, 30}, 1), words(30, 20, CV_16UC1);
    cv::Mat q = plane(30, 20), small = plane(30, 19), none(0, 0, CV_32FC1), wordsOut = words.clone();
    const char* type = "ERROR - TGuidedFilter::stripProc - type()!=CV_32FC1";
    EXPECT_FAILURE(kFilter.stripProc(words, I, q, 1, kEps), type);
    EXPECT_FAILURE(kFilter.stripProc(I, words, q, 1, kEps), type);
    EXPECT_FAILURE(kFilter.stripProc(I, I, wordsOut, 1, kEps), type);
    EXPECT_FAILURE(kFilter.stripProc(I.t(), I, q, 1, kEps), "ERROR - TGuidedFilter::stripProc - I.size()!=p.size()");
    EXPECT_FAILURE(kFilter.stripProc(I, I, small, 1, kEps), "ERROR - TGuidedFilter::stripProc - q.size()!=p.size()");
    EXPECT_FAILURE(kFilter.stripProc(I, I, none, 1, kEps), "ERROR - TGuidedFilter::stripProc - q is not allocated");
    for (int r : {-1, 32768})
        EXPECT_FAILURE(kFilter.stripProc(I, I, q, r, kEps), "ERROR - TGuidedFilter::stripProc - r<0 || r>32767");
    cv::Mat wide = plane(20, 30);
    for (cv::Mat* either : {&q, &wide})
        EXPECT_FAILURE(kFilter.stripProc(*either, *either, *either, 6, kEps),
                       "ERROR - TGuidedFilter::stripProc - the planes are smaller than 4r");
    EXPECT_FAILURE(kFilter.gFc1_stripproc(I, I, q, 1, kEps, 0), "ERROR - TGuidedFilter::stripProc - blkH<1");
    EXPECT_TRUE(samePixels(plane(30, 20), q));
}

/// Planes of the covariance step for a mask of 5x3 with the anchor at (2, 1).
struct CovarianceStep {
    cv::Mat X = unitPlane({30, 20}, 1), Y = unitPlane({30, 20}, 2), meanX = unitPlane({26, 18}, 3),
            meanY = unitPlane({26, 18}, 4);
    cv::Mat out = plane(20, 30), tmpWide = plane(20, 30), tmpInner = plane(18, 26);
    IppiSize wideRoi{30, 20}, innerRoi{26, 18}, mask{5, 3};
    IppiPoint anchor{2, 1};

    /// The box means of the products less the products of the means, at (x, y) of an untouched plane.
    cv::Mat expected(const cv::Mat& otherX, const cv::Mat& otherMean, int x, int y) const {
        const cv::Mat wide = product(X, otherX), inner = product(meanX, otherMean);
        cv::Mat whole = plane(20, 30), part = whole(cv::Rect(x, y, 26, 18));
        ippiFilterBox_32f_C1R(wide.ptr<float>(1, 2), stepOf(wide), part.ptr<float>(), stepOf(part), innerRoi, mask,
                              anchor);
        subtract(inner, part);
        return whole;
    }
    void covariance(bool offset) {
        kFilter.calcov2(out, X, Y, meanX, meanY, tmpWide, tmpInner, wideRoi, innerRoi, mask, anchor, offset);
    }
    void variance(bool offset) {
        kFilter.calvar2(out, X, meanX, tmpWide, tmpInner, wideRoi, innerRoi, mask, anchor, offset);
    }
};

TEST(TGuidedFilterStripTest, TheCovarianceStepWritesAtTheOriginOrAtTheAnchor) {
    for (bool offset : {false, true}) {
        CovarianceStep step;
        step.covariance(offset);
        EXPECT_TRUE(samePixels(step.expected(step.Y, step.meanY, offset ? 2 : 0, offset ? 1 : 0), step.out));
        EXPECT_TRUE(samePixels(product(step.X, step.Y), step.tmpWide));
        EXPECT_TRUE(samePixels(product(step.meanX, step.meanY), step.tmpInner));
    }
}

TEST(TGuidedFilterStripTest, TheVarianceStepTakesTheSquares) {
    for (bool offset : {false, true}) {
        CovarianceStep step;
        step.variance(offset);
        EXPECT_TRUE(samePixels(step.expected(step.X, step.meanX, offset ? 2 : 0, offset ? 1 : 0), step.out));
        EXPECT_TRUE(samePixels(square(step.X), step.tmpWide));
        EXPECT_TRUE(samePixels(square(step.meanX), step.tmpInner));
    }
}

TEST(TGuidedFilterStripTest, TheCovarianceStepRefusesRegionsThatDoNotFit) {
    const auto expectRefused = [](const char* text, void (*spoil)(CovarianceStep&)) {
        CovarianceStep step;
        spoil(step);
        EXPECT_FAILURE(step.covariance(true), text);
        EXPECT_TRUE(samePixels(plane(20, 30), step.tmpWide));
    };
    const char* larger = "ERROR - TGuidedFilter::calcov2 - a region is larger than its plane";
    const char* empty = "ERROR - TGuidedFilter::calcov2 - a region is empty";
    const char* windows = "ERROR - TGuidedFilter::calcov2 - the windows of innerRoi are not inside tmpWide";
    expectRefused(larger, [](CovarianceStep& s) { s.wideRoi.height = 21; });
    expectRefused(larger, [](CovarianceStep& s) { s.Y = s.Y.colRange(0, 29); });
    expectRefused(larger, [](CovarianceStep& s) { s.meanY = s.meanY.rowRange(0, 17); });
    expectRefused(larger, [](CovarianceStep& s) { s.out = s.out.rowRange(0, 18); });
    expectRefused(windows, [](CovarianceStep& s) { s.mask.width = 6; });
    expectRefused(windows, [](CovarianceStep& s) { s.mask.height = 4; });
    expectRefused(empty, [](CovarianceStep& s) { s.innerRoi.width = 0; });
    expectRefused(empty, [](CovarianceStep& s) { s.wideRoi.height = -1; });
    const char* anchor = "ERROR - TGuidedFilter::calcov2 - the anchor is outside the mask";
    expectRefused(anchor, [](CovarianceStep& s) { s.anchor.y = 3; });
    expectRefused(anchor, [](CovarianceStep& s) { s.anchor.x = 5; });
    expectRefused(anchor, [](CovarianceStep& s) { s.anchor.y = -1; });
    expectRefused(anchor, [](CovarianceStep& s) { s.anchor.x = -1; });
    const char* type = "ERROR - TGuidedFilter::calcov2 - type()!=CV_32FC1";
    expectRefused(type, [](CovarianceStep& s) { s.X = cv::Mat(20, 30, CV_16UC1); });
    expectRefused(type, [](CovarianceStep& s) { s.Y = cv::Mat(20, 30, CV_32FC2); });
}

}  // namespace
