#include "kestrova/image/timage.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "tests/image/timage_planes.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"

namespace {

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
