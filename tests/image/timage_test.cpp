#include "kestrova/image/timage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <type_traits>

#include "tests/image/timage_planes.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

// Shares pixels with other images and lets go of its flag, as a host's own class may.
struct Borrower : TImage {
    Borrower() : TImage(IM_M8U, TSize()) {}
    void borrow(const TImage& other) {
        TImage::operator=(other);
        m_bOwner = 0;
    }
};

TEST(TImage, KindsAreNumberedAsTheHostKnowsThem) {
    EXPECT_EQ(TImage::IM_Y16U, 0);
    EXPECT_EQ(TImage::IM_C8U, 1);
    EXPECT_EQ(TImage::IM_M8U, 2);
    EXPECT_EQ(TImage::IM_RGBA8U, 3);
    EXPECT_EQ(TImage::IM_RGBA16U, 4);
    EXPECT_FALSE(std::is_polymorphic_v<TImage>);
}

TEST(TImage, NewImageOwnsAlignedPlanesOfItsKind) {
    for (TImage::IMTYPE type : kKinds) {
        const TImage image(type, TSize(5, 3));
        EXPECT_EQ(image.type(), type);
        EXPECT_EQ(image.m_bOwner, 1);
        EXPECT_TRUE(image.size() == TSize(5, 3));
        EXPECT_EQ(image.pstep(), pixelBytesOf(type));
        EXPECT_EQ(image.step(), (5 * pixelBytesOf(type) + 31) / 32 * 32);
        for (int p = 0; p < 4; ++p) EXPECT_EQ(image.m_data[p] != nullptr, p < planeCountOf(type)) << p;
        EXPECT_TRUE(image.updateRect().rect() == TRect());
    }
}

TEST(TImage, PlanesOfAPairAreApart) {
    const TImage image = randomImage(TImage::IM_C8U, 7, 5);
    EXPECT_TRUE(samePixels(randomPlane(5, 7, CV_8UC1, 1), image.toMat(0)));
    EXPECT_TRUE(samePixels(randomPlane(5, 7, CV_8UC1, 2), image.toMat(1)));
}

TEST(TImage, SizesWithoutPixelsGiveAnEmptyImage) {
    for (TImage::IMTYPE type : kKinds)
        for (const TSize& size : {TSize(0, 0), TSize(0, 5), TSize(-1, 5), TSize(5, -7)}) {
            const TImage image(type, size);
            EXPECT_EQ(image.type(), type);
            EXPECT_TRUE(image.size() == TSize(0, 0));
            EXPECT_EQ(image.step(), 0);
            EXPECT_EQ(image.pstep(), 0);
            EXPECT_EQ(image.m_data[0], nullptr);
            EXPECT_TRUE(image.toMat(0).empty());
            EXPECT_EQ(image.toMat(0).type(), matTypeOf(type));
        }
}

TEST(TImage, ImageTooLargeForAnyMemoryHasASizeAndNullPlanes) {
    TImage image(TImage::IM_RGBA16U, TSize(1 << 29, 1));
    EXPECT_TRUE(image.size() == TSize(1 << 29, 1));
    EXPECT_EQ(image.m_data[0], nullptr);
    EXPECT_TRUE(image.toMat(0).empty());
    EXPECT_FAILURE(image.swapC4RBCannel(), "ERROR - TImage - plane==NULL");
    const TImage copy(image);
    EXPECT_EQ(copy.m_data[0], nullptr);
    image.resize(TSize(2, 2));
    EXPECT_NE(image.m_data[0], nullptr);
}

TEST(TImage, CopyOfAnImageThatHadNoMemoryHasPixelsAgain) {
    TImage image(TImage::IM_Y16U, TSize(3, 3));
    for (char*& plane : image.m_data) plane = nullptr;
    image.m_blocks[0].reset();
    image.copyFrom(randomImage(TImage::IM_Y16U, 3, 3));
    EXPECT_TRUE(samePixels(randomImage(TImage::IM_Y16U, 3, 3).toMat(0), image.toMat(0)));
}

