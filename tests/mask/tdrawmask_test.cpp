#include "kestrova/mask/tdrawmask.h"

#include <gtest/gtest.h>

#include <random>

#include "kestrova/image/tpimage.h"
#include "tests/mask/mask_model.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

constexpr int kCols = 61, kRows = 47;

// A picture whose planes are soft ramps with an edge, so that a colour tolerance has something to stop at.
struct Planes {
    cv::Mat y = cv::Mat(kRows, kCols, CV_8UC1), dr = cv::Mat(kRows, kCols, CV_16UC1), db = dr.clone();
    Planes() {
        for (int r = 0; r < kRows; ++r) {
            for (int c = 0; c < kCols; ++c) {
                y.at<uchar>(r, c) = static_cast<uchar>(c < 30 ? 40 + c : 180 + r);
                dr.at<ushort>(r, c) = static_cast<ushort>(32768 + 60 * c + 11 * r);
                db.at<ushort>(r, c) = static_cast<ushort>(c < 30 ? 32000 : 36000);
            }
        }
    }
};

class TDrawMaskTest : public testing::Test {
protected:
    TDrawMaskTest() { mask.setInImage(planes.y, planes.dr, planes.db); }

    void stroke(int x, int y, int radius, uchar value = 0) {
        mask.drawStart(0, 1.0f);
        mask.drawADot(cv::Point(x, y), value, radius);
        mask.drawEnd();
    }
    cv::Mat filled(uchar value) const { return cv::Mat(kRows, kCols, CV_8UC1, cv::Scalar(value)); }

    Planes planes;
    TDrawMask mask;
};

TEST_F(TDrawMaskTest, FreshObjectIsEmpty) {
    TDrawMask fresh;
    EXPECT_FALSE(fresh.bdirty());
    EXPECT_TRUE(fresh.proc());
    EXPECT_TRUE(fresh.getMaskRoi(cv::Rect(0, 0, 4, 4), 1).empty());
    EXPECT_EQ(fresh.m_cmdIdx, -1);
    EXPECT_EQ(fresh.m_profile_p, nullptr);
    EXPECT_FALSE(fresh.m_firstDot);
}

TEST_F(TDrawMaskTest, CommandsBeforeAPictureFailInProcAndStay) {
    TDrawMask fresh;
    fresh.setValue(7);
    EXPECT_FAILURE(fresh.proc(), "Error - TFDrawMask::resetMask - ippStsError");
    EXPECT_EQ(fresh.m_cmdIdx, -1);
    fresh.setInImage(planes.y, planes.dr, planes.db);
    EXPECT_TRUE(fresh.proc());
    EXPECT_TRUE(samePixels(filled(7), fresh.m_mask));
}

TEST_F(TDrawMaskTest, UndoBeforeAPictureIsHarmless) {
    TDrawMask fresh;
    fresh.invert();
    fresh.undo();
    EXPECT_TRUE(fresh.proc());
}

TEST_F(TDrawMaskTest, InversionOfNoMaskFails) {
    TDrawMask fresh;
    EXPECT_FAILURE(fresh.invertMask(), "Error - TFDrawMask::invertMask - ippStsError");
}

TEST_F(TDrawMaskTest, BindingPlanesFillsTheMaskAndMarksItDirty) {
    EXPECT_TRUE(samePixels(filled(255), mask.m_mask));
    EXPECT_TRUE(mask.bdirty());
    EXPECT_EQ(mask.m_inY.data, planes.y.data);
    EXPECT_EQ(mask.m_inDr.data, planes.dr.data);
    EXPECT_EQ(mask.m_inDb.data, planes.db.data);
}

TEST_F(TDrawMaskTest, BindingAnotherPictureOfTheSameSizeChangesNothing) {
    mask.setValue(9);
    mask.proc();
    mask.setDirty(false);
    const Planes other;
    mask.setInImage(other.y, other.dr, other.db);
    EXPECT_EQ(mask.m_inY.data, planes.y.data);
    EXPECT_EQ(mask.m_cmdStack.size(), 1u);
    EXPECT_TRUE(samePixels(filled(9), mask.m_mask));
    EXPECT_FALSE(mask.bdirty());
}

