#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

#include "kestrova/image/timage.h"
#include "kestrova/primitives/primitives.h"
#include "tests/image/timage_planes.h"
#include "tests/support/failures.h"
#include "tests/support/little_memory.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

const char* const kSizeText =
    "TImage::YCMToRgba16u - imY.size()!=out.size() || TImage::dec2Size(imY.size()) != imC.size() || "
    "imC.size() != mask.size()";
const char* const kKindTextIn =
    "ERROR - TImage::rgba16uToYCM - y.type()!=IM_Y16U || c.type()!=IM_C8U || m.type()!=IM_M8U";
const char* const kKindTextOut =
    "ERROR - TImage::YCMToRgba16u - y.type()!=IM_Y16U || c.type()!=IM_C8U || m.type()!=IM_M8U";

int rounded(double v, int top) { return static_cast<int>(std::fmin(std::fmax(std::nearbyint(v), 0.0), top)); }

// The documented sequence, block by block.
void toYcm(const cv::Mat& rgba, Ycm& out) {
    for (int i = 0; i < rgba.rows / 2; ++i)
        for (int j = 0; j < rgba.cols / 2; ++j) {
            int sum = 0, red = 0, blue = 0, alpha = 0;
            for (int k = 0; k < 4; ++k) {
                const int r = 2 * i + k / 2, x = 2 * j + k % 2;
                const cv::Vec4w p = rgba.at<cv::Vec4w>(r, x);
                float v = static_cast<float>(p[0]) * k299;
                v = v + static_cast<float>(p[1]) * k587;
                v = v + static_cast<float>(p[2]) * k114;
                const int y = rounded(static_cast<double>(v), 65535);
                cv::Mat(out.y.toMat(0)).at<ushort>(r, x) = static_cast<ushort>(y);
                sum += y, red += p[0], blue += p[2], alpha += p[3];
            }
            const auto byte = [](int v) { return static_cast<uchar>(std::min(std::max(v, 0), 255)); };
            cv::Mat(out.c.toMat(0)).at<uchar>(i, j) = byte((red - sum) / 2048 + 128);
            cv::Mat(out.c.toMat(1)).at<uchar>(i, j) = byte((blue - sum) / 2048 + 128);
            cv::Mat(out.m.toMat(0)).at<uchar>(i, j) = static_cast<uchar>(alpha >> 10);
        }
}

cv::Mat widened(const cv::Mat& bytes) {
    cv::Mat words(bytes.size(), CV_16UC4);
    ippiScale_8u16u_C4R(bytes.ptr(), static_cast<int>(bytes.step), words.ptr<ushort>(), static_cast<int>(words.step),
                        {bytes.cols, bytes.rows});
    return words;
}

cv::Mat narrowed(const cv::Mat& words) {
    cv::Mat bytes(words.size(), CV_8UC4);
    ippiScale_16u8u_C4R(words.ptr<ushort>(), static_cast<int>(words.step), bytes.ptr(), static_cast<int>(bytes.step),
                        {words.cols, words.rows}, ippAlgHintFast);
    return bytes;
}

cv::Mat enlarged(const cv::Mat& half, cv::Size size) {
    cv::Mat full(size, CV_8UC1);
    EXPECT_EQ(ippiResizeSqrPixel_8u_C1R(half.ptr(), {half.cols, half.rows}, static_cast<int>(half.step),
                                        {0, 0, half.cols, half.rows}, full.ptr(), static_cast<int>(full.step),
                                        {0, 0, full.cols, full.rows}, 2.0, 2.0, 0.0, 0.0, 4, nullptr),
              ippStsNoErr);
    return full;
}

