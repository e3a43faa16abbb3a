#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "kestrova/resample/resample.h"
#include "tests/image/tpimage_pixels_reference.h"
#include "tests/support/failures.h"
#include "tests/support/threads.h"

namespace {

TEST(TPImagePixelsTest, TheWeightsHaveTheirStatedBits) {
    const auto bits = [](float value) {
        std::uint32_t word;
        std::memcpy(&word, &value, sizeof word);
        return word;
    };
    EXPECT_EQ(bits(k299), 0x3e991687u);
    EXPECT_EQ(bits(k587), 0x3f1645a2u);
    EXPECT_EQ(bits(k114), 0x3de978d5u);
    EXPECT_EQ(bits(k17036f), 0x3fda0f91u);
    std::uint64_t word;
    std::memcpy(&word, &k17036, sizeof word);
    EXPECT_EQ(word, 0x3ffb41f212d77319u);
}

TEST(TPImagePixelsTest, EveryOtherPixelIsTheReductionByTwo) {
    for (const cv::Size& size : sizes()) {
        const cv::Mat plane = randomPlane(size.height, size.width, CV_16UC1);
        cv::Mat reduced(halfOf(size.height), halfOf(size.width), CV_16UC1, cv::Scalar(0));
        downSize2X(plane, reduced, 4);
        EXPECT_TRUE(samePixels(reduced, everyOther(plane))) << size;
    }
}

PicturePlanes pictureOf(const cv::Mat& R, const cv::Mat& G, const cv::Mat& B, bool fifteenBits) {
    PicturePlanes picture = {luminance(R, G, B, fifteenBits), everyOther(R), everyOther(B)};
    const cv::Mat halfY = everyOther(picture.Y);
    for (cv::Mat* chroma : {&picture.Dr, &picture.Db})
        for (int y = 0; y < halfY.rows; ++y)
            for (int x = 0; x < halfY.cols; ++x) {
                const int d = chroma->at<ushort>(y, x), h = halfY.at<ushort>(y, x);
                chroma->at<ushort>(y, x) = static_cast<ushort>(fifteenBits ? std::min(d - (h >> 1) + 32768, 65535)
                                                                           : clamped((d - h) / 2 + 32768));
            }
    return picture;
}

void expectPicture(const PicturePlanes& expected, const TPImage& image) {
    EXPECT_TRUE(samePixels(expected.Y, image.m_Y)) << image.width() << 'x' << image.height();
    EXPECT_TRUE(samePixels(expected.Dr, image.m_Dr)) << image.width() << 'x' << image.height();
    EXPECT_TRUE(samePixels(expected.Db, image.m_Db)) << image.width() << 'x' << image.height();
    EXPECT_TRUE(samePixels(cv::Mat(expected.Dr.size(), CV_8UC1, cv::Scalar(255)), image.m_mask));
}

// Three planes with one step, as hosts hand them over: `step` counts bytes.

TEST(TPImagePixelsTest, PlanarInIsThePlanesStepByStep) {
    for (const cv::Size& size : sizes()) {
        const ThreePlanes<ushort> rgb(size.height, size.width);
        TPImage image;
        const int uid = image.uid();
        image.convertFrompRGB(rgb.pointer, size.width, size.height, rgb.step);
        expectPicture(pictureOf(rgb.mat[0], rgb.mat[1], rgb.mat[2], false), image);
        EXPECT_EQ(image.uid(), uid);
    }
}

TEST(TPImagePixelsTest, Planar15BitInIsThePlanesStepByStep) {
    for (const cv::Size& size : sizes()) {
        ThreePlanes<ushort> rgb(size.height, size.width);
        if (size.width % 2 == 1)  // within the 15-bit scale; else beyond it as well
            for (cv::Mat& plane : rgb.mat) plane.forEach<ushort>([](ushort& v, const int*) { v = v >> 1; });
        TPImage image;
        const int uid = image.uid();
        image.convertFrompRGB15U(rgb.pointer, size.width, size.height, rgb.step);
        expectPicture(pictureOf(rgb.mat[0], rgb.mat[1], rgb.mat[2], true), image);
        EXPECT_EQ(image.uid(), uid);
    }
}

// Packed pixels taken apart, bytes times 256.
template <class Word>
std::vector<cv::Mat> unpacked(const cv::Mat& packed, int factor) {
    std::vector<cv::Mat> rgb(3);
    for (int p = 0; p < 3; ++p) {
        rgb[p].create(packed.size(), CV_16UC1);
        for (int y = 0; y < packed.rows; ++y)
            for (int x = 0; x < packed.cols; ++x)
                rgb[p].at<ushort>(y, x) = static_cast<ushort>(packed.ptr<Word>(y)[4 * x + 2 - p] * factor);
    }
    return rgb;
}

TEST(TPImagePixelsTest, PackedBytesInAreThePlanesStepByStep) {
    for (const cv::Size& size : sizes()) {
        const cv::Mat packed = asSubPlane(randomPlane(size.height, size.width, CV_8UC4));
        const std::vector<cv::Mat> rgb = unpacked<uchar>(packed, 256);
        TPImage image;
        const int uid = image.uid();
        image.convertFrom(packed.ptr(), size.width, size.height, static_cast<int>(packed.step));
        expectPicture(pictureOf(rgb[0], rgb[1], rgb[2], false), image);
        EXPECT_EQ(image.uid(), uid + 1);
    }
}

TEST(TPImagePixelsTest, PackedWordsInAreThePlanesStepByStepWithAStepInWords) {
    for (const cv::Size& size : sizes()) {
        const cv::Mat packed = asSubPlane(randomPlane(size.height, size.width, CV_16UC4));
        const std::vector<cv::Mat> rgb = unpacked<ushort>(packed, 1);
        TPImage image;
        const int uid = image.uid();
        image.convertFrom(packed.ptr<ushort>(), size.width, size.height, static_cast<int>(packed.step / 2));
        expectPicture(pictureOf(rgb[0], rgb[1], rgb[2], false), image);
        EXPECT_EQ(image.uid(), uid + 1);
    }
}

TEST(TPImagePixelsTest, ThreadsGiveTheSameBitsBothWays) {
    const cv::Mat packed = randomPlane(227, 301, CV_8UC4);
    const std::vector<cv::Mat> rgb = unpacked<uchar>(packed, 256);
    const PicturePlanes expected = pictureOf(rgb[0], rgb[1], rgb[2], false);
    cv::Mat firstOut;
    withThreadCounts([&](int threads) {
        TPImage image;
        image.convertFrom(packed.ptr(), packed.cols, packed.rows, static_cast<int>(packed.step));
        expectPicture(expected, image);
        cv::Mat out(packed.size(), CV_8UC4);
        image.convertTo(out.ptr(), static_cast<int>(out.step));
        if (threads == 1) firstOut = out;
        EXPECT_TRUE(samePixels(firstOut, out)) << threads;
    });
}

TEST(TPImagePixelsTest, AMidGreyByteIsNeutral) {
    const cv::Mat grey(4, 4, CV_8UC4, cv::Scalar::all(128));
    TPImage image;
    image.convertFrom(grey.ptr(), 4, 4, 16);
    EXPECT_TRUE(samePixels(cv::Mat(4, 4, CV_16UC1, cv::Scalar(32768)), image.m_Y));
    EXPECT_TRUE(samePixels(cv::Mat(2, 2, CV_16UC1, cv::Scalar(32768)), image.m_Dr));
    EXPECT_TRUE(samePixels(cv::Mat(2, 2, CV_16UC1, cv::Scalar(32768)), image.m_Db));
}

TEST(TPImagePixelsTest, WhiteBytesAre65280InsideAnd255Outside) {
    const cv::Mat white(3, 3, CV_8UC4, cv::Scalar(255, 255, 255, 0));
    TPImage image;
    image.convertFrom(white.ptr(), 3, 3, 12);
    EXPECT_TRUE(samePixels(cv::Mat(3, 3, CV_16UC1, cv::Scalar(65280)), image.m_Y));
    cv::Mat out(3, 3, CV_8UC4, cv::Scalar::all(7));
    image.convertTo(out.ptr(), 12);
    EXPECT_TRUE(samePixels(cv::Mat(3, 3, CV_8UC4, cv::Scalar::all(255)), out));
}

TEST(TPImagePixelsTest, AlphaIsIgnored) {
    cv::Mat packed = randomPlane(5, 7, CV_8UC4), other = packed.clone();
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 7; ++x) other.ptr(y)[4 * x + 3] ^= 0xa5;
    TPImage a, b;
    a.convertFrom(packed.ptr(), 7, 5, 28);
    b.convertFrom(other.ptr(), 7, 5, 28);
    EXPECT_TRUE(samePixels(a.m_Y, b.m_Y));
    EXPECT_TRUE(samePixels(a.m_Dr, b.m_Dr));
    EXPECT_TRUE(samePixels(a.m_Db, b.m_Db));
}

