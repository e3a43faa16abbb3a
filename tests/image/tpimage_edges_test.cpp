#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>
#include <thread>
#include <vector>

#include "kestrova/image/tpimage.h"
#include "kestrova/resample/resample.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

// As this program was loaded, before any test.
const bool kTablesAtStart = TPImage::m_lutFullToEdge_p || TPImage::m_lutEdgeToFull_p;

// A host's class, which has the maps because it derives.
class Edges : public TPImage {
public:
    Edges() { provideEdgeTables(); }
    using TPImage::applyFullToEdgeLUT;
    using TPImage::computeLUT;
    using TPImage::edgeToFull;
    using TPImage::fullToEdge;
};

// Takes the tables away for its scope.
class WithoutTables {
public:
    explicit WithoutTables(bool fullToEdge = true, bool edgeToFull = true) {
        TPImage::provideEdgeTables();
        m_fullToEdge = TPImage::m_lutFullToEdge_p;
        m_edgeToFull = TPImage::m_lutEdgeToFull_p;
        if (fullToEdge) TPImage::m_lutFullToEdge_p = nullptr;
        if (edgeToFull) TPImage::m_lutEdgeToFull_p = nullptr;
    }
    ~WithoutTables() {
        TPImage::m_lutFullToEdge_p = m_fullToEdge;
        TPImage::m_lutEdgeToFull_p = m_edgeToFull;
    }

private:
    unsigned char* m_fullToEdge;
    unsigned short* m_edgeToFull;
};

cv::Size halfOf(cv::Size size) { return {TPImage::half(size.width), TPImage::half(size.height)}; }

cv::Mat randomHalf(cv::Size size, std::uint32_t seed) {
    return randomPlane(halfOf(size).height, halfOf(size).width, CV_16UC1, seed);
}

// A plane whose residuals are small as well as large.
cv::Mat scene(cv::Size size, std::uint32_t seed = 1) {
    cv::Mat plane = randomPlane(size.height, size.width, CV_16UC1, 30000, 30040, seed);
    const cv::Mat strong = randomPlane(size.height, size.width, CV_16UC1, seed + 1);
    strong.copyTo(plane, randomPlane(size.height, size.width, CV_8UC1, seed + 2) < 60);
    return plane;
}

cv::Mat naiveUp(const cv::Mat& half, cv::Size size) {
    cv::Mat up(size, CV_16UC1);
    cv::pyrUp(half, up, size, cv::BORDER_REFLECT_101);
    if (size.width > 2 * half.cols) up.col(size.width - 2).copyTo(up.col(size.width - 1));
    return up;
}

// ---- The tables

TEST(TPImageEdgesTest, TheTablesStartAsNull) { EXPECT_FALSE(kTablesAtStart); }

