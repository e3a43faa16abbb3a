#include "kestrova/filters/tguidedfilter.h"
#include "tests/filters/guided_reference.h"
#include "tests/support/failures.h"
#include "tests/support/threads.h"

namespace {

using namespace guided_reference;

/// A model of any coefficients, some of which lead beyond the range of the pixels.
TGuidedFilter anyModel(cv::Size size) {
    TGuidedFilter filter;
    filter.m_a0 = asSubPlane(randomPlane(size.height, size.width, CV_32FC1, -1, 2, 11));
    filter.m_a1 = randomPlane(size.height, size.width, CV_32FC1, -1, 1, 12);
    filter.m_a2 = randomPlane(size.height, size.width, CV_32FC1, -1, 1, 13);
    filter.m_b = randomPlane(size.height, size.width, CV_32FC1, -0.3, 0.6, 14);
    return filter;
}

cv::Mat applied(const TGuidedFilter& filter, const std::vector<cv::Mat>& guide) {
    cv::Mat q;
    filter.proc(guide, q);
    return q;
}

cv::Mat expected(const TGuidedFilter& filter, const std::vector<cv::Mat>& guide) {
    const std::vector<cv::Mat> slopes = {filter.m_a0, filter.m_a1, filter.m_a2};
    return guide[0].depth() == CV_8U ? applyLoop<uchar>(guide, slopes, filter.m_b)
                                     : applyLoop<ushort>(guide, slopes, filter.m_b);
}

std::vector<cv::Mat> anyGuide(cv::Size size, int type) {
    return {randomPlane(size.height, size.width, type, 1), asSubPlane(randomPlane(size.height, size.width, type, 2)),
            randomPlane(size.height, size.width, type, 3)};
}

void expectApplied(const TGuidedFilter& filter, cv::Size size) {
    for (int type : {CV_8UC1, CV_16UC1}) {
        SCOPED_TRACE(testing::Message() << "model " << filter.m_b.size() << " guide " << size << " type " << type);
        const std::vector<cv::Mat> three = anyGuide(size, type), one = {three[1]};
        EXPECT_TRUE(samePixels(expected(filter, one), applied(filter, one)));
        EXPECT_TRUE(samePixels(expected(filter, three), applied(filter, three)));
    }
}

TEST(TGuidedFilterApplyTest, AGuideOfTheModelsSizeHasACoefficientForEachPixel) {
    for (cv::Size size : testSizes()) expectApplied(anyModel(size), size);
}

TEST(TGuidedFilterApplyTest, ALargerGuideIsServedInBlocks) {
    for (cv::Size size : testSizes()) {
        for (int n : {2, 3, 4, 5}) {
            if (size.area() * n * n > 700000) continue;
            expectApplied(anyModel(size), {size.width * n, size.height * n});
            expectApplied(anyModel(size), {size.width * n - n + 1, size.height * n - n + 1});
        }
    }
    expectApplied(anyModel({40, 30}), {133, 47});
}

TEST(TGuidedFilterApplyTest, OfASmallerGuideTheRightAndTheBottomOfTheModelAreNeverRead) {
    expectApplied(anyModel({64, 48}), {33, 17});
    expectApplied(anyModel({64, 48}), {33, 480});
    expectApplied(anyModel({64, 48}), {330, 17});
}

TEST(TGuidedFilterApplyTest, TwiceTheSizeLessOneGivesTheLastCellASingleColumn) {
    TGuidedFilter filter;
    filter.m_a0 = cv::Mat::zeros(1, 3, CV_32FC1);
    filter.m_b = (cv::Mat_<float>(1, 3) << 10 / 255.0f, 20 / 255.0f, 30 / 255.0f);
    EXPECT_TRUE(
        samePixels((cv::Mat_<uchar>(1, 5) << 10, 10, 20, 20, 30), applied(filter, {cv::Mat::zeros(1, 5, CV_8UC1)})));
}

// Beyond 2^24 the single-precision quotient rounds down to a whole number: the last cell serves what is left.
TEST(TGuidedFilterApplyTest, PixelsBeyondTheBlocksTakeTheLastCell) {
    const int cells = 1 << 24;
    TGuidedFilter filter;
    filter.m_a0.create(1, cells, CV_32FC1);
    filter.m_b.create(1, cells, CV_32FC1);
    filter.m_a0.setTo(0);
    filter.m_b.setTo(0.2f);
    filter.m_b.at<float>(0, cells - 1) = 0.4f;
    cv::Mat wide = cv::Mat::zeros(1, cells + 1, CV_8UC1), q;
    filter.proc({wide}, q);
    EXPECT_EQ(q.at<uchar>(0, cells - 2), 51);
    EXPECT_EQ(q.at<uchar>(0, cells - 1), 102);
    EXPECT_EQ(q.at<uchar>(0, cells), 102);
    filter.m_a0 = filter.m_a0.reshape(1, cells);
    filter.m_b = filter.m_b.reshape(1, cells);
    q.release();
    filter.proc({wide.reshape(1, cells + 1)}, q);
    EXPECT_EQ(q.at<uchar>(cells - 2, 0), 51);
    EXPECT_EQ(q.at<uchar>(cells - 1, 0), 102);
    EXPECT_EQ(q.at<uchar>(cells, 0), 102);
}

TEST(TGuidedFilterApplyTest, RoundsTiesToEvenAndSaturates) {
    TGuidedFilter filter;
    filter.m_a0 = (cv::Mat_<float>(1, 6) << 0.5f, 0.5f, 2, -1, 1, 0);
    filter.m_b = (cv::Mat_<float>(1, 6) << 0, 0, 0, 0, 1, -1);
    EXPECT_TRUE(samePixels((cv::Mat_<uchar>(1, 6) << 2, 4, 255, 0, 255, 0),
                           applied(filter, {(cv::Mat_<uchar>(1, 6) << 5, 7, 200, 200, 3, 3)})));
    EXPECT_TRUE(samePixels((cv::Mat_<ushort>(1, 6) << 2, 4, 65535, 0, 65535, 0),
                           applied(filter, {(cv::Mat_<ushort>(1, 6) << 5, 7, 40000, 40000, 3, 3)})));
}

TEST(TGuidedFilterApplyTest, AnyNumberOfThreadsGivesTheSame) {
    const TGuidedFilter filter = anyModel({150, 101});
    withThreadCounts([&](int) {
        expectApplied(filter, {299, 202});
        expectApplied(filter, {150, 301});
    });
}

TEST(TGuidedFilterApplyTest, AnyOtherDepthGivesACopyOfTheGuide) {
    const TGuidedFilter without, with = anyModel({9, 7});
    for (int type : {CV_32FC1, CV_16SC1, CV_8SC1, CV_64FC1, CV_32FC3}) {
        const cv::Mat first = asSubPlane(randomPlane(14, 18, type)), other = randomPlane(3, 2, CV_8UC1);
        for (const TGuidedFilter* filter : {&without, &with}) {
            EXPECT_TRUE(samePixels(first, applied(*filter, {first})));
            const cv::Mat q = applied(*filter, {first, other, other});
            EXPECT_TRUE(samePixels(first, q));
            EXPECT_NE(q.data, first.data);
        }
    }
}

TEST(TGuidedFilterApplyTest, WritesIntoAnOutputThatFitsAndReplacesAnother) {
    const TGuidedFilter filter = anyModel({9, 7});
    const std::vector<cv::Mat> guide = {randomPlane(14, 18, CV_16UC1)};
    cv::Mat fitting = asSubPlane(cv::Mat(14, 18, CV_16UC1, cv::Scalar(7))), other(14, 18, CV_8UC1);
    const uchar* data = fitting.data;
    filter.proc(guide, fitting);
    EXPECT_EQ(fitting.data, data);
    EXPECT_TRUE(samePixels(expected(filter, guide), fitting));
    filter.proc(guide, other);
    EXPECT_TRUE(samePixels(expected(filter, guide), other));
}

TEST(TGuidedFilterApplyTest, TheOutputMayBeAPlaneOfTheGuide) {
    const TGuidedFilter filter = anyModel({75, 60});
    for (int type : {CV_8UC1, CV_16UC1}) {
        for (std::size_t k = 0; k < 3; ++k) {
            std::vector<cv::Mat> guide = anyGuide({150, 120}, type);
            const cv::Mat result = expected(filter, guide);
            cv::Mat q = guide[k];
            filter.proc(guide, q);
            EXPECT_TRUE(samePixels(result, guide[k]));
        }
    }
}

TEST(TGuidedFilterApplyTest, TheOutputMayRunOverAPlaneOfTheGuide) {
    const TGuidedFilter filter = anyModel({75, 60});
    for (int type : {CV_8UC1, CV_16UC1}) {
        for (cv::Point shift : {cv::Point(0, 1), cv::Point(3, 0), cv::Point(2, 2)}) {
            const cv::Mat frame = randomPlane(122, 153, type);
            const cv::Rect at(0, 0, 150, 120);
            const std::vector<cv::Mat> guide = {randomPlane(120, 150, type, 2), frame(at), frame(at + shift)};
            for (const std::vector<cv::Mat>& planes : {guide, {guide[1]}}) {
                const cv::Mat before = frame.clone(), result = expected(filter, planes);
                cv::Mat q = frame(at + shift);
                filter.proc(planes, q);
                EXPECT_TRUE(samePixels(result, q));
                EXPECT_EQ(q.data, guide[2].data);
                before.copyTo(frame);
            }
        }
    }
}

TEST(TGuidedFilterApplyTest, LeavesTheModelAsItIs) {
    const TGuidedFilter filter = anyModel({9, 7});
    const cv::Mat a0 = filter.m_a0.clone(), b = filter.m_b.clone();
    applied(filter, {randomPlane(14, 18, CV_16UC1)});
    EXPECT_TRUE(samePixels(a0, filter.m_a0));
    EXPECT_TRUE(samePixels(b, filter.m_b));
}

TEST(TGuidedFilterApplyTest, ProcRefusesAnotherNumberOfPlanes) {
    const TGuidedFilter filter = anyModel({8, 8});
    cv::Mat q;
    for (std::size_t count : {0, 2, 4})
        EXPECT_FAILURE(filter.proc(std::vector<cv::Mat>(count, randomPlane(8, 8, CV_8UC1)), q),
                       "ERROR - TGuidedFilter::proc - input vector size is not correct.");
    EXPECT_FAILURE(filter.gFc3_applyLoop({}, q), "ERROR - TGuidedFilter::proc - input vector size is not correct.");
}

TEST(TGuidedFilterApplyTest, ProcRefusesWhatDoesNotFitBeforeItWrites) {
    const cv::Mat bytes = randomPlane(6, 8, CV_8UC1), words = randomPlane(6, 8, CV_16UC1);
    cv::Mat q(2, 2, CV_8UC1, cv::Scalar(9));
    TGuidedFilter filter;
    const char* noModel = "ERROR - TGuidedFilter::proc - there is no model of a guide like this";
    EXPECT_FAILURE(filter.proc({bytes}, q), noModel);
    EXPECT_FAILURE(filter.proc({words, words, words}, q), noModel);
    filter.setup({unitPlane({8, 6}, 1)}, unitPlane({8, 6}, 2), 1, 0.01f);
    EXPECT_FAILURE(filter.proc({bytes, bytes, bytes}, q), noModel);
    EXPECT_FAILURE(filter.proc({cv::Mat()}, q), "ERROR - TGuidedFilter::proc - guide[0].empty()");
    EXPECT_FAILURE(filter.proc({randomPlane(6, 8, CV_8UC3)}, q),
                   "ERROR - TGuidedFilter::proc - guide[0].channels()!=1");
    filter = anyModel({8, 6});
    EXPECT_FAILURE(filter.proc({bytes, bytes, words}, q), "ERROR - TGuidedFilter::proc - guide types differ");
    EXPECT_FAILURE(filter.proc({bytes, bytes.t(), bytes}, q), "ERROR - TGuidedFilter::proc - guide sizes differ");
    EXPECT_TRUE(samePixels(cv::Mat(2, 2, CV_8UC1, cv::Scalar(9)), q));
}

/// A plane of coefficients at the size of the guide.
cv::Mat resized(const cv::Mat& coefficients, cv::Size size, int interpolation) {
    cv::Mat dst = plane(size.height, size.width);
    const IppiRect from{0, 0, coefficients.cols, coefficients.rows}, to{0, 0, dst.cols, dst.rows};
    ippiResizeSqrPixel_32f_C1R(coefficients.ptr<float>(), sizeOf(coefficients), stepOf(coefficients), from,
                               dst.ptr<float>(), stepOf(dst), to, double(dst.cols) / double(coefficients.cols),
                               double(dst.rows) / double(coefficients.rows), 0, 0, interpolation, nullptr);
    return dst;
}

TEST(TGuidedFilterApplyTest, TheFloatFormResizesTheModelCubically) {
    const TGuidedFilter filter = anyModel({20, 15});
    for (cv::Size size : {cv::Size(20, 15), cv::Size(40, 30), cv::Size(57, 31), cv::Size(7, 5), cv::Size(1, 1)}) {
        const cv::Mat I = asSubPlane(unitPlane(size, 1));
        cv::Mat expected = resized(filter.m_b, size, 4), term = resized(filter.m_a0, size, 4), q;
        multiply(I, term);
        addTo(expected, term);
        filter.gFc1_apply(I, q);
        EXPECT_TRUE(samePixels(expected, q));
        cv::Mat inPlace = I;
        filter.gFc1_apply(I, inPlace);
        EXPECT_TRUE(samePixels(expected, inPlace));
    }
}

TEST(TGuidedFilterApplyTest, TheFloatFormOfThreePlanesTakesTheNearestCoefficients) {
    const TGuidedFilter filter = anyModel({20, 15});
    for (cv::Size size : {cv::Size(20, 15), cv::Size(40, 30), cv::Size(57, 31), cv::Size(7, 5), cv::Size(1, 1)}) {
        const std::vector<cv::Mat> guide = {unitPlane(size, 1), asSubPlane(unitPlane(size, 2)), unitPlane(size, 3)};
        cv::Mat expected = resized(filter.m_b, size, 1), q;
        const cv::Mat slopes[] = {filter.m_a0, filter.m_a1, filter.m_a2};
        for (std::size_t k = 0; k < 3; ++k) {
            cv::Mat term = resized(slopes[k], size, 1);
            multiply(guide[k], term);
            addTo(expected, term);
        }
        filter.gFc3_apply(guide, q);
        EXPECT_TRUE(samePixels(expected, q));
        cv::Mat inPlace = guide[0];
        filter.gFc3_apply(guide, inPlace);
        EXPECT_TRUE(samePixels(expected, inPlace));
    }
}

TEST(TGuidedFilterApplyTest, SlopesOfAnotherSizeThatAFormerSetupLeftAreRefused) {
    const cv::Mat before = unitPlane({8, 6}, 1), I = unitPlane({9, 6}, 1), words = randomPlane(6, 9, CV_16UC1);
    TGuidedFilter filter;
    filter.setup({before, before, before}, before, 1, 0.01f);
    filter.setup({I}, I, 1, 0.01f);
    cv::Mat q;
    EXPECT_FAILURE(filter.proc({words, words, words}, q),
                   "ERROR - TGuidedFilter::proc - there is no model of a guide like this");
    EXPECT_FAILURE(filter.gFc3_apply({I, I, I}, q),
                   "ERROR - TGuidedFilter::apply - there is no model of a guide like this");
    EXPECT_TRUE(q.empty());
}

TEST(TGuidedFilterApplyTest, TheFloatFormsRefuseWhatDoesNotFit) {
    const cv::Mat I = unitPlane({8, 6}, 1), bytes(6, 8, CV_8UC1);
    const TGuidedFilter without, with = anyModel({8, 6});
    cv::Mat q;
    const char* noModel = "ERROR - TGuidedFilter::apply - there is no model of a guide like this";
    EXPECT_FAILURE(without.gFc1_apply(I, q), noModel);
    EXPECT_FAILURE(without.gFc3_apply({I, I, I}, q), noModel);
    EXPECT_FAILURE(with.gFc1_apply(bytes, q), "ERROR - TGuidedFilter::apply - guide.type()!=CV_32FC1");
    EXPECT_FAILURE(with.gFc1_apply(cv::Mat(0, 0, CV_32FC1), q), "ERROR - TGuidedFilter::apply - guide.empty()");
    EXPECT_FAILURE(with.gFc3_apply({I, I}, q), "ERROR - TGuidedFilter::apply - guide.size()!=3");
    EXPECT_FAILURE(with.gFc3_apply({I, I, bytes}, q), "ERROR - TGuidedFilter::apply - guide.type()!=CV_32FC1");
    EXPECT_FAILURE(with.gFc3_apply({I, I.t(), I}, q), "ERROR - TGuidedFilter::apply - guide sizes differ");
    EXPECT_TRUE(q.empty());
}

}  // namespace