TEST_F(TDrawMaskTest, BindingAPictureOfAnotherSizeDropsTheCommands) {
    mask.setValue(9);
    mask.proc();
    mask.setInImage(cv::Mat(5, 6, CV_8UC1), cv::Mat(5, 6, CV_16UC1), cv::Mat(5, 6, CV_16UC1));
    EXPECT_TRUE(mask.m_cmdStack.empty());
    EXPECT_EQ(mask.m_cmdIdx, -1);
    EXPECT_TRUE(samePixels(cv::Mat(5, 6, CV_8UC1, cv::Scalar(255)), mask.m_mask));
}

TEST_F(TDrawMaskTest, PlanesThatDoNotFitAreRefusedWithNothingChanged) {
    const cv::Mat y(5, 6, CV_8UC1), c(5, 6, CV_16UC1), other(5, 7, CV_16UC1), none;
    const char* chromaType = "ERROR - TDrawMask::setInImage - dr.type() != CV_16UC1 || db.type() != CV_16UC1";
    const char* chromaSize = "ERROR - TDrawMask::setInImage - dr.size() != y.size() || db.size() != y.size()";
    EXPECT_FAILURE(mask.setInImage(none, c, c), "Error - TFDrawMask::resetMask - ippStsError");
    EXPECT_FAILURE(mask.setInImage(c, c, c), "ERROR - TDrawMask::setInImage - y.type() != CV_8UC1");
    EXPECT_FAILURE(mask.setInImage(y, y, c), chromaType);
    EXPECT_FAILURE(mask.setInImage(y, c, y), chromaType);
    EXPECT_FAILURE(mask.setInImage(y, c, other), chromaSize);
    EXPECT_FAILURE(mask.setInImage(y, other, c), chromaSize);
    EXPECT_EQ(mask.m_inY.data, planes.y.data);
    EXPECT_TRUE(samePixels(filled(255), mask.m_mask));
}

TEST_F(TDrawMaskTest, PictureWithoutColourTakesDotsWithoutTolerance) {
    TDrawMask grey;
    grey.setInImage(planes.y, cv::Mat(), cv::Mat());
    grey.setValue(0);
    grey.drawStart(0, 1);
    grey.drawADot(cv::Point(40, 40), 255, 20, 10, 1.0f, 0.0f);
    grey.proc();
    EXPECT_EQ(grey.m_mask.at<uchar>(20, 20), 255);
    grey.drawADot(cv::Point(40, 40), 255, 20, 10, 1.0f, 0.5f);
    EXPECT_FAILURE(grey.proc(), "ERROR - TDrawMask::drawStrokeDot - the picture's planes are not of the mask's size");
}

TEST_F(TDrawMaskTest, PictureIsBoundAtHalfSizeWithItsOwnMask) {
    TPImage image(7, 5);
    image.m_Y = randomPlane(5, 7, CV_16UC1, 3);
    image.m_Dr.setTo(32768);
    image.m_Db.setTo(32768);
    image.m_mask = randomPlane(3, 4, CV_8UC1, 4);
    mask.setValue(1);
    mask.setInImage(&image);
    EXPECT_EQ(mask.m_inY.size(), cv::Size(4, 3));
    // 1/255, not 1/257: what is above 65025 saturates.
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x)
            EXPECT_EQ(mask.m_inY.at<uchar>(y, x),
                      cv::saturate_cast<uchar>(image.m_Y.at<ushort>(2 * y, 2 * x) * 0.00392156862745098));
    EXPECT_EQ(mask.m_inDr.data, image.m_Dr.data);
    EXPECT_EQ(mask.m_inDb.data, image.m_Db.data);
    EXPECT_EQ(mask.m_baseMask.data, image.m_mask.data);
    EXPECT_NE(mask.m_mask.data, image.m_mask.data);
    EXPECT_TRUE(samePixels(image.m_mask, mask.m_mask));
    EXPECT_TRUE(mask.m_cmdStack.empty());
    EXPECT_TRUE(mask.proc());
    EXPECT_TRUE(samePixels(image.m_mask, mask.m_mask)) << "a bound mask with an empty stack stays what it is";
}