TEST(TPImagePixelsTest, APictureWithoutPixelsChangesNothing) {
    TPImage image(6, 4);
    image.m_Y.setTo(11);
    const int uid = image.uid();
    const cv::Mat before = image.m_Y.clone();
    const uchar* bytes = nullptr;
    const ushort* words = nullptr;
    // The product counts, as a 32-bit number.
    for (const cv::Size& size : {cv::Size(0, 0), cv::Size(0, 5), cv::Size(5, 0), cv::Size(-2, 3), cv::Size(2, -3),
                                 cv::Size(65536, 65536), cv::Size(50000, 50000)}) {
        image.convertFrom(bytes, size.width, size.height, 0);
        image.convertFrom(words, size.width, size.height, 0);
        image.convertFrompRGB(nullptr, size.width, size.height, 0);
        image.convertFrompRGB15U(nullptr, size.width, size.height, 0);
    }
    EXPECT_EQ(image.uid(), uid);
    EXPECT_TRUE(samePixels(before, image.m_Y));
    EXPECT_EQ(image.hWidth(), 3);
}

TEST(TPImagePixelsTest, NullPointersAndShortStepsInAreRefusedAndChangeNothing) {
    TPImage image(6, 4);
    const uchar* data = image.m_Y.data;
    const int uid = image.uid();
    const cv::Mat bytes = randomPlane(5, 8, CV_8UC4), words = randomPlane(5, 8, CV_16UC4);
    const char* const null = "ERROR - TPImage::convertFrom - src==NULL";
    const char* const shortStep = "ERROR - TPImage::convertFrom - step<width*4";
    EXPECT_FAILURE(image.convertFrom(static_cast<const uchar*>(nullptr), 8, 5, 32), null);
    EXPECT_FAILURE(image.convertFrom(static_cast<const ushort*>(nullptr), 8, 5, 32), null);
    EXPECT_FAILURE(image.convertFrom(bytes.ptr(), 1 << 29, 1, INT_MAX), shortStep);
    EXPECT_FAILURE(image.convertFrom(words.ptr<ushort>(), 1 << 29, 1, INT_MAX), shortStep);
    for (int step : {31, 0, -31}) {
        EXPECT_FAILURE(image.convertFrom(bytes.ptr(), 8, 5, step), shortStep);
        EXPECT_FAILURE(image.convertFrom(words.ptr<ushort>(), 8, 5, step), shortStep);
    }
    ThreePlanes<ushort> rgb(5, 8);
    for (int step : {15, 0, -16, 17}) {
        const char* const text = "ERROR - TPImage::convertFrompRGB - step<width*2 || step%2";
        EXPECT_FAILURE(image.convertFrompRGB(rgb.pointer, 8, 5, step), text);
        EXPECT_FAILURE(image.convertFrompRGB15U(rgb.pointer, 8, 5, step), text);
    }
    EXPECT_FAILURE(image.convertFrompRGB(nullptr, 8, 5, 16), "ERROR - TPImage::convertFrompRGB - plane==NULL");
    rgb.pointer[1] = nullptr;
    EXPECT_FAILURE(image.convertFrompRGB15U(rgb.pointer, 8, 5, 16), "ERROR - TPImage::convertFrompRGB - plane==NULL");
    EXPECT_EQ(image.m_Y.data, data);
    EXPECT_EQ(image.width(), 6);
    EXPECT_EQ(image.uid(), uid);
}