TEST(TImage, CopyIntoAnImageWhosePointersAHostClearedHasPixelsAgain) {
    TImage image = randomImage(TImage::IM_Y16U, 3, 3, 9);
    for (char*& plane : image.m_data) plane = nullptr;
    image.copyFrom(randomImage(TImage::IM_Y16U, 3, 3));
    EXPECT_TRUE(samePixels(randomImage(TImage::IM_Y16U, 3, 3).toMat(0), image.toMat(0)));
}

TEST(TImage, ResizeToTheSizeHeldKeepsPixelsAndStamp) {
    for (TImage::IMTYPE type : kKinds) {
        TImage image = randomImage(type, 9, 4);
        image.setChanged(TRect(1, 2, 3, 4));
        const TUpdateRect before = image.updateRect();
        const cv::Mat pixels = image.toMat(0).clone();
        const char* data = image.dataPtr(0, 0, 0);
        image.resize(TSize(9, 4));
        EXPECT_EQ(static_cast<const TImage&>(image).dataPtr(0, 0, 0), data);
        EXPECT_TRUE(samePixels(pixels, image.toMat(0)));
        EXPECT_TRUE(image.updateRect() == before);
    }
}

TEST(TImage, ResizeToAnotherSizeKeepsTheKindAndRenewsTheStampAlone) {
    for (TImage::IMTYPE type : kKinds) {
        TImage image = randomImage(type, 9, 4);
        image.setChanged(TRect(1, 2, 3, 4));
        image.m_region.m_value = 5;
        const TUpdateRect before = image.updateRect();
        image.resize(TSize(33, 2));
        EXPECT_EQ(image.type(), type);
        EXPECT_EQ(image.m_region.m_value, 5);
        EXPECT_TRUE(image.size() == TSize(33, 2));
        EXPECT_EQ(image.step(), (33 * pixelBytesOf(type) + 31) / 32 * 32);
        EXPECT_NE(image.updateRect().m_stamp, before.m_stamp);
        EXPECT_TRUE(image.updateRect().rect() == before.rect());
    }
}

TEST(TImage, ResizeToNothingLeavesAnEmptyImageOfTheSameKindWithANewStamp) {
    for (const TSize& nothing : {TSize(0, 0), TSize(-3, 5)}) {
        TImage image = randomImage(TImage::IM_C8U, 6, 6);
        image.setChanged(TRect(1, 2, 3, 4));
        image.m_region.m_value = 5;
        const TUpdateRect before = image.updateRect();
        image.resize(nothing);
        EXPECT_EQ(image.m_region.m_value, 0);
        EXPECT_EQ(image.type(), TImage::IM_C8U);
        EXPECT_TRUE(image.size() == TSize());
        EXPECT_EQ(image.step(), 0);
        EXPECT_EQ(image.pstep(), 0);
        for (const char* plane : image.m_data) EXPECT_EQ(plane, nullptr);
        EXPECT_NE(image.updateRect().m_stamp, before.m_stamp);
        EXPECT_TRUE(image.updateRect().rect() == TRect());
    }
}

TEST(TImage, FreeLetsGoOfPixelsButNotOfTheKindOrTheRectangle) {
    TImage image = randomImage(TImage::IM_RGBA8U, 6, 6);
    image.setChanged(TRect(1, 2, 3, 4));
    const int stamp = image.updateRect().m_stamp;
    image.free();
    EXPECT_EQ(image.type(), TImage::IM_RGBA8U);
    EXPECT_TRUE(image.size() == TSize());
    EXPECT_EQ(image.step(), 0);
    EXPECT_EQ(image.pstep(), 0);
    EXPECT_NE(image.updateRect().m_stamp, stamp);
    EXPECT_TRUE(image.updateRect().rect() == TRect(1, 2, 3, 4));
    const int again = image.updateRect().m_stamp;
    image.free();
    EXPECT_NE(image.updateRect().m_stamp, again);
}