TEST_F(TDrawMaskTest, PictureOfTheSameSizeIsBoundAnew) {
    TPImage first(8, 6), second(8, 6);
    for (TPImage* image : {&first, &second}) {
        image->m_Y.setTo(1000);
        image->m_mask.setTo(image == &first ? 10 : 20);
    }
    mask.setInImage(&first);
    mask.setValue(99);
    mask.setInImage(&second);
    EXPECT_TRUE(mask.m_cmdStack.empty());
    EXPECT_EQ(mask.m_mask.at<uchar>(0, 0), 20);
}

TEST_F(TDrawMaskTest, NullEmptyOrMisfitPictureIsRefusedWithNothingChanged) {
    TPImage empty;
    EXPECT_FAILURE(mask.setInImage(nullptr), "ERROR - TDrawMask::setInImage - image is null");
    EXPECT_FAILURE(mask.setInImage(&empty), "ERROR - downSize2X - outHalf must be allocated!");
    TPImage wordMask(8, 6);
    wordMask.m_mask = cv::Mat(3, 4, CV_16UC1, cv::Scalar(0));
    EXPECT_FAILURE(mask.setInImage(&wordMask), "ERROR - TDrawMask::setInImage - image->m_mask.type() != CV_8UC1");
    EXPECT_EQ(mask.m_inY.data, planes.y.data);
}

