#include "kestrova/mask/tdrawmask.h"

#include <gtest/gtest.h>

#include "kestrova/image/tpimage.h"
#include "tests/mask/mask_fixture.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"

namespace {

class TDrawMaskCommandsTest : public MaskTest {};

TEST_F(TDrawMaskCommandsTest, DotIsRecordedAtHalfCoordinatesWithTruncation) {
    mask.drawADot(cv::Point(-3, 7), 200, 9, 5, 0.5f, 0.25f);
    const TMaskParam& dot = *mask.m_cmdStack.back()->m_param_p;
    EXPECT_EQ(dot.m_x, -1);
    EXPECT_EQ(dot.m_y, 3);
    EXPECT_EQ(dot.m_value, 200);
    EXPECT_EQ(dot.m_outerR, 4);
    EXPECT_EQ(dot.m_innerR, 2);
    EXPECT_EQ(dot.m_opacity, 0.5f);
    EXPECT_EQ(dot.m_tolerance, 0.25f);
    EXPECT_EQ(mask.m_cmdStack.back()->m_type, TMaskCmd::DrawStrokeDot);
}

TEST_F(TDrawMaskCommandsTest, ShortDotIsHardAndOpaqueWithoutTolerance) {
    mask.drawADot(cv::Point(10, 10), 255, 9);
    const TMaskParam& dot = *mask.m_cmdStack.back()->m_param_p;
    EXPECT_EQ(dot.m_outerR, 4);
    EXPECT_EQ(dot.m_innerR, 4);
    EXPECT_EQ(dot.m_opacity, 1.0f);
    EXPECT_EQ(dot.m_tolerance, 0.0f);
}

TEST_F(TDrawMaskCommandsTest, OtherCommandsAreRecordedWithTheirParameters) {
    mask.drawStart(5, 0.5f);
    EXPECT_EQ(mask.m_cmdStack.back()->m_type, TMaskCmd::DrawStrokeStart);
    EXPECT_EQ(mask.m_cmdStack.back()->m_param_p->m_startValue, 5);
    EXPECT_EQ(mask.m_cmdStack.back()->m_param_p->m_startScale, 0.5f);
    mask.drawEnd();
    EXPECT_EQ(mask.m_cmdStack.back()->m_type, TMaskCmd::DrawStrokeEnd);
    EXPECT_EQ(mask.m_cmdStack.back()->m_param_p, nullptr);
    mask.invert();
    EXPECT_EQ(mask.m_cmdStack.back()->m_type, TMaskCmd::DrawInvert);
    EXPECT_EQ(mask.m_cmdStack.back()->m_param_p, nullptr);
    mask.setValue(77);
    EXPECT_EQ(mask.m_cmdStack.back()->m_type, TMaskCmd::DrawSetValue);
    EXPECT_EQ(mask.m_cmdStack.back()->m_param_p->m_value, 77);
    EXPECT_EQ(mask.m_cmdStack.back()->m_param_p->m_opacity, 1.0f);
    EXPECT_EQ(mask.m_cmdStack.back()->m_param_p->m_outerR, 0);
}

TEST_F(TDrawMaskCommandsTest, ParameterConstructorsSetWhatTheyAreGiven) {
    const TMaskParam dot(1, 2, 3, 5, 4, 0.5f, 0.1f);
    EXPECT_EQ(dot.m_x, 1);
    EXPECT_EQ(dot.m_y, 2);
    EXPECT_EQ(dot.m_value, 3);
    EXPECT_EQ(dot.m_outerR, 5);
    EXPECT_EQ(dot.m_innerR, 4);
    const TMaskParam start(8, 0.25f);
    EXPECT_EQ(start.m_startValue, 8);
    EXPECT_EQ(start.m_startScale, 0.25f);
    EXPECT_EQ(start.m_x, 0);
    const TMaskParam none;
    EXPECT_EQ(none.m_x, 0);
    EXPECT_EQ(none.m_y, 0);
    EXPECT_EQ(none.m_startValue, 0);
}

TEST_F(TDrawMaskCommandsTest, CommandIsAnEndWithoutParametersByDefault) {
    const TMaskCmd command;
    EXPECT_EQ(command.m_type, TMaskCmd::DrawStrokeEnd);
    EXPECT_EQ(command.m_param_p, nullptr);
}

TEST_F(TDrawMaskCommandsTest, ProcWithNothingPendingDoesNothing) {
    mask.setValue(3);
    EXPECT_TRUE(mask.bNeedUpdate());
    EXPECT_TRUE(mask.proc());
    EXPECT_FALSE(mask.bNeedUpdate());
    mask.setDirty(false);
    mask.m_mask.setTo(50);
    EXPECT_TRUE(mask.proc());
    EXPECT_FALSE(mask.bdirty());
    EXPECT_TRUE(samePixels(filled(50), mask.m_mask));
}

TEST_F(TDrawMaskCommandsTest, TwoInversionsOfAFreshMaskLeaveItFullAndDirty) {
    mask.setDirty(false);
    mask.invert();
    mask.invert();
    mask.proc();
    EXPECT_TRUE(samePixels(filled(255), mask.m_mask));
    EXPECT_TRUE(mask.bdirty());
}

TEST_F(TDrawMaskCommandsTest, UndoOfAStrokeAfterAFillLeavesTheFill) {
    mask.setValue(0);
    stroke(40, 40, 20, 255);
    mask.proc();
    EXPECT_GT(cv::countNonZero(mask.m_mask), 0);
    mask.undo();
    EXPECT_EQ(mask.m_cmdStack.size(), 1u);
    mask.proc();
    EXPECT_TRUE(samePixels(filled(0), mask.m_mask));
}

TEST_F(TDrawMaskCommandsTest, UndoOfTheOnlyStrokeGivesAFullMaskWhateverThePicturesOwn) {
    TPImage image(8, 6);
    image.m_Y.setTo(1000);
    image.m_mask.setTo(17);
    mask.setInImage(&image);
    stroke(4, 4, 4);
    mask.undo();
    EXPECT_TRUE(mask.m_cmdStack.empty());
    mask.proc();
    EXPECT_TRUE(samePixels(cv::Mat(3, 4, CV_8UC1, cv::Scalar(255)), mask.m_mask));
}

TEST_F(TDrawMaskCommandsTest, UndoTouchesNeitherMaskNorDirtyFlag) {
    mask.setValue(4);
    mask.proc();
    mask.setDirty(false);
    mask.undo();
    EXPECT_FALSE(mask.bdirty());
    EXPECT_TRUE(samePixels(filled(4), mask.m_mask));
    mask.proc();
    EXPECT_TRUE(mask.bdirty());
    EXPECT_TRUE(samePixels(filled(255), mask.m_mask));
}

TEST_F(TDrawMaskCommandsTest, UndoInTheMiddleOfAStrokeRemovesNothingAndReplays) {
    mask.setValue(0);
    mask.drawStart(0, 1);
    mask.drawADot(cv::Point(30, 30), 255, 10);
    mask.proc();
    const cv::Mat before = mask.m_mask.clone();
    mask.undo();
    EXPECT_EQ(mask.m_cmdStack.size(), 3u);
    EXPECT_EQ(mask.m_cmdIdx, -1);
    mask.m_mask.setTo(99);
    mask.proc();
    EXPECT_TRUE(samePixels(before, mask.m_mask));
}

TEST_F(TDrawMaskCommandsTest, UndoGoesBackToTheLatestFill) {
    mask.setValue(1);
    mask.setValue(2);
    mask.invert();
    mask.invert();
    mask.proc();
    mask.undo();
    EXPECT_EQ(mask.m_cmdIdx, 0);
    mask.proc();
    EXPECT_TRUE(samePixels(filled(253), mask.m_mask));
}

TEST_F(TDrawMaskCommandsTest, UndoOfAnEmptyStackFails) {
    EXPECT_FAILURE(mask.undo(), "Error: TFDrawMask::undo Mask cmd stack is empty!!!");
}

TEST_F(TDrawMaskCommandsTest, UndoOfAnEndWithoutAStartIsRefusedWithNothingRemoved) {
    mask.setValue(3);
    mask.drawEnd();
    EXPECT_FAILURE(mask.undo(), "ERROR - TDrawMask::undo - stroke without a start");
    EXPECT_EQ(mask.m_cmdStack.size(), 2u);
}

TEST_F(TDrawMaskCommandsTest, OnlyTheLatestPendingFillRuns) {
    mask.setValue(10);
    mask.setValue(20);
    mask.proc();
    EXPECT_EQ(mask.m_cmdIdx, 1);
    EXPECT_TRUE(samePixels(filled(20), mask.m_mask));
}

}  // namespace
