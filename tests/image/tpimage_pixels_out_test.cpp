#include <gtest/gtest.h>

#include <climits>
#include <opencv2/core.hpp>

#include "kestrova/resample/chroma_upsize.h"
#include "kestrova/resample/resample.h"
#include "tests/image/tpimage_pixels_reference.h"
#include "tests/support/failures.h"
#include "tests/support/threads.h"

namespace {

void rgbOf(int y, int dr, int db, ushort& r, ushort& g, ushort& b) {
    const int red = clamped(y + 2 * (dr - 32768)), blue = clamped(y + 2 * (db - 32768));
    float t = static_cast<float>(y) - static_cast<float>(red) * k299;
    t = t - static_cast<float>(blue) * k114;
    r = static_cast<ushort>(red);
    g = rounded16(static_cast<double>(t) * k17036);
    b = static_cast<ushort>(blue);
}

void rgb15Of(int y, int dr, int db, ushort& r, ushort& g, ushort& b) {
    y >>= 1;
    const int red = clamped(dr - 32768 + y), blue = clamped(db - 32768 + y);
    float t = static_cast<float>(y) - static_cast<float>(red) * k299;
    t = t - static_cast<float>(blue) * k114;
    r = static_cast<ushort>(red);
    g = rounded16(static_cast<double>(t) * k17036);
    b = static_cast<ushort>(blue);
}

void rgb8Of(int Y, int dr, int db, uchar& r, uchar& g, uchar& b) {
    const int y = Y >> 1;
    const float red = static_cast<float>(y - 32768 + dr) * 2.0f, blue = static_cast<float>(y - 32768 + db) * 2.0f;
    float t = static_cast<float>(Y) - red * k299;
    t = t - blue * k114;
    r = static_cast<uchar>(rounded16(red) >> 8);
    g = static_cast<uchar>(rounded16(static_cast<double>(t) * k17036) >> 8);
    b = static_cast<uchar>(rounded16(blue) >> 8);
}

template <class Pixel, class Formula>
std::vector<cv::Mat> planesOf(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, const Formula& formula) {
    std::vector<cv::Mat> rgb(3);
    for (cv::Mat& plane : rgb) plane.create(Y.size(), cv::DataType<Pixel>::type);
    for (int y = 0; y < Y.rows; ++y)
        for (int x = 0; x < Y.cols; ++x)
            formula(Y.at<ushort>(y, x), Dr.at<ushort>(y, x), Db.at<ushort>(y, x), rgb[0].ptr<Pixel>(y)[x],
                    rgb[1].ptr<Pixel>(y)[x], rgb[2].ptr<Pixel>(y)[x]);
    return rgb;
}

// Differences of every size: half of them small, so that not all colours are clamped.
cv::Mat randomChroma(int rows, int cols, std::uint32_t seed) {
    cv::Mat plane = randomPlane(rows, cols, CV_16UC1, seed);
    for (int y = 0; y < rows; ++y)
        for (int x = y % 2; x < cols; x += 2)
            plane.at<ushort>(y, x) = static_cast<ushort>(32768 + plane.at<ushort>(y, x) % 8192 - 4096);
    return plane;
}

template <class Pixel>
void expectPlanes(const std::vector<cv::Mat>& expected, const cv::Mat (&actual)[3]) {
    for (int p = 0; p < 3; ++p) EXPECT_TRUE(samePixels(expected[p], actual[p])) << expected[p].size() << " plane " << p;
}

TEST(TPImagePixelsTest, PlanesToPlanes) {
    for (const cv::Size& size : sizes()) {
        const cv::Mat Y = asSubPlane(randomPlane(size.height, size.width, CV_16UC1));
        const cv::Mat Dr = asSubPlane(randomChroma(size.height, size.width, 2));
        const cv::Mat Db = asSubPlane(randomChroma(size.height, size.width, 3));
        ThreePlanes<ushort> out(size.height, size.width);
        TPImage::YDRDB2RGB(Y, Dr, Db, out.mat[0], out.mat[1], out.mat[2]);
        expectPlanes<ushort>(planesOf<ushort>(Y, Dr, Db, rgbOf), out.mat);
        TPImage().YDRDB2RGB15U(Y, Dr, Db, out.mat[0], out.mat[1], out.mat[2]);
        expectPlanes<ushort>(planesOf<ushort>(Y, Dr, Db, rgb15Of), out.mat);
        ThreePlanes<uchar> out8(size.height, size.width);
        TPImage().YDRDB2RGB8U(Y, Dr, Db, out8.mat[0], out8.mat[1], out8.mat[2]);
        expectPlanes<uchar>(planesOf<uchar>(Y, Dr, Db, rgb8Of), out8.mat);
    }
}

TEST(TPImagePixelsTest, PlanesToPlanesInPlace) {
    const cv::Mat Y = randomPlane(90, 410, CV_16UC1), Dr = randomChroma(90, 410, 2), Db = randomChroma(90, 410, 3);
    cv::Mat R = Dr.clone(), G(Y.size(), CV_16UC1), B = Db.clone();
    TPImage::YDRDB2RGB(Y, R, B, R, G, B);
    expectPlanes<ushort>(planesOf<ushort>(Y, Dr, Db, rgbOf), {R, G, B});
    R = Dr.clone();
    B = Db.clone();
    TPImage().YDRDB2RGB15U(Y, R, B, R, G, B);
    expectPlanes<ushort>(planesOf<ushort>(Y, Dr, Db, rgb15Of), {R, G, B});
}

TEST(TPImagePixelsTest, AllLuminancesOfAGreyStayGreyButForTheRoundedReciprocal) {
    cv::Mat Y(1, 65536, CV_16UC1), zero(1, 65536, CV_16UC1, cv::Scalar(32768)), R = zero.clone(), G = zero.clone(),
                                                                                B = zero.clone();
    for (int v = 0; v < 65536; ++v) Y.at<ushort>(0, v) = static_cast<ushort>(v);
    TPImage::YDRDB2RGB(Y, zero, zero, R, G, B);
    EXPECT_TRUE(samePixels(Y, R));
    EXPECT_TRUE(samePixels(Y, B));
    for (int v = 0; v < 65536; ++v) {
        ASSERT_GE(G.at<ushort>(0, v), v);
        ASSERT_LE(G.at<ushort>(0, v), v + 1);
    }
    EXPECT_EQ(G.at<ushort>(0, 60000), 60001);
}

TEST(TPImagePixelsTest, GreenOfTheForms) {
    // Red far above white: the 16-bit form clamps it before green is formed, the 8-bit forms do not.
    const cv::Mat Y(1, 1, CV_16UC1, cv::Scalar(60000)), Dr(1, 1, CV_16UC1, cv::Scalar(65000)),
        Db(1, 1, CV_16UC1, cv::Scalar(32768));
    ThreePlanes<ushort> out(1, 1);
    ThreePlanes<uchar> out8(1, 1);
    TPImage::YDRDB2RGB(Y, Dr, Db, out.mat[0], out.mat[1], out.mat[2]);
    TPImage().YDRDB2RGB8U(Y, Dr, Db, out8.mat[0], out8.mat[1], out8.mat[2]);
    EXPECT_EQ(out.mat[0].at<ushort>(0, 0), 65535);
    EXPECT_EQ(out.mat[1].at<ushort>(0, 0), rounded16(1.7036 * (60000 - 0.299 * 65535 - 0.114 * 60000)));
    EXPECT_EQ(out8.mat[0].at<uchar>(0, 0), 255);
    EXPECT_EQ(out8.mat[1].at<uchar>(0, 0), static_cast<int>(1.7036 * (60000 - 0.299 * 124464 - 0.114 * 60000)) >> 8);
    uchar packed[4];
    TPImage::YDRDBToQImage(Y, Dr, Db, packed, 1, 1, 4);
    EXPECT_EQ(packed[1], rounded8(1.7036 * (60000 - 0.299 * 124464 - 0.114 * 60000) / 256));
}

TEST(TPImagePixelsTest, FifteenBitResultsAreNotLimitedToTheirScale) {
    const cv::Mat Y(1, 1, CV_16UC1, cv::Scalar(65535)), Dr(1, 1, CV_16UC1, cv::Scalar(65535)),
        Db(1, 1, CV_16UC1, cv::Scalar(32768));
    ThreePlanes<ushort> out(1, 1);
    TPImage().YDRDB2RGB15U(Y, Dr, Db, out.mat[0], out.mat[1], out.mat[2]);
    EXPECT_EQ(out.mat[0].at<ushort>(0, 0), 65534);
}

TEST(TPImagePixelsTest, PlanesToPlanesRefusesWhatDoesNotFit) {
    const cv::Mat Y = randomPlane(6, 8, CV_16UC1);
    cv::Mat R = Y.clone(), G = Y.clone(), B = Y.clone(), bytes(6, 8, CV_8UC1), small(6, 7, CV_16UC1);
    const TPImage image;
    EXPECT_FAILURE(TPImage::YDRDB2RGB(Y, bytes, Y, R, G, B), "ERROR - TPImage::YDRDB2RGB - input type");
    EXPECT_FAILURE(TPImage::YDRDB2RGB(Y, Y, Y, R, bytes, B), "ERROR - TPImage::YDRDB2RGB - output type");
    EXPECT_FAILURE(image.YDRDB2RGB8U(Y, Y, Y, R, G, B), "ERROR - TPImage::YDRDB2RGB - output type");
    EXPECT_FAILURE(image.YDRDB2RGB15U(Y, Y, Y, R, G, small), "ERROR - TPImage::YDRDB2RGB - output is smaller than Y");
    EXPECT_FAILURE(TPImage::YDRDB2RGB(Y, Y, small, R, G, B), "ERROR - TPImage::YDRDB2RGB - Dr or Db is smaller than Y");
    EXPECT_TRUE(samePixels(Y, R));
    TPImage::YDRDB2RGB(cv::Mat(), cv::Mat(), cv::Mat(), R, G, B);
    EXPECT_TRUE(samePixels(Y, R));
}

// An image of any planes, as a host may have left it.
TPImage randomImage(const cv::Size& size) {
    TPImage image(size.width, size.height);
    randomPlane(size.height, size.width, CV_16UC1, 21).copyTo(image.m_Y);
    randomChroma(image.hHeight(), image.hWidth(), 22).copyTo(image.m_Dr);
    randomChroma(image.hHeight(), image.hWidth(), 23).copyTo(image.m_Db);
    return image;
}

PicturePlanes enlarged(const TPImage& image) {
    PicturePlanes full = {image.m_Y, {}, {}};
    upSize2XGuidedByYSimple(image.m_Y, image.m_Dr, full.Dr);
    upSize2XGuidedByYSimple(image.m_Y, image.m_Db, full.Db);
    return full;
}

TEST(TPImagePixelsTest, PlanarOutIsEnlargedChromaConverted) {
    for (const cv::Size& size : sizes()) {
        const TPImage image = randomImage(size);
        const PicturePlanes full = enlarged(image);
        ThreePlanes<ushort> out(size.height, size.width);
        image.convertTopRGB(out.pointer, out.step);
        expectPlanes<ushort>(planesOf<ushort>(full.Y, full.Dr, full.Db, rgbOf), out.mat);
        image.convertTopRGB15U(out.pointer, out.step);
        expectPlanes<ushort>(planesOf<ushort>(full.Y, full.Dr, full.Db, rgb15Of), out.mat);
    }
}

cv::Mat packedOf(const PicturePlanes& full) {
    cv::Mat packed(full.Y.size(), CV_8UC4);
    for (int y = 0; y < packed.rows; ++y)
        for (int x = 0; x < packed.cols; ++x) {
            const float yf = full.Y.at<ushort>(y, x);
            const float red = (full.Dr.at<ushort>(y, x) - 32768.0f) * 2.0f + yf;
            const float blue = (full.Db.at<ushort>(y, x) - 32768.0f) * 2.0f + yf;
            float t = yf - red * k299;
            t = t - blue * k114;
            t = t * k17036f;
            packed.at<cv::Vec4b>(y, x) = {rounded8(blue * 0.00390625f), rounded8(t * 0.00390625f),
                                          rounded8(red * 0.00390625f), 255};
        }
    return packed;
}

TEST(TPImagePixelsTest, PackedOutIsEnlargedChromaConvertedInFloat) {
    for (const cv::Size& size : sizes()) {
        const TPImage image = randomImage(size);
        cv::Mat out = asSubPlane(cv::Mat(size, CV_8UC4, cv::Scalar::all(0)));
        image.convertTo(out.ptr(), static_cast<int>(out.step));
        EXPECT_TRUE(samePixels(packedOf(enlarged(image)), out)) << size;
    }
}

// Few greens are so near to a byte's threshold that their last bit shows.
TEST(TPImagePixelsTest, BytesKeepTheLastBitOfGreen) {
    const cv::Size size(1024, 512);
    const TPImage image = randomImage(size);
    cv::Mat packed(size, CV_8UC4);
    image.convertTo(packed.ptr(), static_cast<int>(packed.step));
    const PicturePlanes full = enlarged(image);
    EXPECT_TRUE(samePixels(packedOf(full), packed));
    ThreePlanes<uchar> out(size.height, size.width);
    image.YDRDB2RGB8U(full.Y, full.Dr, full.Db, out.mat[0], out.mat[1], out.mat[2]);
    expectPlanes<uchar>(planesOf<uchar>(full.Y, full.Dr, full.Db, rgb8Of), out.mat);
}

// Every luminance, with differences that clamp red, blue and green at both ends or leave them at a byte's threshold.
TEST(TPImagePixelsTest, BytesOfEveryLuminanceAreRoundedAndClamped) {
    TPImage image(256, 256);
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) image.m_Y.at<ushort>(y, x) = static_cast<ushort>(256 * y + x);
    const int differences[] = {0, 1, 32704, 32767, 32768, 32769, 32832, 65534, 65535};
    cv::Mat packed(image.m_Y.size(), CV_8UC4);
    for (int dr : differences)
        for (int db : differences) {
            image.m_Dr.setTo(dr);
            image.m_Db.setTo(db);
            image.convertTo(packed.ptr(), static_cast<int>(packed.step));
            ASSERT_TRUE(samePixels(packedOf(enlarged(image)), packed)) << dr << ' ' << db;
        }
}