cv::Mat fromYcm(const Ycm& in) {
    const cv::Mat y = in.y.toMat(0), c0 = enlarged(in.c.toMat(0), y.size()), c1 = enlarged(in.c.toMat(1), y.size()),
                  m = enlarged(in.m.toMat(0), y.size());
    cv::Mat out(y.size(), CV_16UC4);
    for (int r = 0; r < y.rows; ++r)
        for (int x = 0; x < y.cols; ++x) {
            const float luminance = y.at<ushort>(r, x);
            const float red = (static_cast<float>(c0.at<uchar>(r, x)) - 128.0f) * 512.0f + luminance;
            const float blue = (static_cast<float>(c1.at<uchar>(r, x)) - 128.0f) * 512.0f + luminance;
            float green = luminance - red * k299;
            green = green - blue * k114;
            green = green * k17035775;
            const auto word = [](double v) { return static_cast<ushort>(rounded(v, 65535)); };
            out.at<cv::Vec4w>(r, x) = {word(static_cast<double>(red)), word(static_cast<double>(green)),
                                       word(static_cast<double>(blue)),
                                       word(static_cast<double>(m.at<uchar>(r, x)) * 255.997)};
        }
    return out;
}

TSize sizeOf(const cv::Size& s) { return TSize(s.width, s.height); }

// Colours at the ends of the range, where sums and clamps show, beside random ones.
cv::Mat rgbaOf(const cv::Size& s, int type, int variant) {
    cv::Mat rgba = randomPlane(s.height, s.width, type, static_cast<unsigned>(5 + variant));
    if (variant == 1) cv::compare(randomPlane(s.height, s.width, CV_8UC4), 128, rgba, cv::CMP_GT);
    if (variant == 1 && type == CV_16UC4) rgba.convertTo(rgba, CV_16U, 257);
    return rgba;
}

TEST(TImageColour, WordsBecomeLuminanceDifferencesAndMask) {
    for (const cv::Size& s : testSizes())
        for (int variant : {0, 1}) {
            const cv::Mat rgba = rgbaOf(s, CV_16UC4, variant);
            Ycm expected(sizeOf(s));
            toYcm(rgba, expected);
            withThreadCounts([&](int) {
                // Images of the right size keep what no block covers.
                Ycm out(sizeOf(s));
                TImage::rgba16uToYCM(imageOf(TImage::IM_RGBA16U, rgba), out.y, out.c, out.m);
                EXPECT_TRUE(out.sameAs(expected));
            });
        }
}

TEST(TImageColour, BytesBecomeWhatTheirWordsBecome) {
    for (const cv::Size& s : testSizes())
        for (int variant : {0, 1}) {
            const cv::Mat rgba = rgbaOf(s, CV_8UC4, variant);
            Ycm expected(sizeOf(s));
            toYcm(widened(rgba), expected);
            withThreadCounts([&](int) {
                Ycm out(sizeOf(s));
                TImage::rgba8uToYCM(imageOf(TImage::IM_RGBA8U, rgba), out.y, out.c, out.m);
                EXPECT_TRUE(out.sameAs(expected));
            });
        }
}

TEST(TImageColour, HostsPixelsBecomeWhatTheirOrderSaysAndStayAsTheyAre) {
    for (const cv::Size& s : testSizes()) {
        const cv::Mat bgra = asSubPlane(randomPlane(s.height, s.width, CV_8UC4)), before = bgra.clone();
        Ycm expected(sizeOf(s));
        toYcm(widened(swapped(bgra)), expected);
        Ycm out(sizeOf(s));
        TImage::bgra8uToTImage(bgra.ptr(), static_cast<int>(bgra.step), s.width, s.height, out.y, out.c, out.m);
        EXPECT_TRUE(out.sameAs(expected));
        EXPECT_TRUE(samePixels(before, bgra));
    }
}

TEST(TImageColour, ImagesGetTheirSizesOnTheWayIn) {
    const cv::Mat rgba = randomPlane(5, 7, CV_16UC4);
    Ycm out;
    TImage::rgba16uToYCM(imageOf(TImage::IM_RGBA16U, rgba), out.y, out.c, out.m);
    EXPECT_TRUE(out.y.size() == TSize(7, 5));
    EXPECT_TRUE(out.c.size() == TSize(4, 3));
    EXPECT_TRUE(out.m.size() == TSize(4, 3));
}

