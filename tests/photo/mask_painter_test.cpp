#include <gtest/gtest.h>

#include <random>

#include "photo/error.h"
#include "photo/mask_layer.h"
#include "tests/photo/pictures.h"

namespace kestrova::photo {
namespace {

std::shared_ptr<const MaskPicture> pictureOf(const Source& source) {
    Steps steps(nullptr, 1);
    return computeMaskPicture(source, steps);
}

class MaskPainterTest : public testing::Test {
protected:
    Stroke stroke() {
        Stroke made;
        made.radius = 0.02 + 0.1 * share();
        made.hardness = share();
        made.opacity = share();
        made.tolerance = random() % 3 == 0 ? 2 * share() : 0;
        made.erase = random() % 3 == 0;
        for (int points = 1 + random() % 6; points > 0; --points) made.points.push_back(point());
        return made;
    }
    Point point() { return {1.4 * share() - 0.2, 1.4 * share() - 0.2}; }
    double share() { return random() % 1000 / 999.0; }
    int random() { return static_cast<int>(m_random() >> 1); }

    cv::Mat painted(MaskPainter& painter, Control* control = nullptr) {
        Steps steps(control, 1);
        return painter.paint(mask, steps);
    }
    cv::Mat paintedAnew() {
        MaskPainter fresh(picture, size);
        return painted(fresh);
    }

    std::mt19937 m_random{11};
    const cv::Size size{241, 160};
    Photograph photograph = photographOf(scene(size));
    std::shared_ptr<const MaskPicture> picture = pictureOf(Source(photograph));
    MaskPainter painter{picture, size};
    Mask mask;
};

TEST_F(MaskPainterTest, WhateverWasPaintedBeforeTheMaskIsThatOfItsStrokes) {
    for (int i = 0; i < 300; ++i) {
        auto& strokes = mask.strokes;
        switch (random() % 6) {
            case 0:
            case 1: strokes.push_back(stroke()); break;
            case 2:  // goes on
                if (!strokes.empty()) strokes.back().points.push_back(point());
                break;
            case 3:  // takes back a few
                for (int n = random() % 7; n > 0 && !strokes.empty(); --n) strokes.pop_back();
                break;
            case 4:  // changes one in the middle
                if (!strokes.empty()) strokes[random() % strokes.size()] = stroke();
                break;
            default: mask.inverted = !mask.inverted;
        }
        ASSERT_TRUE(sameValues(painted(painter), paintedAnew())) << "after change " << i;
    }
}

TEST_F(MaskPainterTest, ACancelLeavesNothingBehind) {
    for (int i = 0; i < 12; ++i) {
        mask.strokes.push_back(stroke());
        mask.strokes.back().points.insert(mask.strokes.back().points.begin(), {0.5, 0.5});
        Control cancelled;  // which the first dot notices
        cancelled.cancel();
        EXPECT_THROW(painted(painter, &cancelled), Error);
        if (i % 3 == 1) mask.strokes.erase(mask.strokes.begin() + random() % i);
        if (i % 3 == 2) mask.strokes.back().points.push_back(point());
        ASSERT_TRUE(sameValues(painted(painter), paintedAnew())) << i;
    }
}

TEST_F(MaskPainterTest, TheLatestStrokesAreTakenBackWithoutPaintingTheOthers) {
    for (int i = 0; i < 30; ++i) mask.strokes.push_back(stroke());
    painted(painter);
    for (int i = 0; i < 4; ++i) {
        mask.strokes.pop_back();
        Control cancelled;
        cancelled.cancel();
        EXPECT_NO_THROW(painted(painter, &cancelled)) << i;
    }
    EXPECT_TRUE(sameValues(painted(painter), paintedAnew()));
}

}  // namespace
}  // namespace kestrova::photo
