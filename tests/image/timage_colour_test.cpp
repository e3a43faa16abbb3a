#include <gtest/gtest.h>

#include "tests/image/timage_colour_reference.h"
#include "tests/support/failures.h"

namespace {

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
