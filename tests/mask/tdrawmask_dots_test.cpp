#include "kestrova/mask/tdrawmask.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdlib>

#include "kestrova/image/tpimage.h"
#include "tests/mask/mask_fixture.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"

namespace {

class TDrawMaskDotsTest : public MaskTest {};

TEST_F(TDrawMaskDotsTest, HardDotFillsTheDiscButShowsItsLastRowAndColumnLater) {
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

TEST_F(TDrawMaskDotsTest, SoftDotsOfAStrokeConvergeToItsOpacityAndNeverPassIt) {
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

TEST_F(TDrawMaskDotsTest, SecondStrokeStartsFromTheMaskOfTheFirst) {
    mask.setValue(0);
    for (int i = 0; i < 2; ++i) {
        mask.drawStart(0, 1);
        mask.drawADot(cv::Point(40, 40), 255, 20, 20, 0.5f, 0.0f);
        mask.drawEnd();
        mask.proc();
        EXPECT_EQ(mask.m_mask.at<uchar>(20, 20), i == 0 ? 128 : 192);
    }
}

TEST_F(TDrawMaskDotsTest, InnerRadiusAboveTheOuterThrowsOnceAndKeepsItsRadii) {
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

TEST_F(TDrawMaskDotsTest, DotAfterARefusedProfileCoversItsWholePatchByTheOneBefore) {
    for (float tolerance : {0.0f, 0.5f}) {
        TDrawMask fresh;
        fresh.setInImage(planes.y, planes.dr, planes.db);
        fresh.setValue(0);
        fresh.drawStart(0, 1);
        fresh.drawADot(cv::Point(90, 40), 255, 20, 4, 1.0f, 0.0f);
        fresh.drawStart(0, 1);
        fresh.drawADot(cv::Point(40, 36), 255, 6, 10, 1.0f, tolerance);
        EXPECT_FAILURE(fresh.proc(), "ERROR -- TDrawMask::updateLUT - Inner circle is larger than outter circle.");
        fresh.proc();
        TDrawMask other;
        other.setInImage(planes.y, planes.dr, planes.db);
        other.m_stroke = filled(0);
        other.updateLUT(10, 2);
        other.drawMaskDotLUT(cv::Point(20, 18), 10, 2, tolerance);
        for (int y = 0; y < kRows; ++y) {
            for (int x = 0; x < kCols; ++x) {
                const bool inPatch = std::abs(x - 20) <= 3 && std::abs(y - 18) <= 3;
                ASSERT_EQ(fresh.m_stroke.at<uchar>(y, x), inPatch ? other.m_stroke.at<uchar>(y, x) : 0)
                    << x << ", " << y << ", tolerance " << tolerance;
            }
        }
    }
}

TEST_F(TDrawMaskDotsTest, ACopyPaintsByItsOwnTableAfterARefusedProfile) {
    mask.updateLUT(10, 2);
    TDrawMask copy(mask);
    EXPECT_FAILURE(copy.updateLUT(3, 5), "ERROR -- TDrawMask::updateLUT - Inner circle is larger than outter circle.");
    EXPECT_EQ(copy.m_profile_p[1], 1.0f) << "still the table of the radii before";
    EXPECT_EQ(mask.m_outerR, 10);
}

TEST_F(TDrawMaskDotsTest, ToleranceBelowFiveHundredthsWithEqualRadiiIsTheHardDot) {
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

TEST_F(TDrawMaskDotsTest, AToleranceThatIsNaNCountsAsNone) {
    const auto dotOf = [this](int innerR, float tolerance) {
        TDrawMask fresh;
        fresh.setInImage(planes.y, planes.dr, planes.db);
        fresh.drawStart(0, 1);
        fresh.drawADot(cv::Point(40, 40), 0, 20, innerR, 0.8f, tolerance);
        fresh.proc();
        return fresh.m_mask;
    };
    for (int innerR : {20, 8}) EXPECT_TRUE(samePixels(dotOf(innerR, 0.0f), dotOf(innerR, NAN))) << innerR;
}

TEST_F(TDrawMaskDotsTest, ToleranceKeepsAStrokeOnItsSideOfAnEdge) {
    mask.setValue(0);
    mask.drawStart(0, 1);
    for (int i = 0; i < 5; ++i) mask.drawADot(cv::Point(50, 40), 255, 24, 16, 1.0f, 1.0f);
    mask.proc();
    EXPECT_GT(mask.m_mask.at<uchar>(20, 27), 200) << "the side of the centre";
    EXPECT_EQ(mask.m_mask.at<uchar>(20, 31), 0) << "beyond the edge";
}

TEST_F(TDrawMaskDotsTest, BoundaryClipsThePatchAsDocumented) {
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

TEST_F(TDrawMaskDotsTest, DotsAnywhereStayWithinThePlanes) {
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

// A class that derives from the brush may hand in any centre and radius.
TEST_F(TDrawMaskDotsTest, CentresAndRadiiAtTheLimitsOfAnIntAreClipped) {
    const int extremes[] = {INT_MIN, INT_MIN + 1, -kCols, 0, 20, INT_MAX - 1, INT_MAX};
    mask.setValue(0);
    mask.drawStart(0, 1);
    mask.drawADot(cv::Point(20, 20), 255, 4);
    mask.proc();
    mask.updateLUT(7999, 7000);
    for (int x : extremes) {
        for (int y : extremes) {
            for (int r : extremes) {
                cv::Point p(x, y);
                mask.checkBoundary(p, r);
                mask.drawDumbDot(p, r);
                mask.drawMaskDot(p, r, r / 2, 0.0f);
                mask.drawMaskDot(p, r, r, 0.5f);
                mask.drawMaskDotLUT(p, r, r, 0.0f);
                EXPECT_TRUE(mask.renderStroke(255, 1.0f, p, r));
            }
        }
    }
    for (int outerR : {INT_MIN, 0, 7999}) mask.updateLUT(outerR, INT_MIN);
    EXPECT_FAILURE(mask.updateLUT(INT_MAX, INT_MIN), "ERROR - TDrawMask::updateLUT - outerR >= 8000");
}

TEST_F(TDrawMaskDotsTest, DistantCentresOfLargeDotsCoverTheSamePixelsAsOnALargerMask) {
    const cv::Size size(300, 200), corner(61, 47);
    const cv::Rect window(120, 80, corner.width, corner.height);
    TDrawMask large, small;
    large.setInImage(randomPlane(size.height, size.width, CV_8UC1), cv::Mat(), cv::Mat());
    small.setInImage(cv::Mat(large.m_inY(window)), cv::Mat(), cv::Mat());
    large.updateLUT(150, 20);
    small.updateLUT(150, 20);
    for (const cv::Point& p : {cv::Point(0, 0), cv::Point(299, 100), cv::Point(150, 0), cv::Point(60, 190),
                               cv::Point(119, 127), cv::Point(181, 79)}) {
        for (int form = 0; form < 3; ++form) {
            large.m_stroke = cv::Mat(size, CV_8UC1, cv::Scalar(30));
            small.m_stroke = cv::Mat(corner, CV_8UC1, cv::Scalar(30));
            for (TDrawMask* each : {&large, &small}) {
                const cv::Point centre = each == &large ? p : p - window.tl();
                if (form == 0) each->drawMaskDotLUT(centre, 150, 20, 0.0f);
                if (form == 1) each->drawMaskDot(centre, 150, 20, 0.0f);
                if (form == 2) each->drawDumbDot(centre, 150);
            }
            EXPECT_TRUE(samePixels(large.m_stroke(window).clone(), small.m_stroke)) << p << ", form " << form;
        }
    }
}

TEST_F(TDrawMaskDotsTest, DotsWithoutAStrokeAreRefusedWhereNoneHasBegun) {
    const char* const text = "ERROR - TDrawMask::drawStrokeDot - no stroke has begun";
    const cv::Point p(20, 20);
    EXPECT_FAILURE(mask.drawDumbDot(p, 3), text);
    EXPECT_FAILURE(mask.drawMaskDot(p, 3, 1, 0.0f), text);
    EXPECT_FAILURE(mask.drawMaskDotLUT(p, 3, 1, 0.0f), text);
    EXPECT_FAILURE(mask.renderStroke(1, 1.0f, p, 3), text);
}

TEST_F(TDrawMaskDotsTest, SoftDotAsLargeAsTheProfileIsRefused) {
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

TEST_F(TDrawMaskDotsTest, OddParametersAreHarmless) {
    mask.setValue(0);
    mask.drawADot(cv::Point(10, 10), 255, 8);  // no stroke was started
    mask.drawADot(cv::Point(10, 10), 255, -8, -8, 1.0f, 0.0f);
    mask.drawADot(cv::Point(10, 10), 255, -8, -20, 1.0f, 0.5f);
    mask.drawADot(cv::Point(10, 10), 255, 8, -20, 1.0f, 0.5f);
    mask.drawADot(cv::Point(10, 10), 255, 8, 4, std::nanf(""), std::nanf(""));
    mask.drawADot(cv::Point(10, 10), 255, 8, 4, INFINITY, INFINITY);
    EXPECT_TRUE(mask.proc());
}

TEST_F(TDrawMaskDotsTest, ToleranceWithPlanesOfAnotherSizeOrTypeIsRefused) {
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

TEST_F(TDrawMaskDotsTest, ProfileIsAGaussianThatStartsAtOneAndWouldEndAtZero) {
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

TEST_F(TDrawMaskDotsTest, CopyBuildsAProfileOfItsOwnForOtherRadii) {
    mask.updateLUT(6, 3);
    TDrawMask copy(mask);
    EXPECT_EQ(copy.m_profile_p, mask.m_profile_p);
    copy.updateLUT(9, 2);
    EXPECT_EQ(mask.m_profile_p[5] > 0, true);
    EXPECT_EQ(mask.m_profile_p[6], 0.0f) << "the first object's table is still that of its radii";
    EXPECT_GT(copy.m_profile_p[6], 0.0f);
}

TEST_F(TDrawMaskDotsTest, SlowFormOfTheSoftDotUsesASmoothStep) {
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

TEST_F(TDrawMaskDotsTest, WhereADotIsRefusedTheDotsBeforeItAreShownWhole) {
    TDrawMask shown;
    shown.setInImage(planes.y, planes.dr, planes.db);
    for (TDrawMask* each : {&mask, &shown}) {
        each->drawStart(0, 1.0f);
        each->drawADot(cv::Point(40, 40), 0, 24, 8, 0.8f, 0.0f);
        each->drawADot(cv::Point(52, 46), 90, 24, 8, 0.5f, 0.0f);
    }
    shown.drawEnd();
    shown.proc();
    mask.drawADot(cv::Point(46, 44), 255, 20, 26, 0.8f, 0.0f);
    EXPECT_FAILURE(mask.proc(), "ERROR -- TDrawMask::updateLUT - Inner circle is larger than outter circle.");
    EXPECT_TRUE(samePixels(shown.m_mask, mask.m_mask));
    EXPECT_LT(cv::countNonZero(mask.m_mask == 255), kRows * kCols - 300);
}

}  // namespace
