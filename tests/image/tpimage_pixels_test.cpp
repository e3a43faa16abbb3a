#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "kestrova/image/tpimage.h"
#include "kestrova/resample/chroma_upsize.h"
#include "kestrova/resample/resample.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

const float k299 = 0x1.322d0ep-2f, k587 = 0x1.2c8b44p-1f, k114 = 0x1.d2f1aap-4f;
const double k17036 = 1.7036;
const float k17036f = 0x1.b41f22p+0f;

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

ushort rounded16(double v) { return static_cast<ushort>(std::fmin(std::fmax(std::nearbyint(v), 0.0), 65535.0)); }
uchar rounded8(double v) { return static_cast<uchar>(std::fmin(std::fmax(std::nearbyint(v), 0.0), 255.0)); }
int clamped(int v) { return std::min(std::max(v, 0), 65535); }
int halfOf(int n) { return (n + 1) / 2; }

const std::vector<cv::Size>& sizes() {
    static const std::vector<cv::Size> all = [] {
        std::vector<cv::Size> list = testSizes();
        for (int height = 1; height <= 5; ++height)
            for (int width = 1; width <= 5; ++width) list.emplace_back(width, height);
        return list;
    }();
    return all;
}

// Step by step with whole planes, as a picture comes in.
struct PicturePlanes {
    cv::Mat Y, Dr, Db;
};

cv::Mat luminance(const cv::Mat& R, const cv::Mat& G, const cv::Mat& B, bool fifteenBits) {
    cv::Mat Y(R.size(), CV_16UC1);
    for (int y = 0; y < Y.rows; ++y)
        for (int x = 0; x < Y.cols; ++x) {
            float sum = R.at<ushort>(y, x) * k299;
            sum = sum + G.at<ushort>(y, x) * k587;
            sum = sum + B.at<ushort>(y, x) * k114;
            Y.at<ushort>(y, x) = rounded16(fifteenBits ? sum * 2.0f : sum);
        }
    return Y;
}

// Half of the plane: every other pixel; then an added column repeats the one before it, an added row stays.
cv::Mat everyOther(const cv::Mat& plane) {
    cv::Mat half(halfOf(plane.rows), halfOf(plane.cols), CV_16UC1);
    for (int y = 0; y < half.rows; ++y)
        for (int x = 0; x < half.cols; ++x) half.at<ushort>(y, x) = plane.at<ushort>(2 * y, 2 * x);
    if (half.cols > plane.cols / 2 && half.cols > 1) half.col(half.cols - 2).copyTo(half.col(half.cols - 1));
    return half;
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
template <class Pixel>
struct ThreePlanes {
    cv::Mat mat[3];
    Pixel* pointer[3];
    int step;

    ThreePlanes(int rows, int cols, std::uint32_t seed = 1) {
        for (int p = 0; p < 3; ++p) {
            mat[p] = asSubPlane(randomPlane(rows, cols, cv::DataType<Pixel>::type, seed + p));
            pointer[p] = mat[p].template ptr<Pixel>(0);
        }
        step = static_cast<int>(mat[0].step);
    }
};

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
    for (int step : {31, 0, -32})
        EXPECT_FAILURE(image.convertTo(out.ptr(), step), "ERROR TPImage::YDrDbToQImage - step<width*4");
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

}  // namespace