TEST(TImageColour, PictureWithoutPixelsEmptiesTheImages) {
    for (TImage::IMTYPE type : {TImage::IM_RGBA8U, TImage::IM_RGBA16U}) {
        Ycm out(TSize(4, 4));
        const auto convert = type == TImage::IM_RGBA8U ? TImage::rgba8uToYCM : TImage::rgba16uToYCM;
        convert(TImage(type, TSize()), out.y, out.c, out.m);
        EXPECT_TRUE(out.y.size() == TSize() && out.c.size() == TSize() && out.m.size() == TSize());
    }
    Ycm out(TSize(4, 4));
    TImage::bgra8uToTImage(nullptr, 0, 4, 0, out.y, out.c, out.m);
    EXPECT_TRUE(out.y.size() == TSize());
}

TEST(TImageColour, KindsDoNotMatterWithoutPixels) {
    for (const auto convert : {TImage::rgba8uToYCM, TImage::rgba16uToYCM})
        for (TImage::IMTYPE type : kKinds) {
            TImage y = randomImage(TImage::IM_M8U, 4, 4), c = randomImage(TImage::IM_RGBA8U, 4, 4);
            TImage m = randomImage(TImage::IM_C8U, 4, 4);
            convert(TImage(type, TSize()), y, c, m);
            EXPECT_TRUE(y.size() == TSize() && c.size() == TSize() && m.size() == TSize());
        }
}

TEST(TImageColour, OtherKindsAreRefusedOnTheWayInBeforeAnythingIsWritten) {
    const TImage rgba8 = randomImage(TImage::IM_RGBA8U, 6, 4), rgba16 = randomImage(TImage::IM_RGBA16U, 6, 4);
    Ycm out(TSize(2, 2));
    EXPECT_FAILURE(TImage::rgba8uToYCM(rgba16, out.y, out.c, out.m),
                   "ERROR - TImage::rgba8uToYCM - in.type()!=IM_RGBA8U");
    EXPECT_FAILURE(TImage::rgba16uToYCM(rgba8, out.y, out.c, out.m),
                   "ERROR - TImage::rgba16uToYCM - in.type()!=IM_RGBA16U");
    EXPECT_FAILURE(TImage::rgba16uToYCM(rgba16, out.m, out.c, out.y), kKindTextIn);
    EXPECT_FAILURE(TImage::rgba8uToYCM(rgba8, out.y, out.m, out.m), kKindTextIn);
    EXPECT_TRUE(out.sameAs(Ycm(TSize(2, 2))));

    cv::Mat bgra = randomPlane(4, 6, CV_8UC4);
    const cv::Mat before = bgra.clone();
    EXPECT_FAILURE(TImage::bgra8uToTImage(bgra.ptr(), 24, 6, 4, out.c, out.c, out.m), kKindTextIn);
    EXPECT_FAILURE(TImage::bgra8uToTImage(bgra.ptr(), 23, 6, 4, out.y, out.c, out.m),
                   "ERROR - TImage::TImage - step<width*pstep");
    EXPECT_FAILURE(TImage::bgra8uToTImage(nullptr, 24, 6, 4, out.y, out.c, out.m),
                   "ERROR - TImage::TImage - data==NULL");
    EXPECT_TRUE(samePixels(before, bgra));
    EXPECT_TRUE(out.sameAs(Ycm(TSize(2, 2))));
}