TEST_F(TDrawMaskTest, DotIsRecordedAtHalfCoordinatesWithTruncation) {
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

TEST_F(TDrawMaskTest, ShortDotIsHardAndOpaqueWithoutTolerance) {
    mask.drawADot(cv::Point(10, 10), 255, 9);
    const TMaskParam& dot = *mask.m_cmdStack.back()->m_param_p;
    EXPECT_EQ(dot.m_outerR, 4);
    EXPECT_EQ(dot.m_innerR, 4);
    EXPECT_EQ(dot.m_opacity, 1.0f);
    EXPECT_EQ(dot.m_tolerance, 0.0f);
}

TEST_F(TDrawMaskTest, OtherCommandsAreRecordedWithTheirParameters) {
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

TEST_F(TDrawMaskTest, ParameterConstructorsSetWhatTheyAreGiven) {
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

TEST_F(TDrawMaskTest, ProcWithNothingPendingDoesNothing) {
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

TEST_F(TDrawMaskTest, TwoInversionsOfAFreshMaskLeaveItFullAndDirty) {
    mask.setDirty(false);
    mask.invert();
    mask.invert();
    mask.proc();
    EXPECT_TRUE(samePixels(filled(255), mask.m_mask));
    EXPECT_TRUE(mask.bdirty());
}

TEST_F(TDrawMaskTest, UndoOfAStrokeAfterAFillLeavesTheFill) {
    mask.setValue(0);
    stroke(40, 40, 20, 255);
    mask.proc();
    EXPECT_GT(cv::countNonZero(mask.m_mask), 0);
    mask.undo();
    EXPECT_EQ(mask.m_cmdStack.size(), 1u);
    mask.proc();
    EXPECT_TRUE(samePixels(filled(0), mask.m_mask));
}

TEST_F(TDrawMaskTest, UndoOfTheOnlyStrokeGivesAFullMaskWhateverThePicturesOwn) {
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

TEST_F(TDrawMaskTest, UndoTouchesNeitherMaskNorDirtyFlag) {
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

TEST_F(TDrawMaskTest, UndoInTheMiddleOfAStrokeRemovesNothingAndReplays) {
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

TEST_F(TDrawMaskTest, UndoGoesBackToTheLatestFill) {
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

TEST_F(TDrawMaskTest, UndoOfAnEmptyStackFails) {
    EXPECT_FAILURE(mask.undo(), "Error: TFDrawMask::undo Mask cmd stack is empty!!!");
}

TEST_F(TDrawMaskTest, UndoOfAnEndWithoutAStartIsRefusedWithNothingRemoved) {
    mask.setValue(3);
    mask.drawEnd();
    EXPECT_FAILURE(mask.undo(), "ERROR - TDrawMask::undo - stroke without a start");
    EXPECT_EQ(mask.m_cmdStack.size(), 2u);
}

TEST_F(TDrawMaskTest, OnlyTheLatestPendingFillRuns) {
    mask.setValue(10);
    mask.setValue(20);
    mask.proc();
    EXPECT_EQ(mask.m_cmdIdx, 1);
    EXPECT_TRUE(samePixels(filled(20), mask.m_mask));
}

TEST_F(TDrawMaskTest, ResetRestoresThePicturesOwnMask) {
    TPImage image(8, 6);
    image.m_Y.setTo(1000);
    image.m_mask.setTo(17);
    mask.setInImage(&image);
    mask.setValue(3);
    mask.proc();
    mask.setDirty(false);
    mask.reset();
    EXPECT_TRUE(mask.bdirty());
    EXPECT_TRUE(mask.m_cmdStack.empty());
    EXPECT_EQ(mask.m_cmdIdx, -1);
    EXPECT_TRUE(samePixels(image.m_mask, mask.m_mask));
    EXPECT_NE(image.m_mask.data, mask.m_mask.data);
    mask.proc();
    EXPECT_TRUE(samePixels(image.m_mask, mask.m_mask));
}

TEST_F(TDrawMaskTest, ResetWithoutAPicturesOwnMaskLeavesNone) {
    mask.setValue(3);
    mask.reset();
    EXPECT_TRUE(mask.m_mask.empty());
    EXPECT_TRUE(mask.m_cmdStack.empty());
    EXPECT_TRUE(mask.getMaskRoi(cv::Rect(0, 0, 4, 4), 1).empty());
    EXPECT_TRUE(mask.bdirty()) << "nothing was fetched";
    mask.drawStart(0, 1);
    mask.drawADot(cv::Point(10, 10), 255, 8);
    EXPECT_FAILURE(mask.proc(), "Error - TFDrawMask::resetMask - ippStsError");
}

TEST_F(TDrawMaskTest, GetMaskRoiClonesTheWholeMaskForStepsBelowOne) {
    mask.setValue(3);
    mask.proc();
    const cv::Mat whole = mask.getMaskRoi(cv::Rect(1, 2, 3, 4), 0);
    EXPECT_TRUE(samePixels(mask.m_mask, whole));
    EXPECT_NE(whole.data, mask.m_mask.data);
    EXPECT_FALSE(mask.bdirty());
}

TEST_F(TDrawMaskTest, GetMaskRoiSamplesAsAHalfSizePlane) {
    mask.setValue(0);
    stroke(50, 40, 30, 255);
    mask.proc();
    for (int step : {1, 2, 3}) {
        mask.setDirty(true);
        const cv::Mat roi = mask.getMaskRoi(cv::Rect(20, 10, 24, 20), step);
        EXPECT_TRUE(samePixels(TPImage::MatRoi(mask.m_mask, 20, 10, 24, 20, step, true, false), roi));
        EXPECT_FALSE(mask.bdirty());
    }
}

TEST_F(TDrawMaskTest, HardDotFillsTheDiscButShowsItsLastRowAndColumnLater) {
    mask.setValue(0);
    stroke(40, 36, 12, 255);  // centre (20, 18), radius 6
    mask.proc();
    for (int y = 0; y < kRows; ++y) {
        for (int x = 0; x < kCols; ++x) {
            const bool inside = (x - 20) * (x - 20) + (y - 18) * (y - 18) <= 36;
            EXPECT_EQ(mask.m_stroke.at<uchar>(y, x), inside ? 255 : 0) << x << ", " << y;
            EXPECT_EQ(mask.m_mask.at<uchar>(y, x), inside && x < 26 && y < 24 ? 255 : 0) << x << ", " << y;
        }
    }
    mask.undo();
    mask.drawStart(0, 1);
    mask.drawADot(cv::Point(40, 36), 255, 12);
    mask.drawADot(cv::Point(48, 44), 255, 12);
    mask.drawEnd();
    mask.proc();
    EXPECT_EQ(mask.m_mask.at<uchar>(18, 26), 255) << "the later dot shows the first one's last column";
}

TEST_F(TDrawMaskTest, SoftDotsOfAStrokeConvergeToItsOpacityAndNeverPassIt) {
    mask.setValue(0);
    mask.drawStart(0, 1);
    uchar before = 0;
    for (int i = 0; i < 40; ++i) {
        mask.drawADot(cv::Point(40, 40), 200, 20, 4, 0.5f, 0.0f);
        mask.proc();
        const uchar now = mask.m_mask.at<uchar>(20, 25);
        EXPECT_GE(now, before);
        EXPECT_LE(now, 100);
        before = now;
    }
    EXPECT_EQ(before, 100);
}

TEST_F(TDrawMaskTest, SecondStrokeStartsFromTheMaskOfTheFirst) {
    mask.setValue(0);
    for (int i = 0; i < 2; ++i) {
        mask.drawStart(0, 1);
        mask.drawADot(cv::Point(40, 40), 255, 20, 20, 0.5f, 0.0f);
        mask.drawEnd();
        mask.proc();
        EXPECT_EQ(mask.m_mask.at<uchar>(20, 20), i == 0 ? 128 : 192);
    }
}

TEST_F(TDrawMaskTest, InnerRadiusAboveTheOuterThrowsOnceAndKeepsItsRadii) {
    mask.setValue(0);
    mask.proc();
    mask.drawStart(0, 1);
    mask.drawADot(cv::Point(40, 40), 255, 6, 10, 1.0f, 0.0f);
    EXPECT_FAILURE(mask.proc(), "ERROR -- TDrawMask::updateLUT - Inner circle is larger than outter circle.");
    EXPECT_EQ(mask.m_outerR, 3);
    EXPECT_EQ(mask.m_innerR, 5);
    EXPECT_EQ(mask.m_cmdIdx, 1) << "the last finished command";
    EXPECT_TRUE(mask.proc()) << "the repeat returns early from the table";
}

TEST_F(TDrawMaskTest, ToleranceBelowFiveHundredthsWithEqualRadiiIsTheHardDot) {
    for (float tolerance : {0.04f, 0.05f}) {
        TDrawMask fresh;
        fresh.setInImage(planes.y, planes.dr, planes.db);
        fresh.drawStart(0, 1);
        fresh.drawADot(cv::Point(40, 40), 0, 10, 10, 1.0f, tolerance);
        fresh.proc();
        EXPECT_EQ(fresh.m_profile_p != nullptr, tolerance == 0.05f);
    }
    mask.updateLUT(5, 5);
    for (int i = 0; i < 8000; ++i) ASSERT_EQ(mask.m_profile_p[i], i < 5 ? 1.0f : 0.0f);
}

TEST_F(TDrawMaskTest, ToleranceKeepsAStrokeOnItsSideOfAnEdge) {
    mask.setValue(0);
    mask.drawStart(0, 1);
    for (int i = 0; i < 5; ++i) mask.drawADot(cv::Point(50, 40), 255, 24, 16, 1.0f, 1.0f);
    mask.proc();
    EXPECT_GT(mask.m_mask.at<uchar>(20, 27), 200) << "the side of the centre";
    EXPECT_EQ(mask.m_mask.at<uchar>(20, 31), 0) << "beyond the edge";
}

TEST_F(TDrawMaskTest, BoundaryClipsThePatchAsDocumented) {
    const auto clip = [&](int x, int y, int r) {
        cv::Point p(x, y);
        mask.checkBoundary(p, r);
        return std::vector<int>{mask.m_patchX0, mask.m_patchX1, mask.m_patchY0,
                                mask.m_patchY1, mask.m_maskX,   mask.m_maskY};
    };
    EXPECT_EQ(clip(20, 20, 5), (std::vector<int>{0, 11, 0, 11, 15, 15}));
    EXPECT_EQ(clip(2, 3, 5), (std::vector<int>{3, 11, 2, 11, 0, 0}));
    EXPECT_EQ(clip(kCols - 1, kRows - 1, 5),
              (std::vector<int>{0, 10 + kCols - (kCols + 4), 0, 10 + kRows - (kRows + 4), kCols - 6, kRows - 6}));
    // Right edge exactly at cols: one patch column beyond the mask stays; below, rows - 1 is the limit.
    EXPECT_EQ(clip(kCols - 5, kRows - 5, 5), (std::vector<int>{0, 11, 0, 10, kCols - 10, kRows - 10}));
}

TEST_F(TDrawMaskTest, DotsAnywhereStayWithinThePlanes) {
    mask.setValue(0);
    mask.drawStart(0, 1);
    for (int r : {0, 1, 2, 13, 200, 9000}) {
        for (int x : {-2000000000, -300, -2, 0, 61, 120, 122, 124, 500, 2000000000}) {
            for (int y : {-2000000000, -300, -2, 0, 47, 92, 94, 96, 500, 2000000000}) {
                mask.drawADot(cv::Point(x, y), 255, r);
                mask.drawADot(cv::Point(x, y), 255, r, r / 2, 1.0f, 0.0f);
                mask.drawADot(cv::Point(x, y), 255, r, r / 2, 1.0f, 0.5f);
            }
        }
    }
    EXPECT_TRUE(mask.proc());
    EXPECT_TRUE(samePixels(filled(255), mask.m_mask));
}

TEST_F(TDrawMaskTest, SoftDotAsLargeAsTheProfileIsRefused) {
    mask.drawStart(0, 1);
    mask.drawADot(cv::Point(10, 10), 255, 16000, 10, 1.0f, 0.0f);
    EXPECT_FAILURE(mask.proc(), "ERROR - TDrawMask::updateLUT - outerR >= 8000");
    TDrawMask hard;
    hard.setInImage(planes.y, planes.dr, planes.db);
    hard.setValue(0);
    hard.drawStart(0, 1);
    hard.drawADot(cv::Point(10, 10), 255, 2000000000);
    EXPECT_TRUE(hard.proc());
    EXPECT_TRUE(samePixels(filled(255), hard.m_mask));
}

TEST_F(TDrawMaskTest, OddParametersAreHarmless) {
    mask.setValue(0);
    mask.drawADot(cv::Point(10, 10), 255, 8);  // no stroke was started
    mask.drawADot(cv::Point(10, 10), 255, -8, -8, 1.0f, 0.0f);
    mask.drawADot(cv::Point(10, 10), 255, -8, -20, 1.0f, 0.5f);
    mask.drawADot(cv::Point(10, 10), 255, 8, -20, 1.0f, 0.5f);
    mask.drawADot(cv::Point(10, 10), 255, 8, 4, std::nanf(""), std::nanf(""));
    mask.drawADot(cv::Point(10, 10), 255, 8, 4, INFINITY, INFINITY);
    EXPECT_TRUE(mask.proc());
}

TEST_F(TDrawMaskTest, ToleranceWithPlanesOfAnotherSizeOrTypeIsRefused) {
    TPImage image(40, 30);
    image.m_Y.setTo(1000);
    image.m_mask.setTo(255);
    image.m_Dr = cv::Mat(3, 3, CV_16UC1, cv::Scalar(0));
    mask.setInImage(&image);
    mask.drawStart(0, 1);
    mask.drawADot(cv::Point(20, 20), 0, 8, 4, 1.0f, 0.5f);
    EXPECT_FAILURE(mask.proc(), "ERROR - TDrawMask::drawStrokeDot - the picture's planes are not of the mask's size");
    image.m_Dr = cv::Mat(15, 20, CV_8UC1, cv::Scalar(0));
    mask.setInImage(&image);
    mask.drawStart(0, 1);
    mask.drawADot(cv::Point(20, 20), 0, 8, 4, 1.0f, 0.5f);
    EXPECT_FAILURE(mask.proc(),
                   "ERROR - TDrawMask::drawStrokeDot - m_inDr.type() != CV_16UC1 || m_inDb.type() != CV_16UC1");
}

TEST_F(TDrawMaskTest, CopiesShareCommandsAndPlanesAndOutliveEachOther) {
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

TEST_F(TDrawMaskTest, StrokesOfACopyAreSeenByTheNextStrokeOfTheOther) {
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

TEST_F(TDrawMaskTest, CopiesWithStrokesOfTheirOwnBeginEachWithNoCoverage) {
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

TEST_F(TDrawMaskTest, StrokeStartsFromAMaskThatWasFilledDirectly) {
    mask.setValue(0);
    stroke(40, 40, 20, 255);
    mask.proc();
    EXPECT_TRUE(mask.resetMask(mask.m_mask, 70));
    stroke(20, 20, 6, 200);
    mask.proc();
    EXPECT_TRUE(samePixels(filled(70), mask.m_maskAtStart));
}

TEST_F(TDrawMaskTest, MovedObjectStaysWhatItWas) {
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

TEST_F(TDrawMaskTest, ProfileIsAGaussianThatStartsAtOneAndWouldEndAtZero) {
    const int outer = 57, inner = 20;
    mask.updateLUT(outer, inner);
    const float e = std::exp(-2.0f);
    for (int i = 0; i < 8000; ++i) {
        float expected = i < inner ? 1.0f : 0.0f;
        if (i >= inner && i < outer) {
            const float t = (float)(i - inner) / (float)(outer - inner);
            expected = (std::exp(-2 * t * t) - e) * (1 / (1 - e));
        }
        ASSERT_EQ(mask.m_profile_p[i], expected) << i;
    }
}

TEST_F(TDrawMaskTest, CopyBuildsAProfileOfItsOwnForOtherRadii) {
    mask.updateLUT(6, 3);
    TDrawMask copy(mask);
    EXPECT_EQ(copy.m_profile_p, mask.m_profile_p);
    copy.updateLUT(9, 2);
    EXPECT_EQ(mask.m_profile_p[5] > 0, true);
    EXPECT_EQ(mask.m_profile_p[6], 0.0f) << "the first object's table is still that of its radii";
    EXPECT_GT(copy.m_profile_p[6], 0.0f);
}

TEST_F(TDrawMaskTest, SlowFormOfTheSoftDotUsesASmoothStep) {
    for (float tolerance : {0.0f, 0.3f}) {
        mask.m_stroke = cv::Mat(kRows, kCols, CV_8UC1, cv::Scalar(30));
        const cv::Point p(28, 20);
        const int outer = 12, inner = 5;
        mask.drawMaskDot(p, outer, inner, tolerance);
        for (int y = 0; y < kRows; ++y) {
            for (int x = 0; x < kCols; ++x) {
                const int dx = x - p.x, dy = y - p.y;
                double expected = 30;
                if (std::abs(dx) <= outer && std::abs(dy) <= outer) {
                    float t = std::sqrt(static_cast<float>(dx * dx + dy * dy));
                    if (t > outer) t = outer;
                    if (t < inner) t = inner;
                    t = (t - inner) * (1.0f / (outer - inner));
                    const float w = 1 - (t * t) * (t * -2 + 3);
                    if (tolerance == 0) {
                        expected = std::nearbyint(double(1 - w) * 30 + double(w) * 255);
                    } else {
                        const auto unit = [](double v, float k) { return double(float(v) * k); };
                        const double dY = std::fabs(unit(planes.y.at<uchar>(y, x), 0.003921569f) -
                                                    unit(planes.y.at<uchar>(p), 0.003921569f));
                        const double dC = std::fabs(unit(planes.dr.at<ushort>(y, x), 1.5259022e-05f) -
                                                    unit(planes.dr.at<ushort>(p), 1.5259022e-05f)) +
                                          std::fabs(unit(planes.db.at<ushort>(y, x), 1.5259022e-05f) -
                                                    unit(planes.db.at<ushort>(p), 1.5259022e-05f));
                        const float s = float(dY) * (tolerance * 0.5f * 3) + float(dC) * (tolerance * 6);
                        float q = float(double(s) / (double(w) + 0.1));
                        if (q > 1) q = 1;
                        const float a = w * (1 - (3 - 2 * q) * q * q);
                        expected = std::trunc((1 - a) * 30 + a * 255);
                    }
                }
                ASSERT_EQ(mask.m_stroke.at<uchar>(y, x), expected) << x << ", " << y << ", tolerance " << tolerance;
            }
        }
    }
    mask.m_stroke = filled(0);
    mask.drawMaskDot(cv::Point(20, 20), 6, 6, 0.0f);
    EXPECT_EQ(mask.m_stroke.at<uchar>(20, 26), 255);
    EXPECT_EQ(mask.m_stroke.at<uchar>(21, 26), 0);
}

// Thousands of random commands beside the model, with equality after every replay.
void runBesideTheModel(const Planes& planes, unsigned seed, int commands) {
    using Command = MaskModel::Command;
    std::minstd_rand random(seed);
    const auto below = [&](int n) { return static_cast<int>(random() % n); };

    TPImage image;
    image.m_Y = randomPlane(2 * kRows - 1, 2 * kCols, CV_16UC1, 5);
    image.m_Dr = planes.dr;
    image.m_Db = planes.db;
    image.m_mask = randomPlane(kRows, kCols, CV_8UC1, 6);
    TDrawMask mask;
    mask.setInImage(&image);
    MaskModel model(mask.m_inY, planes.dr, planes.db, image.m_mask);

    for (int i = 0; i < commands; ++i) {
        const int kind = below(20);
        if (kind == 0) {
            const int value = below(256);
            mask.setValue(static_cast<uchar>(value));
            model.add({Command::Fill, value});
        } else if (kind == 1) {
            mask.invert();
            model.add({Command::Invert});
        } else if (kind < 4 && !model.commands().empty()) {
            mask.undo();
            model.undo();
        } else if (kind == 4 && below(20) == 0) {
            mask.reset();
            model.reset();
        } else {
            mask.drawStart(i, 1.0f);
            model.add({Command::Start});
            for (int dots = below(4); dots >= 0; --dots) {
                const int x = below(2 * kCols + 60) - 30, y = below(2 * kRows + 60) - 30, value = below(256);
                const int outer = below(50), inner = below(3) == 0 ? outer : below(outer + 1);
                const float opacity = static_cast<float>(below(101)) / 100,
                            tolerance = static_cast<float>(below(4) * below(30)) / 40;
                mask.drawADot(cv::Point(x, y), static_cast<uchar>(value), outer, inner, opacity, tolerance);
                model.add({Command::Dot, value, x / 2, y / 2, outer / 2, inner / 2, opacity, tolerance});
                if (below(3) == 0) {
                    mask.proc();
                    model.proc();
                    ASSERT_TRUE(samePixels(model.mask(), mask.m_mask)) << "within a stroke, command " << i;
                }
            }
            mask.drawEnd();
            model.add({Command::End});
        }
        if (below(2) == 0) {
            mask.proc();
            model.proc();
            ASSERT_TRUE(samePixels(model.mask(), mask.m_mask)) << "command " << i;
        }
    }
}

TEST(TDrawMaskModelTest, RandomCommandsGiveTheModelsPixels) {
    const Planes planes;
    for (unsigned seed : {1u, 2u, 3u}) runBesideTheModel(planes, seed, 500);
}

TEST(TDrawMaskModelTest, RandomCommandsGiveTheModelsPixelsWithAnyNumberOfThreads) {
    const Planes planes;
    withThreadCounts([&](int) { runBesideTheModel(planes, 7, 60); });
}

TEST(TDrawMaskModelTest, LargeDotsGiveTheSamePixelsWithAnyNumberOfThreads) {
    const cv::Mat y = randomPlane(600, 700, CV_8UC1), c = randomPlane(600, 700, CV_16UC1, 32000, 33000);
    cv::Mat expected;
    withThreadCounts([&](int threads) {
        TDrawMask mask;
        mask.setInImage(y, c, c);
        mask.setValue(0);
        mask.drawStart(0, 1);
        mask.drawADot(cv::Point(700, 600), 255, 500, 200, 0.7f, 0.0f);
        mask.drawADot(cv::Point(500, 400), 255, 600, 100, 0.9f, 0.2f);
        mask.drawADot(cv::Point(300, 900), 99, 300, 300, 1.0f, 0.0f);
        mask.proc();
        if (threads == 1) expected = mask.m_mask.clone();
        EXPECT_TRUE(samePixels(expected, mask.m_mask)) << threads;
    });
}

}  // namespace