TEST(TPImagePixelsTest, HalfPlanesThatWereReleasedStayEmptyAndFailAsTheReductionDoes) {
    TPImage image(8, 5);
    image.m_Db.release();
    const cv::Mat bytes = randomPlane(5, 8, CV_8UC4);
    EXPECT_FAILURE(image.convertFrom(bytes.ptr(), 8, 5, 32), "ERROR - downSize2X - outHalf must be allocated!");
    for (const cv::Size& size : {cv::Size(3, 9), cv::Size(9, 2)}) {
        image.m_Db.create(size, CV_16UC1);
        EXPECT_FAILURE(image.convertFrom(bytes.ptr(), 8, 5, 32),
                       "ERROR - TPImage::convertFrom - m_Dr or m_Db is smaller than half of the picture");
    }
}

TEST(TPImagePixelsTest, ConvertingIntoAnImageThatFitsKeepsItsPlanes) {
    TPImage image(8, 5);
    const uchar* data = image.m_Y.data;
    const cv::Mat bytes = randomPlane(5, 8, CV_8UC4);
    image.convertFrom(bytes.ptr(), 8, 5, 32);
    EXPECT_EQ(image.m_Y.data, data);
    image.m_mask.release();
    image.convertFrom(bytes.ptr(), 8, 5, 32);
    EXPECT_TRUE(image.m_mask.empty());
}