TEST(TImageColour, ImagesThatCannotBeResizedAreRefused) {
    for (TImage Ycm::*fixed : {&Ycm::y, &Ycm::c, &Ycm::m}) {
        Ycm out(TSize(2, 2));
        (out.*fixed).m_bOwner = 0;
        EXPECT_FAILURE(TImage::rgba16uToYCM(randomImage(TImage::IM_RGBA16U, 6, 4), out.y, out.c, out.m),
                       "ERROR - TImage::rgba16uToYCM - y, c or m cannot be resized");
    }
    cv::Mat pixels(3, 3, CV_8UC4, cv::Scalar::all(9));
    TImage view(TSize(3, 3), pixels.ptr(), static_cast<int>(pixels.step), false);
    EXPECT_FAILURE(TImage::rgba16uTo8u(randomImage(TImage::IM_RGBA16U, 6, 4), view),
                   "ERROR - TImage::rgba16uTo8u - out.size()!=in.size()");
    cv::Mat pixels16(3, 3, CV_16UC4, cv::Scalar::all(9));
    TImage view16(TSize(3, 3), pixels16.ptr<ushort>(), static_cast<int>(pixels16.step), false);
    EXPECT_FAILURE(TImage::rgba8uTo16u(randomImage(TImage::IM_RGBA8U, 6, 4), view16),
                   "ERROR - TImage::rgba8uTo16u - out.size()!=in.size()");
    const Ycm in(TSize(6, 4));
    EXPECT_FAILURE(TImage::YCMToRgba8u(in.y, in.c, in.m, view), "ERROR - TImage::YCMToRgba8u - out.size()!=imY.size()");
    EXPECT_TRUE(samePixels(cv::Mat(3, 3, CV_8UC4, cv::Scalar::all(9)), pixels));
}

TEST(TImageColour, PictureOfThreeByThreeHasOneBlock) {
    Ycm out(TSize(3, 3)), expected(TSize(3, 3));
    const cv::Mat rgba(3, 3, CV_16UC4, cv::Scalar(65535, 0, 0, 40000));
    TImage::rgba16uToYCM(imageOf(TImage::IM_RGBA16U, rgba), out.y, out.c, out.m);
    EXPECT_TRUE(out.c.size() == TSize(2, 2));
    for (int r : {0, 1})
        for (int x : {0, 1}) cv::Mat(expected.y.toMat(0)).at<ushort>(r, x) = 19595;  // 0.299 * 65535
    cv::Mat(expected.c.toMat(0)).at<uchar>(0, 0) = 128 + 89;                         // 45940 / 512
    cv::Mat(expected.c.toMat(1)).at<uchar>(0, 0) = 128 - 38;                         // -19595 / 512, truncated
    cv::Mat(expected.m.toMat(0)).at<uchar>(0, 0) = 156;                              // 40000 / 256
    EXPECT_TRUE(out.sameAs(expected));
}

TEST(TImageColour, YcmBecomesWords) {
    for (const cv::Size& s : testSizes()) {
        const Ycm in(sizeOf(s));
        const cv::Mat expected = fromYcm(in);
        withThreadCounts([&](int) {
            TImage out(TImage::IM_RGBA16U, sizeOf(s));
            TImage::YCMToRgba16u(in.y, in.c, in.m, out);
            EXPECT_TRUE(samePixels(expected, out.toMat(0)));
        });
    }
}

// Steps between 0 and 255 make the enlarging overshoot.
TEST(TImageColour, OvershootOfTheEnlargingSaturates) {
    for (const cv::Size& s : testSizes()) {
        Ycm in(sizeOf(s));
        const auto extremes = [](const cv::Mat& plane) {
            cv::Mat header(plane);
            cv::compare(header, 128, header, cv::CMP_GT);
        };
        extremes(in.c.toMat(0));
        extremes(in.c.toMat(1));
        extremes(in.m.toMat(0));
        TImage out(TImage::IM_RGBA16U, sizeOf(s));
        TImage::YCMToRgba16u(in.y, in.c, in.m, out);
        EXPECT_TRUE(samePixels(fromYcm(in), out.toMat(0)));
    }
}

TEST(TImageColour, YcmBecomesTheBytesOfItsWords) {
    for (const cv::Size& s : testSizes()) {
        const Ycm in(sizeOf(s));
        const cv::Mat expected = narrowed(fromYcm(in));
        withThreadCounts([&](int) {
            TImage out(TImage::IM_RGBA8U, TSize());
            TImage::YCMToRgba8u(in.y, in.c, in.m, out);
            EXPECT_TRUE(samePixels(expected, out.toMat(0)));
        });
    }
}

