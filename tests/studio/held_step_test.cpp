#include "studio/held_step.h"

#include <gtest/gtest.h>

namespace kestrova::studio {
namespace {

constexpr double kPixels = 24e6;
constexpr int kFinest = 2;

ViewState viewOf(double width) {
    ViewState view;
    view.area = QRectF(0, 0, width, 4000);
    view.zoom = 0.4;
    return view;
}

TEST(HeldStep, IsCoarserWhereManyPixelsAreSeen) {
    HeldStep step;
    EXPECT_EQ(step.stepFor(viewOf(6000), kFinest, kPixels), 5);
    EXPECT_EQ(step.stepFor(viewOf(600), kFinest, kPixels / 100), kFinest);
}

TEST(HeldStep, IsTheFineOneAsLongAsTheCoarseOneHasNotBeenReadAhead) {
    HeldStep step;
    const ViewState view = viewOf(6000);
    step.fineIsThere(view);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(step.stepNow(view, kFinest, kPixels), kFinest);
        step.learn(kFinest, 30, kPixels / 4);
    }
    EXPECT_EQ(step.stepFor(view, kFinest, kPixels), 5) << "to be read ahead";
    step.learn(5, 200, kPixels / 25);
    EXPECT_EQ(step.stepNow(view, kFinest, kPixels), 5);
}

TEST(HeldStep, IsTheCoarseOneWhereFineFramesAreLate) {
    HeldStep step;
    const ViewState view = viewOf(6000);
    step.fineIsThere(view);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(step.stepNow(view, kFinest, kPixels), kFinest);
        step.learn(kFinest, 90, kPixels / 4);
    }
    EXPECT_EQ(step.stepNow(view, kFinest, kPixels), 5);
}

TEST(HeldStep, IsTheCoarseOneWhereThereIsNoFineFrameOfTheView) {
    HeldStep step;
    EXPECT_EQ(step.stepNow(viewOf(6000), kFinest, kPixels), 5) << "while the view moves";
    step.fineIsThere(viewOf(5000));
    EXPECT_EQ(step.stepNow(viewOf(6000), kFinest, kPixels), 5);
}

}  // namespace
}  // namespace kestrova::studio
