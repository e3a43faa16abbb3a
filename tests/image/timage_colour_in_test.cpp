#include <gtest/gtest.h>

#include "tests/image/timage_colour_reference.h"
#include "tests/support/failures.h"
#include "tests/support/threads.h"

namespace {

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

TEST(TImageColour, PicturesBeyondTheCachesComeInPiecesOfRows) {
    const cv::Size s(2 * 256 * 5 + 7, 1701);
    const cv::Mat bgra = randomPlane(s.height, s.width, CV_8UC4), words = widened(swapped(bgra));
    ASSERT_GT(bgra.total() * bgra.elemSize(), std::size_t{1} << 24);
    Ycm expected(sizeOf(s));
    toYcm(words, expected);
    withThreadCounts([&](int) {
        Ycm out(sizeOf(s)), fromWords(sizeOf(s));
        TImage::bgra8uToTImage(bgra.ptr(), static_cast<int>(bgra.step), s.width, s.height, out.y, out.c, out.m);
        EXPECT_TRUE(out.sameAs(expected));
        TImage::rgba16uToYCM(imageOf(TImage::IM_RGBA16U, words), fromWords.y, fromWords.c, fromWords.m);
        EXPECT_TRUE(fromWords.sameAs(expected));
    });
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
                   "ERROR - TImage::rgba16uTo8u - out is smaller than in");
    cv::Mat pixels16(3, 3, CV_16UC4, cv::Scalar::all(9));
    TImage view16(TSize(3, 3), pixels16.ptr<ushort>(), static_cast<int>(pixels16.step), false);
    EXPECT_FAILURE(TImage::rgba8uTo16u(randomImage(TImage::IM_RGBA8U, 6, 4), view16),
                   "ERROR - TImage::rgba8uTo16u - out is smaller than in");
    const Ycm in(TSize(6, 4));
    EXPECT_FAILURE(TImage::YCMToRgba8u(in.y, in.c, in.m, view),
                   "ERROR - TImage::YCMToRgba8u - out is smaller than imY");
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

TEST(TImageColour, LargerViewIsWrittenOverTheSizeOfTheSource) {
    const Ycm in(TSize(6, 4));
    const TImage words = randomImage(TImage::IM_RGBA16U, 6, 4, 5), bytes = randomImage(TImage::IM_RGBA8U, 6, 4, 6);
    const cv::Rect part(0, 0, 6, 4);
    const auto inView = [&](int type, const auto& convert) {
        cv::Mat host = randomPlane(7, 9, type, 8);
        const TSize size(9, 7);
        const int step = static_cast<int>(host.step);
        TImage view =
            type == CV_8UC4 ? TImage(size, host.ptr(), step, false) : TImage(size, host.ptr<ushort>(), step, false);
        convert(view);
        EXPECT_TRUE(view.size() == size);
        return host;
    };
    const auto expected = [&](int type, const auto& convert) {
        cv::Mat host = randomPlane(7, 9, type, 8);
        TImage image(type == CV_8UC4 ? TImage::IM_RGBA8U : TImage::IM_RGBA16U, TSize());
        convert(image);
        image.toMat(0).copyTo(host(part));
        return host;
    };
    const auto narrow = [&](TImage& out) { TImage::rgba16uTo8u(words, out); };
    const auto widen = [&](TImage& out) { TImage::rgba8uTo16u(bytes, out); };
    const auto colour = [&](TImage& out) { TImage::YCMToRgba8u(in.y, in.c, in.m, out); };
    EXPECT_TRUE(samePixels(expected(CV_8UC4, narrow), inView(CV_8UC4, narrow)));
    EXPECT_TRUE(samePixels(expected(CV_16UC4, widen), inView(CV_16UC4, widen)));
    EXPECT_TRUE(samePixels(expected(CV_8UC4, colour), inView(CV_8UC4, colour)));
}

}  // namespace