TEST(TImageColour, HostGetsItsOrderInItsRowsAlone) {
    for (const cv::Size& s : testSizes()) {
        const Ycm in(sizeOf(s));
        cv::Mat whole = randomPlane(s.height + 2, s.width + 3, CV_8UC4);
        cv::Mat expected = whole.clone();
        const cv::Rect part(1, 1, s.width, s.height);
        swapped(narrowed(fromYcm(in))).copyTo(expected(part));
        TImage::timageToBgra8u(in.y, in.c, in.m, whole(part).ptr(), static_cast<int>(whole.step));
        EXPECT_TRUE(samePixels(expected, whole));
    }
}

// Every luminance with every difference, and every mask.
TEST(TImageColour, EveryColourComesBackAsStated) {
    for (int other : {0, 100, 255}) {
        cv::Mat y(256, 512, CV_16UC1), c(128, 256, CV_8UC1), m(128, 256, CV_8UC1);
        for (int r = 0; r < y.rows; ++r)
            for (int x = 0; x < y.cols; ++x) y.at<ushort>(r, x) = static_cast<ushort>((r * 512 + x * 3) & 65535);
        for (int r = 0; r < c.rows; ++r)
            for (int x = 0; x < c.cols; ++x) c.at<uchar>(r, x) = static_cast<uchar>(x);
        m = c;
        Ycm in;
        in.y = imageOf(TImage::IM_Y16U, y);
        in.c = imageOf(TImage::IM_C8U, c, cv::Mat(c.size(), CV_8UC1, cv::Scalar(other)));
        in.m = imageOf(TImage::IM_M8U, m);
        TImage out(TImage::IM_RGBA16U, TSize(512, 256));
        TImage::YCMToRgba16u(in.y, in.c, in.m, out);
        EXPECT_TRUE(samePixels(fromYcm(in), out.toMat(0)));
    }
}

TEST(TImageColour, SizesThatDoNotFitAreRefusedAndNothingIsWritten) {
    const Ycm in(TSize(6, 4));
    const TImage c(TImage::IM_C8U, TSize(3, 3)), m(TImage::IM_M8U, TSize(4, 2));
    TImage small = randomImage(TImage::IM_RGBA16U, 5, 4), out = randomImage(TImage::IM_RGBA16U, 6, 4);
    TImage bytes = randomImage(TImage::IM_RGBA8U, 2, 2);
    EXPECT_FAILURE(TImage::YCMToRgba16u(in.y, in.c, in.m, small), kSizeText);
    EXPECT_FAILURE(TImage::YCMToRgba16u(in.y, c, in.m, out), kSizeText);
    EXPECT_FAILURE(TImage::YCMToRgba16u(in.y, in.c, m, out), kSizeText);
    EXPECT_FAILURE(TImage::YCMToRgba8u(in.y, c, in.m, bytes), kSizeText);
    // Sizes come before kinds, and before a picture without pixels is let pass.
    const Ycm empty;
    TImage nothing(TImage::IM_RGBA16U, TSize());
    EXPECT_FAILURE(TImage::YCMToRgba16u(in.c, in.c, in.m, small), kSizeText);
    EXPECT_FAILURE(TImage::YCMToRgba8u(in.y, in.m, m, bytes), kSizeText);
    EXPECT_FAILURE(TImage::YCMToRgba16u(empty.y, in.c, in.m, nothing), kSizeText);
    EXPECT_FAILURE(TImage::YCMToRgba16u(empty.y, empty.c, empty.m, out), kSizeText);
    EXPECT_FAILURE(TImage::YCMToRgba8u(empty.y, in.c, in.m, bytes), kSizeText);
    uchar host[96] = {};
    EXPECT_FAILURE(TImage::timageToBgra8u(in.y, in.c, m, host, 24), kSizeText);
    EXPECT_TRUE(std::all_of(host, host + 96, [](uchar v) { return v == 0; }));
    EXPECT_TRUE(samePixels(randomImage(TImage::IM_RGBA16U, 5, 4).toMat(0), small.toMat(0)));
    EXPECT_TRUE(samePixels(randomImage(TImage::IM_RGBA16U, 6, 4).toMat(0), out.toMat(0)));
    EXPECT_TRUE(samePixels(randomImage(TImage::IM_RGBA8U, 2, 2).toMat(0), bytes.toMat(0)));
}