TEST(TPImageEdgesTest, ADerivedClassProvidesTheTablesOnceForAll) {
    const Edges first;
    const unsigned char* const fullToEdge = TPImage::m_lutFullToEdge_p;
    const unsigned short* const edgeToFull = TPImage::m_lutEdgeToFull_p;
    ASSERT_NE(fullToEdge, nullptr);
    ASSERT_NE(edgeToFull, nullptr);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back([] { TPImage::provideEdgeTables(); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(TPImage::m_lutFullToEdge_p, fullToEdge);
    EXPECT_EQ(TPImage::m_lutEdgeToFull_p, edgeToFull);
}

TEST(TPImageEdgesTest, ResidualsAreCompandedByASignedSquareRoot) {
    const Edges edges;
    constexpr float factor = 0x1.6a0902p-1f;
    for (int i = 0; i < 65536; ++i) {
        const float v = i < 32768 ? 128.0f - std::sqrt(static_cast<float>(32768 - i)) * factor
                                  : std::sqrt(static_cast<float>(i - 32768)) * factor + 128.0f;
        ASSERT_EQ(TPImage::m_lutFullToEdge_p[i], std::clamp(static_cast<int>(std::nearbyint(v)), 0, 255)) << i;
    }
    for (auto [i, value] : {std::pair{0, 0}, {32767, 127}, {32768, 128}, {32769, 129}, {65535, 255}})
        EXPECT_EQ(TPImage::m_lutFullToEdge_p[i], value) << i;
}

TEST(TPImageEdgesTest, EdgesAreExpandedByASignedSquareThatStopsShortOfFullScale) {
    const Edges edges;
    constexpr float factor = 0x1.6a0acap+0f;
    for (int i = 0; i < 256; ++i) {
        const float s = static_cast<float>(i < 128 ? 128 - i : i - 128) * factor;
        const float v = i < 128 ? 32768.0f - s * s : s * s + 32768.0f;
        ASSERT_EQ(TPImage::m_lutEdgeToFull_p[i], static_cast<int>(std::trunc(v))) << i;
    }
    for (auto [i, value] : {std::pair{0, 0},
                            {1, 509},
                            {126, 32760},
                            {127, 32766},
                            {128, 32768},
                            {129, 32770},
                            {130, 32776},
                            {255, 65026}})
        EXPECT_EQ(TPImage::m_lutEdgeToFull_p[i], value) << i;
}

TEST(TPImageEdgesTest, ComputingFillsTheTablesAnew) {
    const Edges edges;
    const unsigned char before = TPImage::m_lutFullToEdge_p[40000];
    TPImage::m_lutFullToEdge_p[40000] = static_cast<unsigned char>(before + 1);
    TPImage::m_lutEdgeToFull_p[7] = 1;
    Edges::computeLUT();
    EXPECT_EQ(TPImage::m_lutFullToEdge_p[40000], before);
    EXPECT_NE(TPImage::m_lutEdgeToFull_p[7], 1);
}

TEST(TPImageEdgesTest, ComputingTablesThatAreNotThereFails) {
    const char text[] = "ERROR - TPImage::computeLUT: LUT is not allocated.";
    for (auto [first, second] : {std::pair{true, true}, {true, false}, {false, true}}) {
        const WithoutTables without(first, second);
        EXPECT_FAILURE(Edges::computeLUT(), text);
    }
}

TEST(TPImageEdgesTest, MapsNeedTheirTable) {
    const WithoutTables without;
    const cv::Mat full = randomPlane(4, 4, CV_16UC1), half = randomPlane(2, 2, CV_16UC1), edge(4, 4, CV_8UC1);
    cv::Mat out;
    EXPECT_FAILURE(Edges::applyFullToEdgeLUT(full, out), "ERROR - TPImage::applyFullToEdgeLUT: LUT is NULL.");
    EXPECT_FAILURE(Edges::fullToEdge(full, half, out), "ERROR - TPImage::fullToEdge - m_lutFullToEdge_p==NULL");
    EXPECT_FAILURE(Edges::edgeToFull(edge, half, out, 1), "ERROR - TPImage::edgeToFull - m_lutEdgeToFull_p==NULL");
    EXPECT_FAILURE(Edges::edgeToFull(edge, half, half, out, 0, 1),
                   "ERROR - TPImage::edgeToFull - m_lutEdgeToFull_p==NULL");
    EXPECT_TRUE(out.empty());
}

// ---- The table applied

TEST(TPImageEdgesTest, ApplyLooksEveryResidualUp) {
    const Edges edges;
    for (const cv::Size& size : testSizes()) {
        const cv::Mat in = asSubPlane(randomPlane(size.height, size.width, CV_16UC1));
        cv::Mat expected(size, CV_8UC1);
        for (int y = 0; y < size.height; ++y)
            for (int x = 0; x < size.width; ++x)
                expected.at<uchar>(y, x) = TPImage::m_lutFullToEdge_p[in.at<ushort>(y, x)];
        withThreadCounts([&](int) {
            cv::Mat out;
            Edges::applyFullToEdgeLUT(in, out);
            ASSERT_TRUE(samePixels(expected, out)) << size;
            cv::Mat into = asSubPlane(cv::Mat(size, CV_8UC1, cv::Scalar(9)));
            const uchar* data = into.data;
            Edges::applyFullToEdgeLUT(in, into);
            ASSERT_TRUE(samePixels(expected, into)) << size;
            ASSERT_EQ(into.data, data);
        });
    }
}

TEST(TPImageEdgesTest, ApplyIntoItsOwnSourceReplacesThePlane) {
    const Edges edges;
    // A seed of its own: memory that was free before holds the pixels of other tests.
    cv::Mat plane = randomPlane(5, 7, CV_16UC1, 4711), expected;
    Edges::applyFullToEdgeLUT(plane, expected);
    Edges::applyFullToEdgeLUT(plane, plane);
    EXPECT_TRUE(samePixels(expected, plane));
}

// ---- From a plane to its edges

cv::Mat naiveFullToEdge(const cv::Mat& full, const cv::Mat& half) {
    cv::Mat small = half;
    if (half.empty()) {
        small.create(full.rows / 2 + 1, full.cols / 2 + 1, CV_16UC1);
        downSize2X(full, small, 257);
    }
    const cv::Mat up = naiveUp(small, full.size());
    cv::Mat edge(full.size(), CV_8UC1);
    for (int y = 0; y < full.rows; ++y)
        for (int x = 0; x < full.cols; ++x) {
            const int d = full.at<ushort>(y, x) - up.at<ushort>(y, x);
            edge.at<uchar>(y, x) = TPImage::m_lutFullToEdge_p[std::clamp(d / 2 + 32768, 0, 65535)];
        }
    return edge;
}

cv::Mat naiveEdgeToFull(const cv::Mat& edge, const cv::Mat& half, float gain) {
    cv::Mat full = naiveUp(half, edge.size());
    for (int y = 0; y < full.rows; ++y)
        for (int x = 0; x < full.cols; ++x) {
            const int residual = TPImage::m_lutEdgeToFull_p[edge.at<uchar>(y, x)];
            ushort& p = full.at<ushort>(y, x);
            if (std::fabs(gain - 1.0f) <= 0.01f)
                p = static_cast<ushort>(std::clamp(p - 32768 + residual, 0, 65535));
            else
                p = cv::saturate_cast<ushort>(
                    static_cast<double>((static_cast<float>(residual) - 32768.0f) * gain + static_cast<float>(p)));
        }
    return full;
}

TEST(TPImageEdgesTest, EdgesAreTheHalvedResidualOverTheEnlargedHalf) {
    const Edges edges;
    for (const cv::Size& size : testSizes()) {
        for (const cv::Mat& half : {randomHalf(size, 4), cv::Mat(halfOf(size), CV_16UC1, cv::Scalar(30020))}) {
            const cv::Mat full = asSubPlane(scene(size)), expected = naiveFullToEdge(full, half);
            withThreadCounts([&](int) {
                cv::Mat edge;
                Edges::fullToEdge(full, asSubPlane(half), edge);
                ASSERT_TRUE(samePixels(expected, edge)) << size;
            });
        }
    }
}

TEST(TPImageEdgesTest, AHalfPlaneOfTruncatedSizeServesAsWell) {
    const Edges edges;
    for (const cv::Size& size : {cv::Size(31, 21), cv::Size(3, 3), cv::Size(3, 5), cv::Size(5, 3), cv::Size(33, 3)})
        for (int rows : {size.height / 2, size.height / 2 + 1}) {
            const cv::Mat full = scene(size), half = randomPlane(rows, size.width / 2, CV_16UC1);
            cv::Mat edge, back;
            Edges::fullToEdge(full, half, edge);
            EXPECT_TRUE(samePixels(naiveFullToEdge(full, half), edge)) << size << rows;
            Edges::edgeToFull(edge, half, back, 2);
            EXPECT_TRUE(samePixels(naiveEdgeToFull(edge, half, 2), back)) << size << rows;
        }
}

TEST(TPImageEdgesTest, WithoutAHalfPlaneOddPlanesAreReducedFirst) {
    const Edges edges;
    for (const cv::Size& size :
         {cv::Size(1, 1), cv::Size(1, 9), cv::Size(9, 1), cv::Size(31, 21), cv::Size(301, 227)}) {
        const cv::Mat full = scene(size);
        cv::Mat edge;
        Edges::fullToEdge(full, cv::Mat(), edge);
        EXPECT_TRUE(samePixels(naiveFullToEdge(full, cv::Mat()), edge)) << size;
    }
}

TEST(TPImageEdgesTest, WithoutAHalfPlaneAnEvenSideIsNoStepOfThePyramid) {
    const Edges edges;
    for (const cv::Size& size : {cv::Size(8, 6), cv::Size(8, 7), cv::Size(7, 6)}) {
        cv::Mat edge;
        EXPECT_THROW(Edges::fullToEdge(scene(size), cv::Mat(), edge), cv::Exception) << size;
        EXPECT_TRUE(edge.empty());
    }
}

TEST(TPImageEdgesTest, TheSmallestResidualsAreLostOrKeptWhole) {
    const Edges edges;
    const cv::Mat half(3, 4, CV_16UC1, cv::Scalar(1000)), up(6, 8, CV_16UC1, cv::Scalar(1000));
    for (auto [d, value] : {std::pair{0, 128}, {1, 128}, {-1, 128}, {2, 129}, {-2, 127}, {3, 129}, {-3, 127}}) {
        cv::Mat full = up.clone(), edge, restored;
        full.at<ushort>(2, 3) = static_cast<ushort>(1000 + d);
        Edges::fullToEdge(full, half, edge);
        EXPECT_EQ(edge.at<uchar>(2, 3), value) << d;
        edge.at<uchar>(2, 3) = 128;
        EXPECT_EQ(cv::countNonZero(edge != 128), 0);
    }
    cv::Mat edge(6, 8, CV_8UC1, cv::Scalar(129)), full;
    Edges::edgeToFull(edge, half, full, 1);
    EXPECT_EQ(full.at<ushort>(2, 3), 1002);
}

TEST(TPImageEdgesTest, LargestResidualsReachTheEnds) {
    const Edges edges;
    cv::Mat edge;
    Edges::fullToEdge(cv::Mat(2, 2, CV_16UC1, cv::Scalar(65535)), cv::Mat(1, 1, CV_16UC1, cv::Scalar(0)), edge);
    EXPECT_EQ(edge.at<uchar>(0, 0), TPImage::m_lutFullToEdge_p[65535]);
    Edges::fullToEdge(cv::Mat(2, 2, CV_16UC1, cv::Scalar(0)), cv::Mat(1, 1, CV_16UC1, cv::Scalar(65535)), edge);
    EXPECT_EQ(edge.at<uchar>(0, 0), TPImage::m_lutFullToEdge_p[1]);
}

TEST(TPImageEdgesTest, AFlatPlaneHasNoEdgesAndComesBackUnderAnyGain) {
    const Edges edges;
    const cv::Mat full(6, 8, CV_16UC1, cv::Scalar(4711)), half(3, 4, CV_16UC1, cv::Scalar(4711));
    cv::Mat edge, back;
    Edges::fullToEdge(full, half, edge);
    EXPECT_TRUE(samePixels(cv::Mat(6, 8, CV_8UC1, cv::Scalar(128)), edge));
    for (float gain : {0.0f, 1.0f, 2.0f, -3.0f, 100.0f}) {
        Edges::edgeToFull(edge, half, back, gain);
        EXPECT_TRUE(samePixels(full, back)) << gain;
    }
}

// ---- And back

TEST(TPImageEdgesTest, TheResidualIsAddedUnderAGain) {
    const Edges edges;
    for (const cv::Size& size : testSizes()) {
        const cv::Mat edge = asSubPlane(randomPlane(size.height, size.width, CV_8UC1, 8)), half = randomHalf(size, 4);
        for (float gain : {1.0f, 0.37f, 2.0f, -1.5f, 1.02f}) {
            const cv::Mat expected = naiveEdgeToFull(edge, half, gain);
            withThreadCounts([&](int) {
                cv::Mat full;
                Edges::edgeToFull(edge, asSubPlane(half), full, gain);
                ASSERT_TRUE(samePixels(expected, full)) << size << ' ' << gain;
            });
        }
    }
}

TEST(TPImageEdgesTest, GainsCloseToOneAreOne) {
    const Edges edges;
    const cv::Mat edge = randomPlane(20, 30, CV_8UC1), half(10, 15, CV_16UC1, cv::Scalar(32768));
    cv::Mat one, close, far;
    Edges::edgeToFull(edge, half, one, 1);
    // The last are the floats next to 1.01 and 0.99, on either side of 0.01f.
    for (float gain : {1.005f, 0.995f, 0x1.028f5cp+0f, 0x1.fae148p-1f}) {
        Edges::edgeToFull(edge, half, close, gain);
        EXPECT_TRUE(samePixels(one, close)) << gain;
    }
    for (float gain : {1.0101f, 0.9899f, 0x1.028f5ep+0f, 0x1.fae146p-1f}) {
        Edges::edgeToFull(edge, half, far, gain);
        EXPECT_GT(cv::countNonZero(one != far), 0) << gain;
        EXPECT_TRUE(samePixels(naiveEdgeToFull(edge, half, gain), far));
    }
}

TEST(TPImageEdgesTest, AGainOfTwoRestoresThePicture) {
    const Edges edges;
    cv::Mat full(60, 80, CV_16UC1);
    for (int y = 0; y < full.rows; ++y)
        for (int x = 0; x < full.cols; ++x)
            full.at<ushort>(y, x) = static_cast<ushort>(30000 + 9000 * std::sin(x * 0.9) * std::cos(y * 0.7));
    cv::Mat half(30, 40, CV_16UC1), edge, whole, halved;
    downSize2X(full, half, 257);
    Edges::fullToEdge(full, half, edge);
    Edges::edgeToFull(edge, half, whole, 2);
    Edges::edgeToFull(edge, half, halved, 1);
    const cv::Mat up = naiveUp(half, full.size());
    for (int y = 0; y < full.rows; ++y)
        for (int x = 0; x < full.cols; ++x) {
            const double residual = full.at<ushort>(y, x) - up.at<ushort>(y, x);
            // A step of the edge is 4 e + 2 levels of a residual of 2 e^2, of which half can be lost, twice it at
            // gain 2.
            const double tolerance = 2 * std::sqrt(2 * std::fabs(residual)) + 6;
            ASSERT_NEAR(whole.at<ushort>(y, x), full.at<ushort>(y, x), tolerance);
            ASSERT_NEAR(halved.at<ushort>(y, x), up.at<ushort>(y, x) + residual / 2, tolerance);
        }
}

TEST(TPImageEdgesTest, AGainThatIsNotANumberGivesBlack) {
    const Edges edges;
    cv::Mat full;
    Edges::edgeToFull(randomPlane(4, 4, CV_8UC1), randomPlane(2, 2, CV_16UC1), full,
                      std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(cv::countNonZero(full), 0);
}

TEST(TPImageEdgesTest, TheResultMayTakeThePlaceOfAnInput) {
    const Edges edges;
    const cv::Mat edge = randomPlane(6, 8, CV_8UC1), half = randomPlane(3, 4, CV_16UC1);
    const cv::Mat expected = naiveEdgeToFull(edge, half, 2);
    cv::Mat plane = half.clone();
    Edges::edgeToFull(edge, plane, plane, 2);
    EXPECT_TRUE(samePixels(expected, plane));
    cv::Mat small = half.clone(), expectedEdge = naiveFullToEdge(expected, half);
    Edges::fullToEdge(expected, small, small);
    EXPECT_TRUE(samePixels(expectedEdge, small));
    cv::Mat whole = expected.clone();
    Edges::fullToEdge(whole, half, whole);
    EXPECT_TRUE(samePixels(expectedEdge, whole));
}

// ---- Failures

TEST(TPImageEdgesTest, OtherTypesAreRefused) {
    const Edges edges;
    const cv::Mat words = randomPlane(4, 4, CV_16UC1), bytes = randomPlane(4, 4, CV_8UC1);
    const cv::Mat half = randomPlane(2, 2, CV_16UC1), half8 = randomPlane(2, 2, CV_8UC1);
    const std::string trace = std::string(" - 103 - upSize2X : out2X is not allocated - ");
    cv::Mat out;
    EXPECT_FAILURE(Edges::applyFullToEdgeLUT(bytes, out), "ERROR - TPImage::applyFullToEdgeLUT - in.type()!=CV_16UC1");
    EXPECT_FAILURE(Edges::fullToEdge(bytes, half, out), "ERROR - TPImage::fullToEdge - full.type()!=CV_16UC1");
    EXPECT_TRACED_FAILURE(Edges::fullToEdge(words, half8, out), trace);
    EXPECT_TRUE(out.empty());
    EXPECT_FAILURE(Edges::edgeToFull(words, half, out, 1), "ERROR - TPImage::edgeToFull - edge.type()!=CV_8UC1");
    EXPECT_FAILURE(Edges::edgeToFull(words, half, half, out, 0, 1),
                   "ERROR - TPImage::edgeToFull - edge.type()!=CV_8UC1");
    EXPECT_FAILURE(Edges::edgeToFull(bytes, half8, half, out, 0, 1),
                   "ERROR - TPImage::edgeToFull - halfOld.type()!=CV_16UC1");
    EXPECT_FAILURE(Edges::edgeToFull(bytes, half, half8, out, 0, 1),
                   "ERROR - TPImage::edgeToFull - halfNew.type()!=CV_16UC1");
    EXPECT_FAILURE(Edges::edgeToFull(bytes, words, half, out, 0, 1),
                   "ERROR - TPImage::edgeToFull - halfOld.size()!=halfNew.size()");
    EXPECT_TRUE(out.empty());
    EXPECT_TRACED_FAILURE(Edges::edgeToFull(bytes, half8, out, 1), trace);
}

TEST(TPImageEdgesTest, PlanesWithoutPixelsFailInTheResampling) {
    const Edges edges;
    const std::string trace = std::string(" - 103 - upSize2X : out2X is not allocated - ");
    const cv::Mat half = randomPlane(2, 2, CV_16UC1), none8(0, 0, CV_8UC1), none16(0, 0, CV_16UC1);
    cv::Mat out;
    EXPECT_TRACED_FAILURE(Edges::fullToEdge(none16, half, out), trace);
    EXPECT_FAILURE(Edges::fullToEdge(none16, none16, out), "ERROR - downSize2X - in.empty()");
    EXPECT_TRACED_FAILURE(Edges::edgeToFull(none8, half, out, 1), trace);
    EXPECT_TRACED_FAILURE(Edges::edgeToFull(none8, half, half, out, 0, 1), trace);
    for (int side : {1, 2}) {  // a step from 0 to 1 would do but for the pixels
        const cv::Mat edge = randomPlane(side, side, CV_8UC1);
        EXPECT_THROW(Edges::edgeToFull(edge, none16, out, 1), cv::Exception);
        EXPECT_THROW(Edges::edgeToFull(edge, none16, none16, out, 0, 1), cv::Exception);
    }
    const cv::Mat noColumns(1, 0, CV_16UC1);
    EXPECT_THROW(Edges::edgeToFull(randomPlane(2, 2, CV_8UC1), noColumns, noColumns, out, 0, 1), cv::Exception);
    Edges::applyFullToEdgeLUT(none16, out);
    EXPECT_TRUE(out.empty());
}

TEST(TPImageEdgesTest, HalfPlanesOfNoStepAreOpenCVsFailure) {
    const Edges edges;
    const cv::Mat full = randomPlane(8, 8, CV_16UC1), edge = randomPlane(8, 8, CV_8UC1);
    cv::Mat out;
    for (const cv::Size& size : {cv::Size(3, 4), cv::Size(4, 5), cv::Size(8, 8)}) {
        const cv::Mat half = randomPlane(size.height, size.width, CV_16UC1);
        EXPECT_THROW(Edges::fullToEdge(full, half, out), cv::Exception);
        EXPECT_TRUE(out.empty());
        EXPECT_THROW(Edges::edgeToFull(edge, half, out, 1), cv::Exception);
        EXPECT_THROW(Edges::edgeToFull(edge, half, half, out, 0, 1), cv::Exception);
        out.release();
    }
}

}  // namespace