TEST(TPImagePixelsTest, OutHasTheSameBitsAtEveryWidthAddressAndNumberOfThreads) {
    for (int width = 1; width <= 140; ++width) {
        const cv::Size size(width, 20000 / width + 7);  // enough pixels for a team
        const TPImage image = randomImage(size);
        const PicturePlanes full = enlarged(image);
        const cv::Mat expected = packedOf(full);
        withThreadCounts([&](int threads) {
            std::vector<uchar> bytes(1 + expected.total() * 4);
            const cv::Mat out(size, CV_8UC4, bytes.data() + 1);  // at an odd address
            image.convertTo(bytes.data() + 1, 4 * width);
            EXPECT_TRUE(samePixels(expected, out)) << width << ' ' << threads;
            ThreePlanes<ushort> planes(size.height, size.width);
            image.convertTopRGB(planes.pointer, planes.step);
            expectPlanes<ushort>(planesOf<ushort>(full.Y, full.Dr, full.Db, rgbOf), planes.mat);
        });
    }
}

TEST(TPImagePixelsTest, APartOfThePictureIsItsTopLeft) {
    const TPImage image = randomImage({33, 17});
    const cv::Mat whole = packedOf(enlarged(image));
    cv::Mat out(9, 20, CV_8UC4);
    TPImage::YDRDBToQImage(image.m_Y, image.m_Dr, image.m_Db, out.ptr(), 20, 9, static_cast<int>(out.step));
    EXPECT_TRUE(samePixels(whole(cv::Rect(0, 0, 20, 9)), out));
}