TEST(TImageColour, OtherKindsAreRefusedOnTheWayOutBeforeAnythingIsWritten) {
    const Ycm in(TSize(6, 4));
    const TImage byteY(TImage::IM_M8U, TSize(6, 4)), wordM(TImage::IM_Y16U, TSize(3, 2));
    TImage out = randomImage(TImage::IM_RGBA16U, 6, 4), bytes = randomImage(TImage::IM_RGBA8U, 6, 4);
    EXPECT_FAILURE(TImage::YCMToRgba16u(byteY, in.c, in.m, out), kKindTextOut);
    EXPECT_FAILURE(TImage::YCMToRgba16u(in.y, in.m, in.m, out), kKindTextOut);
    EXPECT_FAILURE(TImage::YCMToRgba16u(in.y, in.c, wordM, out), kKindTextOut);
    EXPECT_FAILURE(TImage::YCMToRgba16u(in.y, in.c, in.m, bytes),
                   "ERROR - TImage::YCMToRgba16u - out.type()!=IM_RGBA16U");
    EXPECT_FAILURE(TImage::YCMToRgba8u(in.y, in.c, in.m, out), "ERROR - TImage::YCMToRgba8u - out.type()!=IM_RGBA8U");
    EXPECT_FAILURE(TImage::YCMToRgba8u(in.y, in.c, wordM, bytes), kKindTextOut);
    EXPECT_FAILURE(TImage::timageToBgra8u(in.y, in.c, in.m, nullptr, 24), "ERROR - TImage::TImage - data==NULL");
    EXPECT_FAILURE(TImage::timageToBgra8u(in.y, in.c, in.m, bytes.toMat(0).data, 23),
                   "ERROR - TImage::TImage - step<width*pstep");
    EXPECT_TRUE(samePixels(randomImage(TImage::IM_RGBA16U, 6, 4).toMat(0), out.toMat(0)));
    EXPECT_TRUE(samePixels(randomImage(TImage::IM_RGBA8U, 6, 4).toMat(0), bytes.toMat(0)));
}

TEST(TImageColour, EmptyYcmIsLetPass) {
    const Ycm in;
    TImage words(TImage::IM_RGBA16U, TSize()), bytes = randomImage(TImage::IM_RGBA8U, 3, 3);
    TImage::YCMToRgba16u(in.y, in.c, in.m, words);
    TImage::YCMToRgba8u(in.y, in.c, in.m, bytes);
    TImage::timageToBgra8u(in.y, in.c, in.m, nullptr, 0);
    TImage::YCMToRgba16u(in.m, in.y, in.c, bytes);
    EXPECT_TRUE(words.size() == TSize());
    EXPECT_TRUE(bytes.size() == TSize());
}

TEST(TImageColour, ScratchThatIsNotToBeHadThrowsZero) {
    constexpr int kWidth = 1 << 25;
    const TImage y(TImage::IM_Y16U, TSize(kWidth, 1)), c(TImage::IM_C8U, TSize(kWidth / 2, 1));
    const TImage m(TImage::IM_M8U, TSize(kWidth / 2, 1));
    TImage out(TImage::IM_RGBA16U, TSize(kWidth, 1));
    withLittleMemory(1 << 20, [&] {
        try {
            TImage::YCMToRgba16u(y, c, m, out);
        } catch (int thrown) {
            return thrown == 0;
        }
        return false;
    });
}

TEST(TImageColour, BytesStayAsTheyAreWhereScratchIsNotToBeHad) {
    constexpr int kWidth = 1 << 25;
    const TImage y(TImage::IM_Y16U, TSize(kWidth, 1)), c(TImage::IM_C8U, TSize(kWidth / 2, 1));
    const TImage m(TImage::IM_M8U, TSize(kWidth / 2, 1));
    TImage out = randomImage(TImage::IM_RGBA8U, 3, 3);
    withLittleMemory(1 << 20, [&] {
        try {
            TImage::YCMToRgba8u(y, c, m, out);
        } catch (int thrown) {
            return thrown == 0 && samePixels(randomImage(TImage::IM_RGBA8U, 3, 3).toMat(0), out.toMat(0));
        }
        return false;
    });
}