TEST(TPImagePixelsTest, LuminanceOfPlanes) {
    for (const cv::Size& size : sizes()) {
        const ThreePlanes<ushort> rgb(size.height, size.width, 9);
        cv::Mat Y, Y15;
        TPImage::PRGB2Y(rgb.mat[0], rgb.mat[1], rgb.mat[2], Y);
        TPImage::PRGB15U2Y(rgb.mat[0], rgb.mat[1], rgb.mat[2], Y15);
        EXPECT_TRUE(samePixels(luminance(rgb.mat[0], rgb.mat[1], rgb.mat[2], false), Y));
        EXPECT_TRUE(samePixels(luminance(rgb.mat[0], rgb.mat[1], rgb.mat[2], true), Y15));
    }
}

TEST(TPImagePixelsTest, LuminanceIsWrittenWhereItFitsAlsoOverAnInput) {
    const ThreePlanes<ushort> rgb(40, 50, 9);
    const cv::Mat expected = luminance(rgb.mat[0], rgb.mat[1], rgb.mat[2], false);
    cv::Mat Y(40, 50, CV_16UC1);
    const uchar* data = Y.data;
    TPImage::PRGB2Y(rgb.mat[0], rgb.mat[1], rgb.mat[2], Y);
    EXPECT_EQ(Y.data, data);
    cv::Mat over = rgb.mat[1].clone();
    TPImage::PRGB2Y(rgb.mat[0], over, rgb.mat[2], over);
    EXPECT_TRUE(samePixels(expected, over));
    cv::Mat empty(3, 3, CV_16UC1);
    TPImage::PRGB2Y(cv::Mat(), cv::Mat(), cv::Mat(), empty);
    EXPECT_TRUE(empty.empty());
}

TEST(TPImagePixelsTest, LuminanceOfUnlikePlanesIsRefused) {
    const cv::Mat plane = randomPlane(6, 8, CV_16UC1), bytes = randomPlane(6, 8, CV_8UC1);
    cv::Mat Y;
    EXPECT_FAILURE(TPImage::PRGB2Y(plane, bytes, plane, Y), "ERROR - TPImage::PRGB2Y - type()!=CV_16UC1");
    EXPECT_FAILURE(TPImage::PRGB15U2Y(plane, plane, plane.rowRange(0, 5), Y),
                   "ERROR - TPImage::PRGB2Y - G or B is smaller than R");
    EXPECT_TRUE(Y.empty());
}

// Pixel by pixel as a picture goes out.

template <class Word>
void expectBottomUp(int type, int factor, int wordsOfStep) {
    for (const cv::Size& size : sizes()) {
        cv::Mat packed = asSubPlane(randomPlane(size.height, size.width, type)), upright;
        cv::flip(packed, upright, 0);
        const std::vector<cv::Mat> rgb = unpacked<Word>(upright, factor);
        TPImage image;
        image.convertFrom(packed.ptr<Word>(size.height - 1), size.width, size.height,
                          -static_cast<int>(packed.step) / wordsOfStep);
        expectPicture(pictureOf(rgb[0], rgb[1], rgb[2], false), image);
    }
}

TEST(TPImagePixelsTest, ANegativeStepInGoesFromTheBottomUp) {
    expectBottomUp<uchar>(CV_8UC4, 256, 1);
    expectBottomUp<ushort>(CV_16UC4, 1, 2);
}