TEST(TPImagePixelsTest, NothingBeyondTheRowsIsWritten) {
    const TPImage image = randomImage({7, 5});
    std::vector<uchar> bytes(5 * 40, 0x5a);
    image.convertTo(bytes.data(), 40);
    for (int y = 0; y < 5; ++y)
        for (int x = 28; x < 40; ++x) EXPECT_EQ(bytes[y * 40 + x], 0x5a);
    std::vector<ushort> words(3 * 5 * 12, 0x5a5a);
    unsigned short* const planes[3] = {&words[0], &words[60], &words[120]};
    image.convertTopRGB(planes, 24);
    for (int y = 0; y < 15; ++y)
        for (int x = 7; x < 12; ++x) EXPECT_EQ(words[y * 12 + x], 0x5a5a);
}

TEST(TPImagePixelsTest, HalfSizeOutReducesLuminance) {
    for (const cv::Size& size : sizes()) {
        const TPImage image = randomImage(size);
        ThreePlanes<uchar> out(image.hHeight(), image.hWidth());
        image.convertToHalfpRGB(out.pointer, out.step);
        expectPlanes<uchar>(planesOf<uchar>(everyOther(image.m_Y), image.m_Dr, image.m_Db, rgb8Of), out.mat);
    }
}

TEST(TPImagePixelsTest, EmptyImagesOut) {
    const TPImage image;
    const char* const type = "ERROR TPImage::YDrDbToQImage - input type";
    uchar byte = 1;
    EXPECT_FAILURE(image.convertTo(&byte, 4), type);
    EXPECT_FAILURE(image.convertToHalfpRGB(nullptr, 0), "ERROR - downSize2X - outHalf must be allocated!");
    image.convertTopRGB(nullptr, 0);
    image.convertTopRGB15U(nullptr, 0);
    const TPImage noRows(5, 0);
    noRows.convertTo(&byte, 20);
    EXPECT_EQ(byte, 1);
}

