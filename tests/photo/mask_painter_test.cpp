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
    const cv::Size size{841, 560};
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

TEST_F(MaskPainterTest, StrokesAreTakenBackWithoutPaintingTheOthers) {
    for (int i = 0; i < 30; ++i) {
        Stroke line = stroke();
        const Point from = point();
        line.radius = 0.02;
        line.points = {from, {from.x + 0.1, from.y + 0.05}};
        mask.strokes.push_back(line);
        painted(painter);
    }
    while (!mask.strokes.empty()) {
        mask.strokes.pop_back();
        Control cancelled;  // which a dot would notice
        cancelled.cancel();
        cv::Mat left;
        ASSERT_NO_THROW(left = painted(painter, &cancelled)) << mask.strokes.size();
        ASSERT_TRUE(sameValues(left, paintedAnew())) << mask.strokes.size();
    }
}

TEST_F(MaskPainterTest, WhatIsKeptToGoBackTakesNoMoreThanFourMasks) {
    photo::Stroke wide;
    wide.radius = 0.3;
    wide.hardness = 0;
    wide.opacity = 0.1;
    for (int i = 0; i < 20; ++i) {
        wide.points = {point(), point()};
        mask.strokes.push_back(wide);
        painted(painter);
        std::size_t bytes = 0;
        for (const auto& before : painter.m_before) bytes += before.blocks.bytes();
        EXPECT_LE(bytes, 4 * picture->Y.total());
    }
    EXPECT_LT(painter.m_before.size(), mask.strokes.size());
    while (!mask.strokes.empty()) {
        mask.strokes.pop_back();
        ASSERT_TRUE(sameValues(painted(painter), paintedAnew())) << mask.strokes.size();
    }
}

TEST_F(MaskPainterTest, BlocksTakeTheMemoryThatTheySay) {
    cv::Mat mixed(300, 500, CV_8UC1, cv::Scalar(7));
    cv::randu(mixed.colRange(200, 300), 0, 256);
    MaskBlocks blocks(mixed.size());
    blocks.keep(mixed, {{}, mixed.size()});
    std::size_t taken = blocks.m_isKept.size() / 8;
    for (const auto& block : blocks.m_blocks) taken += sizeof(block) + block.pixels.capacity();
    EXPECT_EQ(taken, blocks.bytes());
}

TEST_F(MaskPainterTest, BlocksBringBackWhatWasThereOfAnyPartInsideOrOutside) {
    for (const cv::Size& s : {cv::Size(1, 1), cv::Size(63, 1), cv::Size(1, 65), cv::Size(64, 64), cv::Size(200, 130)}) {
        cv::Mat before(s, CV_8UC1, cv::Scalar(7));
        for (int i = 0; i < s.area() / 3; ++i) before.at<uchar>(random() % s.height, random() % (s.width / 2 + 1)) = 9;
        for (int i = 0; i < 50; ++i) {
            MaskBlocks blocks(s);
            cv::Mat now = before.clone();
            for (int k = 0; k < 3; ++k) {
                const cv::Rect part(random() % 300 - 100, random() % 300 - 100, random() % 150, random() % 150);
                blocks.keep(now, part);
                now(part & cv::Rect(cv::Point(), s)).setTo(random() % 256);
            }
            blocks.restore(now);
            ASSERT_TRUE(sameValues(now, before)) << s;
        }
    }
}

}  // namespace
}  // namespace kestrova::photo