TEST(TPImagePixelsTest, ASingleRowInMayHaveAnyStep) {
    const cv::Mat bytes = randomPlane(1, 9, CV_8UC4), words = randomPlane(1, 9, CV_16UC4);
    ThreePlanes<ushort> planes(1, 9);
    const std::vector<cv::Mat> rgb8 = unpacked<uchar>(bytes, 256), rgb16 = unpacked<ushort>(words, 1);
    for (int step : {0, 1, -5, INT_MIN, INT_MAX}) {
        TPImage image;
        image.convertFrom(bytes.ptr(), 9, 1, step);
        expectPicture(pictureOf(rgb8[0], rgb8[1], rgb8[2], false), image);
        image.convertFrom(words.ptr<ushort>(), 9, 1, step);
        expectPicture(pictureOf(rgb16[0], rgb16[1], rgb16[2], false), image);
        image.convertFrompRGB(planes.pointer, 9, 1, step);
        expectPicture(pictureOf(planes.mat[0], planes.mat[1], planes.mat[2], false), image);
    }
}

TEST(TPImagePixelsTest, WordsAtAnOddAddressAreRefused) {
    alignas(2) uchar bytes[64] = {};
    ushort* const odd = reinterpret_cast<ushort*>(bytes + 1);
    ushort* const planes[3] = {reinterpret_cast<ushort*>(bytes), odd, reinterpret_cast<ushort*>(bytes)};
    TPImage image;
    EXPECT_FAILURE(image.convertFrom(odd, 2, 2, 8), "ERROR - TPImage::convertFrom - src%2");
    EXPECT_FAILURE(image.convertFrompRGB(planes, 2, 2, 4), "ERROR - TPImage::convertFrompRGB - plane%2");
    EXPECT_FAILURE(image.convertFrompRGB15U(planes, 2, 2, 4), "ERROR - TPImage::convertFrompRGB - plane%2");
    EXPECT_TRUE(image.m_Y.empty() && image.m_Dr.empty());
    image.create(2, 2);
    EXPECT_FAILURE(image.convertTopRGB(planes, 4), "ERROR - TPImage::convertTopRGB - plane%2");
}

TEST(TPImagePixelsTest, LargerHalfPlanesAreFilledAndReadWhereTheyAreNeeded) {
    for (const cv::Size& size : {cv::Size(8, 5), cv::Size(7, 6), cv::Size(1, 1)}) {
        const cv::Mat bytes = randomPlane(size.height, size.width, CV_8UC4);
        const int step = static_cast<int>(bytes.step);
        TPImage exact, larger(size.width, size.height);
        exact.convertFrom(bytes.ptr(), size.width, size.height, step);
        larger.m_Dr.create(9, 11, CV_16UC1);
        larger.m_Db.create(6, 9, CV_16UC1);
        larger.convertFrom(bytes.ptr(), size.width, size.height, step);
        const cv::Rect half(0, 0, exact.hWidth(), exact.hHeight());
        EXPECT_TRUE(samePixels(exact.m_Dr, larger.m_Dr(half)));
        EXPECT_TRUE(samePixels(exact.m_Db, larger.m_Db(half)));
        EXPECT_EQ(larger.m_Dr.size(), cv::Size(11, 9));
        cv::Mat expected(size, CV_8UC4), out(size, CV_8UC4);
        exact.convertTo(expected.ptr(), step);
        larger.convertTo(out.ptr(), step);
        EXPECT_TRUE(samePixels(expected, out)) << size;
        ThreePlanes<uchar> expectedHalf(half.height, half.width), outHalf(half.height, half.width);
        exact.convertToHalfpRGB(expectedHalf.pointer, expectedHalf.step);
        larger.convertToHalfpRGB(outHalf.pointer, outHalf.step);
        ThreePlanes<ushort> expectedFull(size.height, size.width), outFull(size.height, size.width);
        exact.convertTopRGB(expectedFull.pointer, expectedFull.step);
        larger.convertTopRGB(outFull.pointer, outFull.step);
        for (int p = 0; p < 3; ++p) {
            EXPECT_TRUE(samePixels(expectedHalf.mat[p], outHalf.mat[p])) << size;
            EXPECT_TRUE(samePixels(expectedFull.mat[p], outFull.mat[p])) << size;
        }
    }
}