TEST(TPImagePixelsTest, PackedOutRefusesWrongTypesSizesAndPointers) {
    const TPImage image = randomImage({8, 6});
    cv::Mat out(6, 8, CV_8UC4, cv::Scalar::all(3));
    const cv::Mat before = out.clone(), floats(6, 8, CV_32FC1);
    const char* const type = "ERROR TPImage::YDrDbToQImage - input type";
    EXPECT_FAILURE(TPImage::YDRDBToQImage(floats, image.m_Dr, image.m_Db, out.ptr(), 8, 6, 32), type);
    EXPECT_FAILURE(TPImage::YDRDBToQImage(image.m_Y, floats, image.m_Db, out.ptr(), 8, 6, 32), type);
    EXPECT_FAILURE(TPImage::YDRDBToQImage(image.m_Y, image.m_Dr, floats, out.ptr(), 8, 6, 32), type);
    EXPECT_FAILURE(image.convertTo(nullptr, 32), "ERROR TPImage::YDrDbToQImage - dst==NULL");
    for (int step : {31, 0, -31})
        EXPECT_FAILURE(image.convertTo(out.ptr(), step), "ERROR TPImage::YDrDbToQImage - step<width*4");
    EXPECT_FAILURE(TPImage::YDRDBToQImage(image.m_Y, image.m_Dr, image.m_Db, out.ptr(), 1 << 29, 1, INT_MAX),
                   "ERROR TPImage::YDrDbToQImage - step<width*4");
    EXPECT_FAILURE(TPImage::YDRDBToQImage(image.m_Y, image.m_Dr, image.m_Db, out.ptr(), 8, 7, 32),
                   "ERROR TPImage::YDrDbToQImage - Y is smaller than width by height");
    TPImage small = image.clone(true);
    small.m_Db.create(3, 3, CV_16UC1);
    EXPECT_FAILURE(small.convertTo(out.ptr(), 32),
                   "ERROR - upSize2XGuidedByYSimple - low is smaller than half of guide");
    EXPECT_TRUE(samePixels(before, out));
}

