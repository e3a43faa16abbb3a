#include <gtest/gtest.h>

#include "tests/curves/tlut_ydrdb_reference.h"
#include "tests/support/failures.h"
#include "tests/support/threads.h"

namespace {

const char kProcText[] = "ERROR - TLutYDrDb::proc - inOutY16U.type()!=CV_16UC1";
const char kProcTypesText[] =
    "ERROR - TLutYDrDb::proc - inY16U.type()!=CV_16UC1 || inDr8U.type!=CV_8UC1 || inDb8U.type()!=CV_8UC1";
const char kProcSizesText[] = "ERROR - TLutYDrDb::proc inY16U.size != inDr8U.size || inY16U.size!= inDb8U.size";
const char kNoTableText[] = "ERROR - TLutYDrDb::applyYLUT - !m_lutY_p";
const char kYTypeText[] = "ERROR -  TLutYDrDb::applyYLUT(const Mat &inY, Mat &outY) - inY.type() != CV_16UC1";
const char kNoTablesText[] = "ERROR - TLutYDrDb::applyCLUT - m_NC<1 ";
const char kCTypeText[] = "ERROR -TLutYDrDb::applyCLUT: inDr.type() !=inDb_p.type() || inDr.type() != CV_8UC1";

TEST(TLutYDrDbTest, OneTableLooksUpThePairInPlaceToo) {
    Ruled lut(identityRule, 0);
    fillChromaTables(lut);
    for (const cv::Size& size : testSizes()) {
        const cv::Mat dr = asSubPlane(randomPlane(size.height, size.width, CV_8UC1, 1));
        const cv::Mat db = asSubPlane(randomPlane(size.height, size.width, CV_8UC1, 2));
        cv::Mat expectedDr(size, CV_8UC1), expectedDb(size, CV_8UC1);
        for (int y = 0; y < size.height; ++y) {
            for (int x = 0; x < size.width; ++x) {
                const int e = lut.m_CLUT_p[0][dr.at<uchar>(y, x) << 8 | db.at<uchar>(y, x)];
                expectedDr.at<uchar>(y, x) = static_cast<uchar>(e >> 8);
                expectedDb.at<uchar>(y, x) = static_cast<uchar>(e & 0xFF);
            }
        }
        withThreadCounts([&](int) {
            cv::Mat outDr, outDb(2, 2, CV_16UC1);
            lut.applyCLUT(dr, db, outDr, outDb);
            ASSERT_TRUE(samePixels(expectedDr, outDr));
            ASSERT_TRUE(samePixels(expectedDb, outDb));
            cv::Mat sameDr = dr.clone(), sameDb = db.clone();
            lut.applyCLUT(sameDr, sameDb, sameDr, sameDb);
            ASSERT_TRUE(samePixels(expectedDr, sameDr));
            ASSERT_TRUE(samePixels(expectedDb, sameDb));
            cv::Mat first = dr.clone(), second = db.clone();
            lut.applyCLUT(first, second, second, first);
            ASSERT_TRUE(samePixels(expectedDr, second));
            ASSERT_TRUE(samePixels(expectedDb, first));
        });
    }
}

TEST(TLutYDrDbTest, SeveralTablesAreChosenAndMixedByLuminance) {
    for (int nc : {1, 2, 4, 5}) {
        Ruled lut(identityRule, nc);
        fillChromaTables(lut);
        for (const cv::Size& size : testSizes()) {
            const cv::Mat y = asSubPlane(luminanceOfBands(size, 7));
            const cv::Mat dr = asSubPlane(randomPlane(size.height, size.width, CV_8UC1, 1));
            const cv::Mat db = asSubPlane(randomPlane(size.height, size.width, CV_8UC1, 2));
            cv::Mat expectedDr(size, CV_8UC1), expectedDb(size, CV_8UC1);
            for (int r = 0; r < size.height; ++r)
                for (int x = 0; x < size.width; ++x)
                    naiveBands(lut, nc, y.at<ushort>(r, x), dr.at<uchar>(r, x), db.at<uchar>(r, x),
                               expectedDr.at<uchar>(r, x), expectedDb.at<uchar>(r, x));
            withThreadCounts([&](int) {
                cv::Mat outDr, outDb;
                lut.applyCLUT(y, dr, db, outDr, outDb);
                ASSERT_TRUE(samePixels(expectedDr, outDr)) << nc;
                ASSERT_TRUE(samePixels(expectedDb, outDb)) << nc;
            });
        }
    }
}

TEST(TLutYDrDbTest, AChromaOutputMayTakeThePlaceOfTheLuminance) {
    Ruled lut(identityRule, 2);
    fillChromaTables(lut);
    const cv::Mat y = luminanceOfBands({33, 17}, 3);
    const cv::Mat dr = randomPlane(17, 33, CV_8UC1, 4), db = randomPlane(17, 33, CV_8UC1, 5);
    cv::Mat expectedDr, expectedDb;
    lut.applyCLUT(y, dr, db, expectedDr, expectedDb);
    cv::Mat yThenDr = y.clone(), outDb;
    lut.applyCLUT(yThenDr, dr, db, yThenDr, outDb);
    EXPECT_TRUE(samePixels(expectedDr, yThenDr));
    EXPECT_TRUE(samePixels(expectedDb, outDb));
}

TEST(TLutYDrDbTest, EveryLuminanceFollowsTheDivisionInIntegers) {
    for (int nc : {1, 3, 5}) {
        Ruled lut(identityRule, nc);
        fillChromaTables(lut);
        cv::Mat y(256, 256, CV_16UC1), outDr, outDb;
        for (int i = 0; i < 65536; ++i) y.ptr<ushort>()[i] = static_cast<ushort>(i);
        const cv::Mat dr = randomPlane(256, 256, CV_8UC1, 1), db = randomPlane(256, 256, CV_8UC1, 2);
        cv::Mat expectedDr(256, 256, CV_8UC1), expectedDb(256, 256, CV_8UC1);
        for (int i = 0; i < 65536; ++i)
            naiveBands(lut, nc, i, dr.data[i], db.data[i], expectedDr.data[i], expectedDb.data[i]);
        lut.applyCLUT(y, dr, db, outDr, outDb);
        EXPECT_TRUE(samePixels(expectedDr, outDr)) << nc;
        EXPECT_TRUE(samePixels(expectedDb, outDb)) << nc;
    }
}

TEST(TLutYDrDbTest, TheStartOfABandIsTwiceItLessTheNextCutToEightBits) {
    Ruled lut(identityRule, 4);
    for (int c = 0; c < 16; ++c)
        std::fill_n(lut.m_CLUT_p[c], 65536, static_cast<ushort>((10 * c + 3) << 8 | (250 - 10 * c)));
    const cv::Mat dr(1, 1, CV_8UC1, cv::Scalar(7)), db(1, 1, CV_8UC1, cv::Scalar(8));
    cv::Mat outDr, outDb;
    const auto at = [&](int luminance) {
        lut.applyCLUT(cv::Mat(1, 1, CV_16UC1, cv::Scalar(luminance)), dr, db, outDr, outDb);
        return std::pair<int, int>(outDr.at<uchar>(0), outDb.at<uchar>(0));
    };
    EXPECT_EQ(at(8192), std::pair(2 * 23 - 33, 2 * 230 - 220));
    EXPECT_EQ(at(8193), std::pair(23, 230));
    EXPECT_EQ(at(4095), std::pair(3, 250));
    EXPECT_EQ(at(0), std::pair(2 * 3 - 13 + 256, 2 * 250 - 240 - 256));
    EXPECT_EQ(at(61440), std::pair(143, 110));
    EXPECT_EQ(at(61441), std::pair(153, 100));
    EXPECT_EQ(at(65535), std::pair(153, 100));
}

TEST(TLutYDrDbTest, WithOneTableLuminanceIsNotRead) {
    Ruled lut(identityRule, 0);
    fillChromaTables(lut);
    const cv::Mat dr = randomPlane(5, 6, CV_8UC1, 1), db = randomPlane(5, 6, CV_8UC1, 2);
    cv::Mat expectedDr, expectedDb, outDr, outDb;
    lut.applyCLUT(dr, db, expectedDr, expectedDb);
    lut.applyCLUT(cv::Mat(), dr, db, outDr, outDb);
    EXPECT_TRUE(samePixels(expectedDr, outDr));
    EXPECT_TRUE(samePixels(expectedDb, outDb));
}

TEST(TLutYDrDbTest, ProcMapsChromaAgainstTheLuminanceBefore) {
    for (int nc : {0, 2}) {
        Ruled lut(wildRule, nc);
        const cv::Mat y = luminanceOfBands({33, 17}, 3);
        const cv::Mat dr = randomPlane(17, 33, CV_8UC1, 4), db = randomPlane(17, 33, CV_8UC1, 5);
        cv::Mat outY, outDr, outDb;
        EXPECT_TRUE(lut.proc(y, dr, db, outY, outDr, outDb));
        EXPECT_TRUE(samePixels(naiveLookUp(y, tableOf(lut.m_lutY_p)), outY));
        cv::Mat expectedDr, expectedDb;
        lut.applyCLUT(y, dr, db, expectedDr, expectedDb);
        EXPECT_TRUE(samePixels(expectedDr, outDr));
        EXPECT_TRUE(samePixels(expectedDb, outDb));
        cv::Mat sameY = y.clone(), sameDr = dr.clone(), sameDb = db.clone();
        EXPECT_TRUE(lut.proc(sameY, sameDr, sameDb, sameY, sameDr, sameDb));
        EXPECT_TRUE(samePixels(outY, sameY));
        EXPECT_TRUE(samePixels(outDr, sameDr));
        EXPECT_TRUE(samePixels(outDb, sameDb));
    }
}

TEST(TLutYDrDbTest, ProcSurvivesAnOutputThatIsAnotherInput) {
    Ruled lut(wildRule, 2);
    const cv::Mat y = luminanceOfBands({33, 17}, 3);
    const cv::Mat dr = randomPlane(17, 33, CV_8UC1, 4), db = randomPlane(17, 33, CV_8UC1, 5);
    cv::Mat outY, outDr, outDb;
    lut.proc(y, dr, db, outY, outDr, outDb);
    cv::Mat a = y.clone(), b = dr.clone(), c = db.clone();
    lut.proc(a, b, c, b, a, c);
    EXPECT_TRUE(samePixels(outY, b));
    EXPECT_TRUE(samePixels(outDr, a));
    EXPECT_TRUE(samePixels(outDb, c));
}

TEST(TLutYDrDbTest, ProcComputesAnewOnEveryCall) {
    int offset = 100;
    Ruled lut([&offset](ushort& y, uchar& dr, uchar&) { y = static_cast<ushort>(offset), dr = uchar(offset); }, 1);
    cv::Mat plane(2, 2, CV_16UC1, cv::Scalar(5));
    EXPECT_TRUE(lut.proc(plane));
    EXPECT_EQ(plane.at<ushort>(0, 0), 100);
    EXPECT_EQ(lut.m_CLUT_p[1][0] >> 8, 100);
    offset = 50;
    EXPECT_TRUE(lut.proc(plane));
    EXPECT_EQ(plane.at<ushort>(1, 1), 50);
    EXPECT_EQ(lut.m_CLUT_p[1][0] >> 8, 50);
}

TEST(TLutYDrDbTest, WithoutChromaTablesProcLeavesTheChromaOutputs) {
    Ruled lut(wildRule, -1);
    const cv::Mat y = randomPlane(5, 6, CV_16UC1), dr = randomPlane(5, 6, CV_8UC1), db = randomPlane(5, 6, CV_8UC1, 2);
    cv::Mat outY, outDr, outDb = randomPlane(3, 2, CV_32FC1);
    const cv::Mat before = outDb.clone();
    EXPECT_TRUE(lut.proc(y, dr, db, outY, outDr, outDb));
    EXPECT_EQ(outY.size(), y.size());
    EXPECT_TRUE(outDr.empty());
    EXPECT_TRUE(samePixels(before, outDb));
}

TEST(TLutYDrDbTest, FailuresCarryTheirTextsAndWriteNothing) {
    Ruled lut(wildRule, 2), none(wildRule, -1);
    const cv::Mat y = randomPlane(5, 6, CV_16UC1), c = randomPlane(5, 6, CV_8UC1);
    const cv::Mat otherY = randomPlane(6, 5, CV_16UC1), other = randomPlane(6, 5, CV_8UC1);
    cv::Mat outY, outDr, outDb, eight = c.clone();
    EXPECT_FAILURE(lut.proc(eight), kProcText);
    EXPECT_FAILURE(lut.proc(c, c, c, outY, outDr, outDb), kProcTypesText);
    EXPECT_FAILURE(lut.proc(y, y, c, outY, outDr, outDb), kProcTypesText);
    EXPECT_FAILURE(lut.proc(y, c, y, outY, outDr, outDb), kProcTypesText);
    EXPECT_FAILURE(lut.proc(otherY, c, c, outY, outDr, outDb), kProcSizesText);
    EXPECT_FAILURE(lut.proc(y, other, c, outY, outDr, outDb), kProcSizesText);
    EXPECT_FAILURE(lut.proc(y, c, other, outY, outDr, outDb), kProcSizesText);
    EXPECT_FAILURE(none.applyCLUT(c, c, outDr, outDb), kNoTablesText);
    EXPECT_FAILURE(none.applyCLUT(y, c, c, outDr, outDb), kNoTablesText);
    EXPECT_FAILURE(none.applyCLUT(y, y, outDr, outDb), kNoTablesText);
    EXPECT_FAILURE(lut.applyCLUT(y, c, outDr, outDb), kCTypeText);
    EXPECT_FAILURE(lut.applyCLUT(c, y, outDr, outDb), kCTypeText);
    EXPECT_FAILURE(lut.applyCLUT(y, y, outDr, outDb), kCTypeText);
    EXPECT_FAILURE(lut.applyYLUT(c, outY), kYTypeText);
    lut.m_lutY_p = nullptr;
    EXPECT_FAILURE(lut.applyYLUT(y, outY), kNoTableText);
    EXPECT_TRUE(outY.empty() && outDr.empty() && outDb.empty());
}

TEST(TLutYDrDbTest, PlanesThatWouldBeReadBeyondTheirEndsAreRefused) {
    Ruled lut(wildRule, 2);
    const cv::Mat y = randomPlane(5, 6, CV_16UC1), c = randomPlane(5, 6, CV_8UC1), other = randomPlane(6, 5, CV_8UC1);
    cv::Mat outDr, outDb;
    const char sizes[] = "ERROR - TLutYDrDb::applyCLUT - inY or inDb is smaller than inDr";
    EXPECT_FAILURE(lut.applyCLUT(c, other, outDr, outDb), "ERROR - TLutYDrDb::applyCLUT - inDb is smaller than inDr");
    EXPECT_FAILURE(lut.applyCLUT(y, other, other, outDr, outDb), sizes);
    EXPECT_FAILURE(lut.applyCLUT(y, c, other, outDr, outDb), sizes);
    EXPECT_FAILURE(lut.applyCLUT(c, c, c, outDr, outDb), "ERROR - TLutYDrDb::applyCLUT - inY.elemSize()<2");
    EXPECT_TRUE(outDr.empty() && outDb.empty());
}

TEST(TLutYDrDbTest, EmptyPlanesAreAccepted) {
    Ruled lut(wildRule, 1);
    cv::Mat plane(0, 0, CV_16UC1), chroma(0, 0, CV_8UC1), outY, outDr, outDb;
    EXPECT_TRUE(lut.proc(plane));
    EXPECT_TRUE(lut.proc(plane, chroma, chroma, outY, outDr, outDb));
}

TEST(TLutYDrDbTest, LargerPlanesThanDrServeWithTheirTopLeft) {
    for (int nc : {0, 2}) {
        Ruled lut(wildRule, nc);
        lut.computeLUT();
        const cv::Mat y = luminanceOfBands({33, 17}, 3);
        const cv::Mat dr = randomPlane(11, 20, CV_8UC1, 4), db = randomPlane(14, 25, CV_8UC1, 5);
        const cv::Rect part(0, 0, 20, 11);
        cv::Mat expectedDr, expectedDb, outDr, outDb;
        lut.applyCLUT(y(part).clone(), dr, db(part).clone(), expectedDr, expectedDb);
        lut.applyCLUT(y, dr, db, outDr, outDb);
        EXPECT_TRUE(samePixels(expectedDr, outDr));
        EXPECT_TRUE(samePixels(expectedDb, outDb));
        lut.applyCLUT(dr, db(part).clone(), expectedDr, expectedDb);
        lut.applyCLUT(dr, db, outDr, outDb);
        EXPECT_TRUE(samePixels(expectedDr, outDr));
        EXPECT_TRUE(samePixels(expectedDb, outDb));
    }
}

TEST(TLutYDrDbTest, ArraysOfThreeDimensionsAreRefused) {
    Ruled lut(wildRule, 2);
    const cv::Mat cube8(std::vector<int>{2, 2, 2}, CV_8UC1), cube16(std::vector<int>{2, 2, 2}, CV_16UC1);
    const cv::Mat c = randomPlane(5, 6, CV_8UC1), y = randomPlane(5, 6, CV_16UC1);
    cv::Mat outY, outDr, outDb;
    EXPECT_FAILURE(lut.applyYLUT(cube16, outY), "ERROR - plane - dims>2");
    EXPECT_FAILURE(lut.applyCLUT(cube8, c, outDr, outDb), "ERROR - plane - dims>2");
    EXPECT_FAILURE(lut.applyCLUT(y, c, cube8, outDr, outDb), "ERROR - plane - dims>2");
    EXPECT_FAILURE(lut.proc(cube16, cube8, cube8, outY, outDr, outDb), "ERROR - plane - dims>2");
    EXPECT_TRUE(outY.empty() && outDr.empty() && outDb.empty());
}

}  // namespace