TEST(TPImagePixelsTest, NegativeSidesWhoseProductIsNotAreRefusedBeforeAnythingChanges) {
    TPImage image(6, 4);
    const uchar* const data = image.m_Y.data;
    const int uid = image.uid();
    const cv::Mat bytes = randomPlane(5, 8, CV_8UC4), words = randomPlane(5, 8, CV_16UC4);
    ThreePlanes<ushort> rgb(5, 8);
    const char* const packed = "ERROR - TPImage::convertFrom - width<0 || height<0";
    const char* const planar = "ERROR - TPImage::convertFrompRGB - width<0 || height<0";
    // The last product is 1 in 32 bits.
    for (const cv::Size size : {cv::Size(-1, -1), cv::Size(-8, -5), cv::Size(-3, 1431655765)}) {
        EXPECT_FAILURE(image.convertFrom(bytes.ptr(), size.width, size.height, 32), packed);
        EXPECT_FAILURE(image.convertFrom(words.ptr<ushort>(), size.width, size.height, 32), packed);
        EXPECT_FAILURE(image.convertFrompRGB(rgb.pointer, size.width, size.height, rgb.step), planar);
        EXPECT_FAILURE(image.convertFrompRGB15U(rgb.pointer, size.width, size.height, rgb.step), planar);
    }
    EXPECT_FAILURE(image.convertFrom(static_cast<const uchar*>(nullptr), -1, -1, 0), packed);
    EXPECT_THROW(image.create(-1, -1), cv::Exception);
    EXPECT_EQ(image.m_Y.data, data);
    EXPECT_EQ(image.m_Dr.size(), cv::Size(3, 2));
    EXPECT_EQ(image.uid(), uid);
}

TEST(TPImagePixelsTest, PlanesWithoutMemoryAreRefused) {
    cv::Mat none(4, 6, CV_16UC1), noneHalf(2, 3, CV_16UC1);
    none.data = noneHalf.data = nullptr;
    const cv::Mat plane = randomPlane(4, 6, CV_16UC1);
    cv::Mat Y;
    EXPECT_FAILURE(TPImage::PRGB2Y(none, plane, plane, Y), "ERROR - TPImage::PRGB2Y - R has no pixels");
    EXPECT_FAILURE(TPImage::PRGB2Y(plane, none, plane, Y), "ERROR - TPImage::PRGB2Y - G or B is smaller than R");
    EXPECT_TRUE(Y.empty());
    TPImage image(6, 4);
    cv::Mat out(4, 6, CV_8UC4);
    image.m_Y = none;
    EXPECT_FAILURE(image.convertTo(out.ptr(), 24), "ERROR TPImage::YDrDbToQImage - Y is smaller than width by height");
    image.m_Y = plane;
    image.m_Db = noneHalf;
    EXPECT_FAILURE(image.convertTo(out.ptr(), 24),
                   "ERROR - upSize2XGuidedByYSimple - low is smaller than half of guide");
    EXPECT_FAILURE(image.convertFrom(out.ptr(), 6, 4, 24), "ERROR - downSize2X - outHalf must be allocated!");
    EXPECT_FAILURE(TPImage::MatRoi(none, 0, 0, 2, 2, 1, false, false),
                   "ERROR - TPImage::MatRoi - the rectangle starts outside of the plane");
}

TEST(TPImagePixelsTest, ArraysOfThreeDimensionsAreRefused) {
    const cv::Mat cube(std::vector<int>{2, 2, 2}, CV_16UC1), plane = randomPlane(4, 6, CV_16UC1);
    cv::Mat out = plane.clone();
    EXPECT_FAILURE(TPImage::PRGB2Y(cube, plane, plane, out), "ERROR - plane - dims>2");
    EXPECT_FAILURE(TPImage::YDRDB2RGB(plane, cube, plane, out, out, out), "ERROR - plane - dims>2");
    EXPECT_FAILURE(TPImage::YDRDBToQImage(cube, plane, plane, out.ptr(), 1, 1, 4), "ERROR - plane - dims>2");
    EXPECT_FAILURE(TPImage::MatRoi(cube, 0, 0, 1, 1, 1, false, false), "ERROR - plane - dims>2");
    ThreePlanes<ushort> words(4, 6);
    ThreePlanes<uchar> bytes(2, 3);
    for (cv::Mat TPImage::*part : {&TPImage::m_Y, &TPImage::m_Dr, &TPImage::m_Db}) {
        TPImage image(6, 4);
        image.*part = cube;
        EXPECT_FAILURE(image.convertTo(out.ptr(), 24), "ERROR - plane - dims>2");
        EXPECT_FAILURE(image.convertTopRGB(words.pointer, words.step), "ERROR - plane - dims>2");
        EXPECT_FAILURE(image.convertTopRGB15U(words.pointer, words.step), "ERROR - plane - dims>2");
        EXPECT_FAILURE(image.convertToHalfpRGB(bytes.pointer, bytes.step), "ERROR - plane - dims>2");
    }
}

}  // namespace