TEST(TPImagePixelsTest, PlanarOutRefusesNullPointersAndShortSteps) {
    const TPImage image = randomImage({8, 6});
    ThreePlanes<ushort> out(6, 8);
    ThreePlanes<uchar> out8(3, 4);
    EXPECT_FAILURE(image.convertTopRGB(nullptr, 16), "ERROR - TPImage::convertTopRGB - plane==NULL");
    EXPECT_FAILURE(image.convertToHalfpRGB(nullptr, 4), "ERROR - TPImage::convertToHalfpRGB - plane==NULL");
    for (int step : {14, 0, -16, 17})
        EXPECT_FAILURE(image.convertTopRGB15U(out.pointer, step),
                       "ERROR - TPImage::convertTopRGB - step<width*2 || step%2");
    for (int step : {3, 0, -4})
        EXPECT_FAILURE(image.convertToHalfpRGB(out8.pointer, step), "ERROR - TPImage::convertToHalfpRGB - step<hWidth");
    out.pointer[2] = nullptr;
    out8.pointer[0] = nullptr;
    EXPECT_FAILURE(image.convertTopRGB15U(out.pointer, 16), "ERROR - TPImage::convertTopRGB - plane==NULL");
    EXPECT_FAILURE(image.convertToHalfpRGB(out8.pointer, 4), "ERROR - TPImage::convertToHalfpRGB - plane==NULL");
}