TEST(TImageColour, ImagesWithoutMemoryAreRefused) {
    constexpr int kWidth = 1 << 25;
    const TImage in(TImage::IM_RGBA8U, TSize(kWidth, 2));
    TImage wide(TImage::IM_RGBA16U, TSize());
    withLittleMemory(1 << 20, [&] {
        Ycm out;
        EXPECT_FAILURE(TImage::rgba8uToYCM(in, out.y, out.c, out.m), "ERROR - TImage - plane==NULL");
        EXPECT_FAILURE(TImage::rgba8uTo16u(in, wide), "ERROR - TImage - plane==NULL");
        return !testing::Test::HasFailure();
    });
}

TEST(TImageColour, GreyComesBackAsGrey) {
    Ycm ycm;
    const cv::Mat grey(6, 8, CV_16UC4, cv::Scalar(40000, 40000, 40000, 65535));
    TImage::rgba16uToYCM(imageOf(TImage::IM_RGBA16U, grey), ycm.y, ycm.c, ycm.m);
    for (int p : {0, 1}) EXPECT_TRUE(samePixels(cv::Mat(3, 4, CV_8UC1, cv::Scalar(128)), ycm.c.toMat(p)));
    TImage out(TImage::IM_RGBA16U, TSize(8, 6));
    TImage::YCMToRgba16u(ycm.y, ycm.c, ycm.m, out);
    const ushort y = ycm.y.toMat(0).at<ushort>(0, 0);
    EXPECT_EQ(y, 40000);
    for (int r = 0; r < 6; ++r)
        for (int x = 0; x < 8; ++x) {
            const cv::Vec4w p = out.toMat(0).at<cv::Vec4w>(r, x);
            EXPECT_EQ(p[0], y);
            EXPECT_NEAR(p[1], y, 1);
            EXPECT_EQ(p[2], y);
        }
}

TEST(TImageColour, WhiteKeepsItsColourAndLosesTheLastStepOfAlpha) {
    Ycm ycm;
    const cv::Mat white(4, 4, CV_8UC4, cv::Scalar::all(255));
    TImage::rgba8uToYCM(imageOf(TImage::IM_RGBA8U, white), ycm.y, ycm.c, ycm.m);
    EXPECT_TRUE(samePixels(cv::Mat(4, 4, CV_16UC1, cv::Scalar(65535)), ycm.y.toMat(0)));
    EXPECT_TRUE(samePixels(cv::Mat(2, 2, CV_8UC1, cv::Scalar(255)), ycm.m.toMat(0)));
    TImage words(TImage::IM_RGBA16U, TSize(4, 4)), bytes(TImage::IM_RGBA8U, TSize());
    TImage::YCMToRgba16u(ycm.y, ycm.c, ycm.m, words);
    TImage::YCMToRgba8u(ycm.y, ycm.c, ycm.m, bytes);
    EXPECT_EQ(words.toMat(0).at<cv::Vec4w>(1, 1)[0], 65535);
    EXPECT_EQ(words.toMat(0).at<cv::Vec4w>(1, 1)[3], 65279);
    EXPECT_TRUE(samePixels(cv::Mat(4, 4, CV_8UC4, cv::Scalar(255, 255, 255, 254)), bytes.toMat(0)));
}

// A step of a difference is 1/128 of full scale, and truncation costs at most one; luminance keeps all its bits.
TEST(TImageColour, SmoothPictureComesBackWithinAStepOfItsDifferences) {
    cv::Mat rgba(240, 320, CV_16UC4);
    for (int r = 0; r < rgba.rows; ++r)
        for (int x = 0; x < rgba.cols; ++x)
            rgba.at<cv::Vec4w>(r, x) = {static_cast<ushort>(20000 + 60 * x), static_cast<ushort>(30000 + 50 * r),
                                        static_cast<ushort>(40000 - 40 * x + 30 * r), 50000};
    Ycm ycm;
    TImage::rgba16uToYCM(imageOf(TImage::IM_RGBA16U, rgba), ycm.y, ycm.c, ycm.m);
    TImage out(TImage::IM_RGBA16U, TSize(320, 240));
    TImage::YCMToRgba16u(ycm.y, ycm.c, ycm.m, out);
    EXPECT_TRUE(closePixels(rgba, out.toMat(0), 512 + 100));  // 100 for the slope within a block
    Ycm again;
    TImage::rgba16uToYCM(out, again.y, again.c, again.m);
    EXPECT_TRUE(closePixels(ycm.y.toMat(0), again.y.toMat(0), 1));
}

