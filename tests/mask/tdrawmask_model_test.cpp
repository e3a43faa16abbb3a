#include "kestrova/mask/tdrawmask.h"

#include <gtest/gtest.h>

#include <random>

#include "kestrova/image/tpimage.h"
#include "tests/mask/mask_fixture.h"
#include "tests/mask/mask_model.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

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
            const int x = below(kCols), y = below(kRows), step = below(5);
            const int w = 1 + below(2 * kCols - x) / std::max(step, 1),
                      h = 1 + below(2 * kRows - 1 - y) / std::max(step, 1);
            const cv::Mat expected =
                step == 0 ? model.mask() : TPImage::MatRoi(model.mask(), x, y, w, h, step, true, false);
            ASSERT_TRUE(samePixels(expected, mask.getMaskRoi(cv::Rect(x, y, w, h), step))) << "command " << i;
            ASSERT_FALSE(mask.bdirty());
        }
    }
}

TEST(TDrawMaskModelTest, RandomCommandsGiveTheModelsPixels) {
    const Planes planes;
    for (unsigned seed : {1u, 2u, 3u}) runBesideTheModel(planes, seed, 800);
}

TEST(TDrawMaskModelTest, RandomCommandsGiveTheModelsPixelsWithAnyNumberOfThreads) {
    const Planes planes;
    withThreadCounts([&](int) { runBesideTheModel(planes, 7, 60); });
}

// Small dots keep their weights in the object, larger ones in memory of their own; the largest are shared by threads.
TEST(TDrawMaskModelTest, DotsOfAnySizeGiveTheModelsPixelsWithAnyNumberOfThreads) {
    using Command = MaskModel::Command;
    const cv::Size size(211, 173);
    const cv::Mat y = randomPlane(size.height, size.width, CV_8UC1, 100, 120),
                  c = randomPlane(size.height, size.width, CV_16UC1, 32000, 33500);
    for (int radius : {1, 23, 24, 25, 79, 80, 81, 160}) {
        for (float tolerance : {0.0f, 0.3f}) {
            MaskModel model(y, c, c, y);
            TDrawMask stroke;
            stroke.setInImage(y, c, c);
            const auto dot = [&](int x, int row, int innerR) {
                stroke.drawADot({2 * x, 2 * row}, 30, 2 * radius, 2 * innerR, 0.8f, tolerance);
                model.add({Command::Dot, 30, x, row, radius, innerR, 0.8f, tolerance});
            };
            stroke.drawStart(0, 1);
            model.add({Command::Start});
            dot(100, 80, radius / 3);
            dot(120, 95, radius / 3);
            dot(105, 172, 0);
            dot(-radius / 2, 60, radius);
            dot(210 + radius / 3, 170, radius / 2);
            model.proc();
            withThreadCounts([&](int threads) {
                TDrawMask mask(stroke);
                mask.proc();
                EXPECT_TRUE(samePixels(model.mask(), mask.m_mask)) << radius << ", " << tolerance << ", " << threads;
            });
        }
    }
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