TEST(TPImagePixelsTest, ASmoothPictureSurvivesTheRoundTrip) {
    cv::Mat packed(48, 64, CV_8UC4);
    for (int y = 0; y < packed.rows; ++y)
        for (int x = 0; x < packed.cols; ++x)
            packed.at<cv::Vec4b>(y, x) = {static_cast<uchar>(40 + y), static_cast<uchar>(200 - x), 90, 255};
    TPImage image;
    image.convertFrom(packed.ptr(), 64, 48, 256);
    cv::Mat out(packed.size(), CV_8UC4);
    image.convertTo(out.ptr(), 256);
    // Chroma stands still over a ramp of one level a pixel: a pixel's own is at most two away.
    EXPECT_TRUE(closePixels(packed, out, 3));
}

TEST(TPImagePixelsTest, ANegativeStepOutGoesFromTheBottomUp) {
    for (const cv::Size& size : sizes()) {
        const TPImage image = randomImage(size);
        cv::Mat out = asSubPlane(cv::Mat(size, CV_8UC4, cv::Scalar::all(0))), upright;
        image.convertTo(out.ptr(size.height - 1), -static_cast<int>(out.step));
        cv::flip(out, upright, 0);
        EXPECT_TRUE(samePixels(packedOf(enlarged(image)), upright)) << size;
    }
}

TEST(TPImagePixelsTest, ASingleRowOutMayHaveAnyStep) {
    const TPImage image = randomImage({9, 1});
    const cv::Mat expected = packedOf(enlarged(image));
    ThreePlanes<ushort> expectedPlanes(1, 9), planes(1, 9);
    image.convertTopRGB(expectedPlanes.pointer, expectedPlanes.step);
    ThreePlanes<uchar> expectedHalf(1, 5), half(1, 5);
    image.convertToHalfpRGB(expectedHalf.pointer, expectedHalf.step);
    for (int step : {0, 1, -5, INT_MIN, INT_MAX}) {
        cv::Mat out(1, 9, CV_8UC4);
        image.convertTo(out.ptr(), step);
        EXPECT_TRUE(samePixels(expected, out)) << step;
        image.convertTopRGB(planes.pointer, step);
        image.convertToHalfpRGB(half.pointer, step);
        for (int p = 0; p < 3; ++p) {
            EXPECT_TRUE(samePixels(expectedPlanes.mat[p], planes.mat[p]));
            EXPECT_TRUE(samePixels(expectedHalf.mat[p], half.mat[p]));
        }
    }
}

}  // namespace
