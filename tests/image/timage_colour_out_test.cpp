#include <gtest/gtest.h>

#include "tests/image/timage_colour_reference.h"
#include "tests/support/failures.h"
#include "tests/support/little_memory.h"
#include "tests/support/threads.h"

namespace {

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
    // Sizes come before kinds, and before a picture without pixels is accepted.
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

TEST(TImageColour, EmptyYcmIsAccepted) {
    const Ycm in;
    TImage words(TImage::IM_RGBA16U, TSize()), bytes = randomImage(TImage::IM_RGBA8U, 3, 3);
    TImage::YCMToRgba16u(in.y, in.c, in.m, words);
    TImage::YCMToRgba8u(in.y, in.c, in.m, bytes);
    TImage::timageToBgra8u(in.y, in.c, in.m, nullptr, 0);
    TImage::YCMToRgba16u(in.m, in.y, in.c, bytes);
    EXPECT_TRUE(words.size() == TSize());
    EXPECT_TRUE(bytes.size() == TSize());
}

TEST(TImageColour, ScratchWithoutMemoryThrowsZero) {
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

TEST(TImageColour, BytesStayAsTheyAreWhereScratchGetsNoMemory) {
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

TEST(TImageColour, OutputsThatGetNoMemoryAreAFailure) {
    constexpr int kWidth = 1 << 25;
    const TImage in(TImage::IM_RGBA8U, TSize(kWidth, 2));
    TImage wide(TImage::IM_RGBA16U, TSize());
    withLittleMemory(1 << 20, [&] {
        Ycm out;
        EXPECT_FAILURE(TImage::rgba8uToYCM(in, out.y, out.c, out.m), "ERROR - TImage::rgba8uToYCM - not enough memory");
        EXPECT_FAILURE(TImage::rgba8uTo16u(in, wide), "ERROR - TImage::rgba8uTo16u - not enough memory");
        return !testing::Test::HasFailure();
    });
}

}  // namespace
