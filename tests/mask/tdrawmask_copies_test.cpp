#include "kestrova/mask/tdrawmask.h"

#include <gtest/gtest.h>

#include "kestrova/image/tpimage.h"
#include "tests/mask/mask_fixture.h"
#include "tests/support/planes.h"

namespace {

class TDrawMaskCopiesTest : public MaskTest {};

TEST_F(TDrawMaskCopiesTest, AStrokeOfACopyWithAMaskOfItsOwnLeavesTheOtherStrokeAlone) {
    TPImage image(2 * kCols, 2 * kRows);
    image.m_Y.setTo(1000);
    image.m_mask.setTo(17);
    mask.setInImage(&image);
    mask.setValue(0);
    stroke(90, 70, 10, 50);
    mask.drawStart(0, 1);
    mask.drawADot(cv::Point(40, 40), 255, 20);
    mask.proc();
    const cv::Mat coverage = mask.m_stroke.clone(), start = mask.m_maskAtStart.clone();
    TDrawMask copy(mask);
    copy.reset();
    copy.drawStart(0, 1);
    copy.drawADot(cv::Point(60, 60), 9, 20);
    copy.drawEnd();
    copy.proc();
    EXPECT_TRUE(samePixels(coverage, mask.m_stroke));
    EXPECT_TRUE(samePixels(start, mask.m_maskAtStart));
    EXPECT_EQ(copy.m_maskAtStart.at<uchar>(35, 45), 255);
    mask.drawEnd();
    stroke(20, 20, 6, 200);
    const cv::Mat before = mask.m_mask.clone();
    mask.proc();
    EXPECT_TRUE(samePixels(before, mask.m_maskAtStart)) << "a stroke starts from the mask as it is";
    EXPECT_EQ(mask.m_stroke.at<uchar>(20, 20), 0);
}

TEST_F(TDrawMaskCopiesTest, CopiesShareCommandsAndPlanesAndOutliveEachOther) {
    cv::Mat pixels;
    TDrawMask kept;
    {
        TDrawMask source;
        source.setInImage(planes.y, planes.dr, planes.db);
        source.setValue(0);
        source.drawStart(0, 1);
        source.drawADot(cv::Point(40, 40), 255, 20, 10, 1.0f, 0.0f);
        source.drawEnd();
        kept = source;
        EXPECT_EQ(kept.m_cmdStack, source.m_cmdStack);
        EXPECT_EQ(kept.m_mask.data, source.m_mask.data);
        source.undo();
        EXPECT_EQ(kept.m_cmdStack.size(), 4u);
        source.proc();
    }
    EXPECT_TRUE(kept.proc());
    EXPECT_EQ(kept.m_mask.at<uchar>(20, 20), 255);
}

TEST_F(TDrawMaskCopiesTest, StrokesOfACopyAreSeenByTheNextStrokeOfTheOther) {
    mask.setValue(0);
    stroke(40, 40, 20, 255);
    mask.proc();
    TDrawMask copy(mask);
    copy.drawStart(0, 1);
    copy.drawADot(cv::Point(90, 40), 200, 16);
    copy.drawEnd();
    copy.proc();
    stroke(60, 60, 10, 100);
    mask.proc();
    EXPECT_EQ(mask.m_mask.at<uchar>(20, 45), 200) << "planes are shared";
    EXPECT_EQ(mask.m_stroke.at<uchar>(20, 45), 0) << "a stroke begins with no coverage";
    EXPECT_EQ(mask.m_maskAtStart.at<uchar>(20, 45), 200);
}

TEST_F(TDrawMaskCopiesTest, CopiesWithStrokesOfTheirOwnBeginEachWithNoCoverage) {
    mask.setValue(0);
    mask.proc();
    TDrawMask copy(mask);
    stroke(40, 40, 20, 255);
    mask.proc();
    copy.setDirty(false);
    copy.drawStart(0, 1);
    copy.drawADot(cv::Point(90, 40), 200, 16);
    copy.drawEnd();
    copy.proc();
    EXPECT_NE(copy.m_stroke.data, mask.m_stroke.data);
    stroke(60, 70, 10, 100);
    mask.proc();
    EXPECT_EQ(mask.m_stroke.at<uchar>(20, 20), 0);
    EXPECT_TRUE(samePixels(cv::Mat(mask.m_maskAtStart(cv::Rect(0, 0, kCols, 25))),
                           cv::Mat(mask.m_mask(cv::Rect(0, 0, kCols, 25)))))
        << "a stroke starts from the mask as it is";
}

TEST_F(TDrawMaskCopiesTest, StrokeStartsFromAMaskThatADerivedClassHasReplaced) {
    mask.setValue(0);
    stroke(40, 40, 20, 255);
    mask.proc();
    mask.m_mask = filled(70);
    stroke(20, 20, 6, 200);
    mask.proc();
    EXPECT_TRUE(samePixels(filled(70), mask.m_maskAtStart));
    EXPECT_EQ(cv::countNonZero(mask.m_mask == 255), 0) << "the stroke before is not in the new mask";
}

TEST_F(TDrawMaskCopiesTest, StrokeStartsFromAMaskThatWasFilledDirectly) {
    mask.setValue(0);
    stroke(40, 40, 20, 255);
    mask.proc();
    EXPECT_TRUE(mask.resetMask(mask.m_mask, 70));
    stroke(20, 20, 6, 200);
    mask.proc();
    EXPECT_TRUE(samePixels(filled(70), mask.m_maskAtStart));
}

TEST_F(TDrawMaskCopiesTest, MovedObjectStaysWhatItWas) {
    mask.setValue(9);
    mask.updateLUT(6, 3);
    TDrawMask other = std::move(mask);
    EXPECT_EQ(mask.m_cmdStack, other.m_cmdStack);
    EXPECT_EQ(mask.m_profile_p, other.m_profile_p);
    other = TDrawMask();
    EXPECT_TRUE(mask.proc());
    EXPECT_TRUE(samePixels(filled(9), mask.m_mask));
    EXPECT_EQ(mask.m_profile_p[0], 1.0f);
}

}  // namespace
