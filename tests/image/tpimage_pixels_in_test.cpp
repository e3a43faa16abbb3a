#include <gtest/gtest.h>

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
    for (int step : {31, 0, -32}) {
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

TEST(TPImagePixelsTest, TwoNegativeSidesAreOpenCVsFailure) {
    TPImage image;
    const cv::Mat bytes = randomPlane(5, 8, CV_8UC4);
    EXPECT_THROW(image.convertFrom(bytes.ptr(), -8, -5, 32), cv::Exception);
}

TEST(TPImagePixelsTest, HalfPlanesThatWereReleasedStayEmptyAndFailAsTheReductionDoes) {
    TPImage image(8, 5);
    image.m_Db.release();
    const cv::Mat bytes = randomPlane(5, 8, CV_8UC4);
    EXPECT_FAILURE(image.convertFrom(bytes.ptr(), 8, 5, 32), "ERROR - downSize2X - outHalf must be allocated!");
    image.m_Db.create(9, 9, CV_16UC1);
    EXPECT_FAILURE(image.convertFrom(bytes.ptr(), 8, 5, 32),
                   "ERROR - TPImage::convertFrom - half-size planes of another size");
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

}  // namespace
