#include "kestrova/mask/tdrawmask.h"

#include <gtest/gtest.h>

#include "kestrova/image/tpimage.h"
#include "tests/mask/mask_fixture.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"

namespace {

class TDrawMaskTest : public MaskTest {};

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
    const cv::Mat y(5, 6, CV_8UC1), c(5, 6, CV_16UC1), none;
    const char* chromaType = "ERROR - TDrawMask::setInImage - dr.type() != CV_16UC1 || db.type() != CV_16UC1";
    EXPECT_FAILURE(mask.setInImage(none, c, c), "Error - TFDrawMask::resetMask - ippStsError");
    EXPECT_FAILURE(mask.setInImage(c, c, c), "ERROR - TDrawMask::setInImage - y.type() != CV_8UC1");
    EXPECT_FAILURE(mask.setInImage(y, y, c), chromaType);
    EXPECT_FAILURE(mask.setInImage(y, c, y), chromaType);
    const int sizes[] = {2, 3, 4};
    EXPECT_FAILURE(mask.setInImage(cv::Mat(3, sizes, CV_8UC1), c, c), "ERROR - plane - dims>2");
    EXPECT_EQ(mask.m_inY.data, planes.y.data);
    EXPECT_TRUE(samePixels(filled(255), mask.m_mask));
}

TEST_F(TDrawMaskTest, PictureWithoutColourOrWithChromaOfAnotherSizeTakesDotsWithoutTolerance) {
    for (const cv::Mat& chroma : {cv::Mat(), cv::Mat(5, 7, CV_16UC1, cv::Scalar(32768))}) {
        TDrawMask grey;
        grey.setInImage(planes.y, chroma, chroma);
        EXPECT_EQ(grey.m_inDr.data, chroma.data);
        grey.setValue(0);
        grey.drawStart(0, 1);
        grey.drawADot(cv::Point(40, 40), 255, 20, 10, 1.0f, 0.0f);
        grey.proc();
        EXPECT_EQ(grey.m_mask.at<uchar>(20, 20), 255);
        grey.drawADot(cv::Point(40, 40), 255, 20, 10, 1.0f, 0.5f);
        EXPECT_FAILURE(grey.proc(),
                       "ERROR - TDrawMask::drawStrokeDot - the picture's planes are not of the mask's size");
    }
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

TEST_F(TDrawMaskTest, ResetAndAnotherPictureLeaveThePlanesOfTheStrokeAlone) {
    TPImage image(2 * kCols, 2 * kRows);
    image.m_Y.setTo(1000);
    image.m_mask.setTo(17);
    for (bool reset : {true, false}) {
        mask.setInImage(&image);
        mask.setValue(0);
        mask.drawStart(0, 1);
        mask.drawADot(cv::Point(40, 40), 255, 20);
        mask.proc();
        const cv::Mat coverage = mask.m_stroke.clone(), start = mask.m_maskAtStart.clone();
        if (reset)
            mask.reset();
        else
            mask.setInImage(&image);
        EXPECT_TRUE(samePixels(coverage, mask.m_stroke));
        EXPECT_TRUE(samePixels(start, mask.m_maskAtStart));
        // A dot goes on with that stroke, the start of another does not.
        mask.drawADot(cv::Point(40, 40), 255, 8);
        mask.proc();
        EXPECT_TRUE(samePixels(coverage, mask.m_stroke));
        stroke(80, 60, 10, 255);
        mask.proc();
        EXPECT_EQ(mask.m_stroke.at<uchar>(20, 20), 0);
        EXPECT_EQ(mask.m_maskAtStart.at<uchar>(0, 0), 255) << "a replay from nothing starts full";
    }
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

TEST_F(TDrawMaskTest, ResetAfterPlanesOfAnotherSizeRestoresTheMaskOfTheLastImage) {
    TPImage image(8, 6);
    image.m_Y.setTo(1000);
    image.m_mask.setTo(17);
    mask.setInImage(&image);
    mask.setInImage(planes.y, planes.dr, planes.db);
    EXPECT_TRUE(samePixels(filled(255), mask.m_mask));
    mask.reset();
    EXPECT_TRUE(samePixels(image.m_mask, mask.m_mask));
}

TEST_F(TDrawMaskTest, GetMaskRoiHasHalfTheSizeOfAViewAtEveryStep) {
    for (int step : {1, 2, 3, 5}) EXPECT_EQ(mask.getMaskRoi(cv::Rect(4, 6, 13, 8), step).size(), cv::Size(7, 4));
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

}  // namespace