TEST(TImageColour, DepthsAreConvertedThere) {
    for (const cv::Size& s : testSizes()) {
        cv::Mat bytes = asSubPlane(randomPlane(s.height, s.width, CV_8UC4));
        cv::Mat words = asSubPlane(randomPlane(s.height, s.width, CV_16UC4));
        TImage wide(TImage::IM_RGBA16U, TSize()), narrow(TImage::IM_RGBA8U, TSize());
        TImage::rgba8uTo16u(TImage(sizeOf(s), bytes.ptr(), static_cast<int>(bytes.step), false), wide);
        TImage::rgba16uTo8u(TImage(sizeOf(s), words.ptr<ushort>(), static_cast<int>(words.step), false), narrow);
        cv::Mat expected;
        bytes.convertTo(expected, CV_16U, 257);
        EXPECT_TRUE(samePixels(expected, wide.toMat(0)));
        expected.create(s, CV_8UC4);
        for (int r = 0; r < s.height; ++r)
            for (int x = 0; x < 4 * s.width; ++x) {
                const int v = words.ptr<ushort>(r)[x] - 32768;
                expected.ptr(r)[x] = static_cast<uchar>(((v - (v >> 8)) >> 8) + 128);
            }
        EXPECT_TRUE(samePixels(expected, narrow.toMat(0)));
    }
}

TEST(TImageColour, DepthsOfOtherKindsAreRefused) {
    const char* const widening = "ERROR - TImage::rgba8uTo16u - in.type()!=IM_RGBA8U || out.type()!=IM_RGBA16U";
    const char* const narrowing = "ERROR - TImage::rgba16uTo8u - in.type()!=IM_RGBA16U || out.type()!=IM_RGBA8U";
    TImage bytes = randomImage(TImage::IM_RGBA8U, 3, 3), words = randomImage(TImage::IM_RGBA16U, 5, 4);
    const TImage moreBytes(bytes), moreWords(words);
    EXPECT_FAILURE(TImage::rgba8uTo16u(words, bytes), widening);
    EXPECT_FAILURE(TImage::rgba8uTo16u(moreWords, words), widening);
    EXPECT_FAILURE(TImage::rgba8uTo16u(moreBytes, bytes), widening);
    EXPECT_FAILURE(TImage::rgba16uTo8u(bytes, words), narrowing);
    EXPECT_FAILURE(TImage::rgba16uTo8u(moreBytes, bytes), narrowing);
    EXPECT_FAILURE(TImage::rgba16uTo8u(moreWords, words), narrowing);
    EXPECT_TRUE(bytes.size() == TSize(3, 3));
    TImage::rgba8uTo16u(TImage(TImage::IM_RGBA8U, TSize()), words);
    TImage::rgba16uTo8u(TImage(TImage::IM_RGBA16U, TSize()), bytes);
    EXPECT_TRUE(words.size() == TSize());
    EXPECT_TRUE(bytes.size() == TSize());
}

TEST(TImageColour, EmptyFunctionsChangeNothing) {
    cv::Mat a = randomPlane(3, 3, CV_8UC1, 1), b = randomPlane(3, 3, CV_16UC1, 2), c;
    const cv::Mat beforeA = a.clone(), beforeB = b.clone();
    RGBtoYCM(a, b, c);
    YCMtoRGB(a, b, c);
    EXPECT_TRUE(samePixels(beforeA, a));
    EXPECT_TRUE(samePixels(beforeB, b));
    EXPECT_TRUE(c.empty());
}

}  // namespace
