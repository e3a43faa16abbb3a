#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "studio/crop_box.h"
#include "studio/straighten_tool.h"
#include "studio/view_transform.h"

namespace kestrova::studio {
namespace {

ViewTransform photographInWindow() {
    ViewTransform transform;
    transform.setViewport({1000, 700});
    transform.setPicture({6000, 4000});
    return transform;
}

TEST(ViewTransform, FitsAtFirstAndEnlargesSmallPicturesNoFurtherThanAllowed) {
    ViewTransform transform = photographInWindow();
    EXPECT_TRUE(transform.isFit());
    EXPECT_DOUBLE_EQ(transform.zoom(), 1000.0 / 6000);
    EXPECT_EQ(transform.seen(), QRectF(0, 0, 6000, 4000));
    transform.setPicture({100, 100});
    EXPECT_DOUBLE_EQ(transform.zoom(), 1);
    transform.setPixelRatio(2);
    EXPECT_DOUBLE_EQ(transform.zoom(), 2);
}

TEST(ViewTransform, LeavesAMarginAroundAPictureThatFits) {
    ViewTransform transform = photographInWindow();
    transform.setPixelRatio(2);
    transform.setMargin(10);
    EXPECT_DOUBLE_EQ(transform.zoom(), 960.0 / 6000);
    EXPECT_EQ(transform.toView(QRectF(0, 0, 6000, 4000)), QRectF(20, 30, 960, 640));
    transform.setViewport({30, 30});
    EXPECT_GT(transform.zoom(), 0) << "in a view that is hardly there";
}

TEST(ViewTransform, ZoomKeepsThePointUnderThePointer) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> x(0, 1000), y(20, 680), factor(0.8, 1.6);
    ViewTransform transform = photographInWindow();
    transform.zoomAbout({500, 350}, 0.5);
    for (int i = 0; i < 1000; ++i) {
        const QPointF pointer(x(random), y(random));
        const QPointF place = transform.toPicture(pointer);
        const bool onPicture = QRectF(0, 0, 6000, 4000).contains(place);
        transform.zoomAbout(pointer, transform.zoom() * factor(random));
        if (transform.isFit() || !onPicture) continue;
        const QPointF after = transform.toView(place);
        // Unless the middle of the view would leave the picture.
        const QPointF middle = transform.toPicture({500, 350});
        if (middle.x() <= 0 || middle.y() <= 0 || middle.x() >= 6000 || middle.y() >= 4000) continue;
        EXPECT_NEAR(after.x(), pointer.x(), 1e-6);
        EXPECT_NEAR(after.y(), pointer.y(), 1e-6);
    }
}

TEST(ViewTransform, PansWithThePointerAndKeepsThePictureInSight) {
    ViewTransform transform = photographInWindow();
    transform.zoomAbout({500, 350}, 1);
    const QPointF place = transform.toPicture({500, 350});
    transform.pan({30, -20});
    EXPECT_EQ(transform.toView(place), QPointF(530, 330));
    transform.pan({1e6, 1e6});
    EXPECT_FALSE(transform.seen().isEmpty());
}

TEST(ViewTransform, WhatGetsSmallerThanTheWindowFits) {
    ViewTransform transform = photographInWindow();
    transform.zoomAbout({10, 10}, 3);
    transform.zoomAbout({10, 10}, 0.01);
    EXPECT_TRUE(transform.isFit());
}

TEST(CropBox, StaysInsideAndKeepsItsRatioWhateverIsDragged) {
    std::mt19937 random(2);
    const QRectF bounds(0, 0, 600, 400);
    const int all[] = {kLeftSide,
                       kRightSide,
                       kTopSide,
                       kBottomSide,
                       kLeftSide | kTopSide,
                       kRightSide | kTopSide,
                       kLeftSide | kBottomSide,
                       kRightSide | kBottomSide};
    std::uniform_real_distribution<double> x(-100, 700), y(-100, 500);
    for (double ratio : {0.0, 1.0, 1.5, 0.5625}) {
        QRectF box = boxOfRatio({100, 100, 200, 150}, ratio, bounds);
        for (int i = 0; i < 2000; ++i) {
            const int sides = all[random() % 8];
            box = draggedBox(box, sides, {x(random), y(random)}, ratio, bounds, 16);
            ASSERT_TRUE(bounds.adjusted(-1e-6, -1e-6, 1e-6, 1e-6).contains(box)) << i;
            ASSERT_GT(std::min(box.width(), box.height()), 1);
            if (ratio > 0) {
                ASSERT_NEAR(box.width() / box.height(), ratio, 1e-6);
            }
            box = movedBox(box, {x(random) - 300, y(random) - 200}, bounds);
            ASSERT_TRUE(bounds.adjusted(-1e-6, -1e-6, 1e-6, 1e-6).contains(box));
        }
    }
}

TEST(CropBox, TheCornerAcrossStays) {
    const QRectF box = draggedBox({100, 100, 300, 200}, kLeftSide | kTopSide, {200, 120}, 1, {0, 0, 600, 400}, 16);
    EXPECT_EQ(box.bottomRight(), QPointF(400, 300));
    EXPECT_EQ(box.width(), box.height());
}

TEST(Straightening, MakesALineLevelOrUpright) {
    EXPECT_NEAR(straighteningOf({0, 0, 100, 0}), 0, 1e-9);
    EXPECT_NEAR(straighteningOf({0, 0, 100, 10}), -std::atan(0.1) * 180 / M_PI, 1e-9) << "falls to the right";
    EXPECT_NEAR(straighteningOf({100, 10, 0, 0}), -std::atan(0.1) * 180 / M_PI, 1e-9) << "the same, drawn leftwards";
    EXPECT_NEAR(straighteningOf({0, 0, 10, 100}), std::atan(0.1) * 180 / M_PI, 1e-9) << "leans to the left upwards";
}

}  // namespace
}  // namespace kestrova::studio