TEST(TImage, FreeKeepsTheSizeOfAnImageThatHadNoMemory) {
    TImage image(TImage::IM_RGBA16U, TSize(1 << 29, 1));
    const int stamp = image.updateRect().m_stamp;
    image.free();
    EXPECT_TRUE(image.size() == TSize(1 << 29, 1));
    EXPECT_EQ(image.pstep(), 8);
    EXPECT_NE(image.updateRect().m_stamp, stamp);
}

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

TEST(TImage, CopyConstructorCopiesPixels) {
    for (TImage::IMTYPE type : kKinds) {
        TImage image = randomImage(type, 35, 3);
        image.setChanged(TRect(1, 2, 3, 4));
        image.m_region.m_value = 5;
        const TImage copy(image);
        EXPECT_EQ(copy.type(), type);
        EXPECT_EQ(copy.m_bOwner, 1);
        EXPECT_EQ(copy.pstep(), pixelBytesOf(type));
        EXPECT_EQ(copy.m_region.m_value, 0);
        EXPECT_TRUE(copy.updateRect().rect() == TRect());
        EXPECT_NE(copy.updateRect().m_stamp, image.updateRect().m_stamp);
        for (int p = 0; p < planeCountOf(type); ++p) {
            EXPECT_NE(copy.dataPtr(0, 0, p), image.dataPtr(0, 0, p));
            EXPECT_TRUE(samePixels(image.toMat(p), copy.toMat(p)));
        }
    }
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

TEST(TImage, CopyFromTakesOverTheKind) {
    const TImage source = randomImage(TImage::IM_RGBA8U, 5, 3);
    TImage target(TImage::IM_Y16U, TSize(9, 9));
    const int stamp = target.updateRect().m_stamp;
    target.copyFrom(source);
    EXPECT_EQ(target.type(), TImage::IM_RGBA8U);
    EXPECT_EQ(target.pstep(), 4);
    EXPECT_TRUE(samePixels(source.toMat(0), target.toMat(0)));
    EXPECT_NE(target.updateRect().m_stamp, stamp);
    target.copyFrom(TImage(TImage::IM_C8U, TSize()));
    EXPECT_EQ(target.type(), TImage::IM_C8U);
    EXPECT_TRUE(target.size() == TSize());
}

TEST(TImage, CopyFromTakesOverTheKindOfAnImageOfTheSameSize) {
    for (TImage::IMTYPE from : kKinds)
        for (TImage::IMTYPE to : kKinds) {
            const TImage source = randomImage(from, 35, 3);
            TImage target = randomImage(to, 35, 3, 9);
            target.copyFrom(source);
            EXPECT_EQ(target.type(), from);
            EXPECT_EQ(target.pstep(), pixelBytesOf(from));
            EXPECT_EQ(target.step(), source.step());
            for (int p = 0; p < 4; ++p) EXPECT_EQ(target.m_data[p] != nullptr, p < planeCountOf(from)) << p;
            for (int p = 0; p < planeCountOf(from); ++p) EXPECT_TRUE(samePixels(source.toMat(p), target.toMat(p)));
        }
}

TEST(TImage, CopyFromTheSameSizeStartsARegionAndARectangleAnew) {
    const TImage source = randomImage(TImage::IM_Y16U, 5, 3);
    TImage target = randomImage(TImage::IM_Y16U, 5, 3, 9);
    target.m_region.m_value = 5;
    target.setChanged(TRect(1, 2, 3, 4));
    target.copyFrom(source);
    EXPECT_TRUE(samePixels(source.toMat(0), target.toMat(0)));
    EXPECT_EQ(target.m_region.m_value, 0);
    EXPECT_TRUE(target.updateRect().rect() == TRect());
}

TEST(TImage, CopyFromLeavesPixelsThatOthersShareAlone) {
    const TImage source = randomImage(TImage::IM_C8U, 5, 3);
    TImage first = randomImage(TImage::IM_C8U, 5, 3, 9), second(TImage::IM_C8U, TSize());
    second = first;
    first.copyFrom(source);
    const TImage before = randomImage(TImage::IM_C8U, 5, 3, 9);
    for (int p : {0, 1}) {
        EXPECT_TRUE(samePixels(source.toMat(p), first.toMat(p)));
        EXPECT_TRUE(samePixels(before.toMat(p), second.toMat(p)));
    }
    second.copyFrom(first);
    first = second;
    first.copyFrom(second);
    for (int p : {0, 1}) EXPECT_TRUE(samePixels(source.toMat(p), first.toMat(p)));
}

TEST(TImage, CopyFromItselfKeepsThePixels) {
    TImage image = randomImage(TImage::IM_C8U, 5, 3);
    const cv::Mat first = image.toMat(0).clone(), second = image.toMat(1).clone();
    image.copyFrom(image);
    EXPECT_TRUE(samePixels(first, image.toMat(0)));
    EXPECT_TRUE(samePixels(second, image.toMat(1)));
}

TEST(TImage, AssignmentSharesPixelsAndTakesEveryFieldAsItStands) {
    TImage source = randomImage(TImage::IM_C8U, 5, 3);
    source.setChanged(TRect(1, 2, 3, 4));
    source.m_region.m_value = 5;
    TImage target = randomImage(TImage::IM_RGBA16U, 8, 8);
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(target.type(), TImage::IM_C8U);
    EXPECT_EQ(target.m_bOwner, 1);
    EXPECT_TRUE(target.size() == source.size());
    EXPECT_EQ(target.step(), source.step());
    EXPECT_EQ(target.pstep(), 1);
    EXPECT_EQ(target.m_region.m_value, 5);
    EXPECT_TRUE(target.updateRect() == source.updateRect());
    for (int p = 0; p < 4; ++p) EXPECT_EQ(target.m_data[p], source.m_data[p]);
}

// A sanitizer sees what is released twice, too early or never.
TEST(TImage, SharedPixelsLiveAsLongAsOneOfTheImages) {
    cv::Mat expected;
    TImage last(TImage::IM_M8U, TSize());
    {
        TImage first = randomImage(TImage::IM_Y16U, 40, 30), second = randomImage(TImage::IM_RGBA8U, 3, 3);
        expected = first.toMat(0).clone();
        second = first;
        last = second;
        second.resize(TSize(7, 7));
        EXPECT_TRUE(samePixels(expected, first.toMat(0)));
        first.copyFrom(second);
        const TImage& same = second;
        second = same;
    }
    EXPECT_TRUE(samePixels(expected, last.toMat(0)));
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

TEST(TImage, SetChangedGivesAFreshStamp) {
    TImage image(TImage::IM_M8U, TSize(3, 3));
    const int first = image.updateRect().m_stamp;
    image.setChanged(TRect(1, 2, 3, 4));
    const int second = image.updateRect().m_stamp;
    EXPECT_NE(second, first);
    EXPECT_TRUE(image.updateRect().rect() == TRect(1, 2, 3, 4));
    image.setChanged();
    EXPECT_NE(image.updateRect().m_stamp, second);
    EXPECT_TRUE(image.updateRect().rect() == TRect(1, 2, 3, 4));
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

TEST(TImage, ImageThatGotNoMemoryGetsItAtTheNextResizeToTheSameSize) {
    for (TImage::IMTYPE type : kKinds)
        for (int lost = 0; lost < planeCountOf(type); ++lost) {
            TImage image = randomImage(type, 9, 4);
            image.m_data[lost] = nullptr;
            image.m_blocks[lost].reset();
            image.resize(TSize(9, 4));
            EXPECT_TRUE(image.size() == TSize(9, 4));
            EXPECT_EQ(image.pstep(), pixelBytesOf(type));
            for (int p = 0; p < planeCountOf(type); ++p) EXPECT_EQ(image.toMat(p).size(), cv::Size(9, 4));
        }
}

}  // namespace
