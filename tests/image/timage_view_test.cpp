#include "kestrova/image/timage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>

#include "tests/image/timage_planes.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"

namespace {

// Shares pixels with other images and lets go of its flag, as a host's own class may.
struct Borrower : TImage {
    Borrower() : TImage(IM_M8U, TSize()) {}
    void borrow(const TImage& other) {
        TImage::operator=(other);
        m_bOwner = 0;
    }
};

TEST(TImage, ViewHoldsTheHostsPixels) {
    cv::Mat bytes = asSubPlane(randomPlane(4, 6, CV_8UC4)), words = asSubPlane(randomPlane(4, 6, CV_16UC4));
    const cv::Mat bytesBefore = bytes.clone(), wordsBefore = words.clone();
    const TImage view8(TSize(6, 4), bytes.ptr(), static_cast<int>(bytes.step), false);
    const TImage view16(TSize(6, 4), words.ptr<ushort>(), static_cast<int>(words.step), false);
    EXPECT_EQ(view8.type(), TImage::IM_RGBA8U);
    EXPECT_EQ(view16.type(), TImage::IM_RGBA16U);
    EXPECT_EQ(view8.m_bOwner, 0);
    EXPECT_EQ(view16.m_bOwner, 0);
    EXPECT_EQ(view8.pstep(), 4);
    EXPECT_EQ(view16.pstep(), 8);
    EXPECT_EQ(view16.step(), static_cast<int>(words.step));
    EXPECT_EQ(view8.toMat(0).data, bytes.data);
    EXPECT_TRUE(samePixels(bytesBefore, view8.toMat(0)));
    EXPECT_TRUE(samePixels(wordsBefore, view16.toMat(0)));
}

TEST(TImage, ViewExchangesRedAndBlueOfTheHostAtOnceIfAsked) {
    cv::Mat bytes = asSubPlane(randomPlane(4, 6, CV_8UC4)), words = asSubPlane(randomPlane(4, 6, CV_16UC4));
    const cv::Mat bytesBefore = bytes.clone(), wordsBefore = words.clone();
    const TImage view8(TSize(6, 4), bytes.ptr(), static_cast<int>(bytes.step), true);
    const TImage view16(TSize(6, 4), words.ptr<ushort>(), static_cast<int>(words.step), true);
    EXPECT_TRUE(samePixels(swapped(bytesBefore), bytes));
    EXPECT_TRUE(samePixels(swapped(wordsBefore), words));
}

TEST(TImage, ViewStaysAsItIs) {
    cv::Mat pixels = randomPlane(4, 6, CV_8UC4);
    const cv::Mat before = pixels.clone();
    TImage view(TSize(6, 4), pixels.ptr(), static_cast<int>(pixels.step), false);
    const TUpdateRect stamp = view.updateRect();
    view.resize(TSize(2, 2));
    view.resize(TSize());
    view.copyFrom(randomImage(TImage::IM_RGBA8U, 6, 4, 7));
    view.free();
    EXPECT_EQ(view.type(), TImage::IM_RGBA8U);
    EXPECT_TRUE(view.size() == TSize(6, 4));
    EXPECT_EQ(view.dataPtr(0, 0, 0), reinterpret_cast<char*>(pixels.data));
    EXPECT_TRUE(view.updateRect() == stamp);
    EXPECT_TRUE(samePixels(before, pixels));
}

TEST(TImage, ViewOfNothingIsEmpty) {
    TImage view(TSize(0, 5), static_cast<unsigned char*>(nullptr), 0, true);
    EXPECT_TRUE(view.size() == TSize());
    view.swapC4RBCannel();
}

TEST(TImage, ViewOfARowThatDoesNotFitIsRefused) {
    ushort words[16] = {};
    uchar* const bytes = reinterpret_cast<uchar*>(words);
    EXPECT_FAILURE(TImage(TSize(2, 1), static_cast<uchar*>(nullptr), 8, true), "ERROR - TImage::TImage - data==NULL");
    for (int step : {7, 0, -7})
        EXPECT_FAILURE(TImage(TSize(2, 2), bytes, step, true), "ERROR - TImage::TImage - step<width*pstep");
    for (int step : {15, 0, -15})
        EXPECT_FAILURE(TImage(TSize(2, 2), words, step, true), "ERROR - TImage::TImage - step<width*pstep");
    EXPECT_FAILURE(TImage(TSize(1 << 30, 2), words, 16, true), "ERROR - TImage::TImage - step<width*pstep");
    // A row of 2^31 bytes, though it is the only one.
    EXPECT_FAILURE(TImage(TSize(1 << 29, 1), bytes, 16, true), "ERROR - TImage::TImage - step<width*pstep");
    EXPECT_FAILURE(TImage(TSize(1 << 28, 1), words, 16, true), "ERROR - TImage::TImage - step<width*pstep");
    for (int step : {9, -9}) EXPECT_FAILURE(TImage(TSize(1, 2), words, step, true), "ERROR - TImage::TImage - step%2");
    EXPECT_FAILURE(TImage(TSize(1, 1), reinterpret_cast<ushort*>(bytes + 1), 8, true),
                   "ERROR - TImage::TImage - data%2");
    EXPECT_TRUE(std::all_of(words, words + 16, [](ushort v) { return v == 0; }));
    EXPECT_EQ(TImage(TSize(2, 1), bytes, 8, false).step(), 8);
}

TEST(TImage, CopyOfAViewHasPixelsOfItsOwn) {
    cv::Mat pixels = asSubPlane(randomPlane(4, 6, CV_8UC4));
    const cv::Mat before = pixels.clone();
    const TImage view(TSize(6, 4), pixels.ptr(), static_cast<int>(pixels.step), false);
    TImage copy(view);
    EXPECT_EQ(copy.m_bOwner, 1);
    copy.swapC4RBCannel();
    EXPECT_TRUE(samePixels(before, pixels));
    EXPECT_TRUE(samePixels(swapped(before), copy.toMat(0)));
}

TEST(TImage, AssignedViewIsAView) {
    cv::Mat pixels = randomPlane(4, 6, CV_8UC4);
    TImage image = randomImage(TImage::IM_Y16U, 3, 3);
    image = TImage(TSize(6, 4), pixels.ptr(), static_cast<int>(pixels.step), false);
    EXPECT_EQ(image.m_bOwner, 0);
    EXPECT_EQ(image.dataPtr(0, 0, 0), reinterpret_cast<char*>(pixels.data));
    image.resize(TSize(1, 1));
    EXPECT_TRUE(image.size() == TSize(6, 4));
    TImage owner = randomImage(TImage::IM_Y16U, 3, 3);
    image = owner;
    EXPECT_EQ(image.m_bOwner, 1);
}

TEST(TImage, FlagThatACallerClearsMakesAView) {
    Borrower borrower;
    {
        TImage owner = randomImage(TImage::IM_M8U, 6, 4);
        borrower.borrow(owner);
    }
    borrower.resize(TSize(2, 2));
    EXPECT_TRUE(borrower.size() == TSize(6, 4));
    EXPECT_TRUE(samePixels(randomPlane(4, 6, CV_8UC1, 1), borrower.toMat(0)));
}

TEST(TImage, CopyFromAViewOfItsOwnPixelsKeepsThemUntilTheyAreCopied) {
    TImage image = randomImage(TImage::IM_RGBA16U, 600, 500);
    const TImage view(TSize(300, 400), reinterpret_cast<ushort*>(image.dataPtr(50, 20, 0)), image.step(), false);
    const cv::Mat expected = cv::Mat(view.toMat(0)).clone();
    image.copyFrom(view);
    EXPECT_TRUE(samePixels(expected, image.toMat(0)));
    // Of the same size, from the bottom up.
    cv::Mat flipped;
    cv::flip(expected, flipped, 0);
    image.copyFrom(TImage(TSize(300, 400), reinterpret_cast<ushort*>(image.dataPtr(399, 0, 0)), -image.step(), false));
    EXPECT_TRUE(samePixels(flipped, image.toMat(0)));
}

TEST(TImage, SingleRowOfAViewMayHaveAnyStep) {
    for (int step : {0, 1, -3, INT_MIN, INT_MAX}) {
        cv::Mat bytes = randomPlane(1, 6, CV_8UC4), words = randomPlane(1, 6, CV_16UC4);
        const cv::Mat bytesBefore = bytes.clone(), wordsBefore = words.clone();
        const TImage view8(TSize(6, 1), bytes.ptr(), step, true), view16(TSize(6, 1), words.ptr<ushort>(), step, true);
        EXPECT_TRUE(samePixels(swapped(bytesBefore), bytes));
        EXPECT_TRUE(samePixels(swapped(wordsBefore), words));
        EXPECT_TRUE(samePixels(bytes, view8.toMat(0))) << step;
        EXPECT_TRUE(samePixels(words, view16.toMat(0))) << step;
        EXPECT_TRUE(samePixels(words, TImage(view16).toMat(0)));
        TImage wide(TImage::IM_RGBA16U, TSize());
        TImage::rgba8uTo16u(view8, wide);
        cv::Mat expected;
        bytes.convertTo(expected, CV_16U, 257);
        EXPECT_TRUE(samePixels(expected, wide.toMat(0)));
    }
}

TEST(TImage, ViewWithANegativeStepGoesFromTheBottomUp) {
    cv::Mat bytes = asSubPlane(randomPlane(7, 6, CV_8UC4)), words = asSubPlane(randomPlane(7, 6, CV_16UC4));
    cv::Mat flipped8, flipped16;
    cv::flip(bytes, flipped8, 0);
    cv::flip(words, flipped16, 0);
    const TSize size(6, 7);
    TImage view8(size, bytes.ptr(6), -static_cast<int>(bytes.step), false);
    TImage view16(size, words.ptr<ushort>(6), -static_cast<int>(words.step), false);
    EXPECT_EQ(view8.step(), -static_cast<int>(bytes.step));
    EXPECT_EQ(view8.dataPtr(2, 3, 0), bytes.ptr<char>(4) + 12);
    EXPECT_TRUE(samePixels(flipped8, TImage(view8).toMat(0)));
    EXPECT_TRUE(samePixels(flipped16, TImage(view16).toMat(0)));
    EXPECT_FAILURE(view8.toMat(0), "ERROR - TImage::toMat - step<0");

    TImage wide(TImage::IM_RGBA16U, TSize());
    TImage::rgba8uTo16u(view8, wide);
    cv::Mat expected;
    flipped8.convertTo(expected, CV_16U, 257);
    EXPECT_TRUE(samePixels(expected, wide.toMat(0)));
    TImage::rgba16uTo8u(wide, view8);
    cv::flip(bytes, expected, 0);
    EXPECT_TRUE(samePixels(flipped8, expected));

    Ycm fromView, fromImage;
    TImage::rgba8uToYCM(view8, fromView.y, fromView.c, fromView.m);
    TImage::rgba8uToYCM(imageOf(TImage::IM_RGBA8U, flipped8), fromImage.y, fromImage.c, fromImage.m);
    TImage out(TImage::IM_RGBA8U, TSize());
    TImage::YCMToRgba8u(fromImage.y, fromImage.c, fromImage.m, out);
    TImage::YCMToRgba8u(fromImage.y, fromImage.c, fromImage.m, view8);
    cv::flip(bytes, expected, 0);
    EXPECT_TRUE(samePixels(out.toMat(0), expected));

    view16.swapC4RBCannel();
    cv::flip(words, expected, 0);
    EXPECT_TRUE(samePixels(swapped(flipped16), expected));
}

}  // namespace
