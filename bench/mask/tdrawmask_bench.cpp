#include "kestrova/mask/tdrawmask.h"

#include <memory>

#include "bench/support/bench.h"

namespace {

constexpr int kCols = 3000, kRows = 2000;  // the mask of a 24-megapixel picture

std::shared_ptr<TDrawMask> boundMask() {
    cv::Mat y(kRows, kCols, CV_8UC1), c(kRows, kCols, CV_16UC1);
    cv::randu(y, 90, 160);
    cv::randu(c, 32000, 33500);
    auto mask = std::make_shared<TDrawMask>();
    mask->setInImage(y, c, c);
    mask->setValue(0);
    mask->proc();
    return mask;
}

void drawStroke(TDrawMask& mask, int dots, int radius, float tolerance) {
    mask.drawStart(0, 1.0f);
    for (int i = 0; i < dots; ++i) {
        const cv::Point p(kCols + (i * 37) % 1500 - 750, kRows + (i * 23) % 1100 - 550);
        mask.drawADot(p, 255, 2 * radius, radius, 0.8f, tolerance);
    }
    mask.drawEnd();
}

KESTROVA_BENCH(mask) {
    // A dot's least work: its square of coverage and of mask, each read and written.
    for (int radius : {10, 100, 1000}) {
        const std::size_t bytes =
            4 * static_cast<std::size_t>(2 * radius + 1) * static_cast<std::size_t>(2 * radius + 1);
        for (float tolerance : {0.0f, 0.3f}) {
            const std::string name =
                "mask/softDot" + std::string(tolerance > 0 ? "Tolerance" : "") + "/r" + std::to_string(radius);
            benchRow(name, bytes, [=] {
                auto mask = boundMask();
                auto dot =
                    std::make_shared<TMaskParam>(kCols / 2, kRows / 2, uchar{255}, radius, radius / 2, 0.8f, tolerance);
                mask->drawStrokeDot(true, dot.get());
                return [=] { mask->drawStrokeDot(false, dot.get()); };
            });
        }
    }
    const auto strokeBytes = [](int dots, int radius) { return 16 * static_cast<std::size_t>(dots) * radius * radius; };
    for (float tolerance : {0.0f, 0.3f}) {
        benchRow("mask/replay1000Dots" + std::string(tolerance > 0 ? "Tolerance" : "") + "/r50", strokeBytes(1000, 50),
                 [=] {
                     auto mask = boundMask();
                     drawStroke(*mask, 1000, 50, tolerance);
                     return [=] {
                         mask->m_cmdIdx = -1;
                         mask->proc();
                     };
                 });
    }
    benchRow("mask/undoLastOf100Strokes/r50", strokeBytes(99 * 20, 50), [=] {
        auto mask = boundMask();
        for (int i = 0; i < 99; ++i) drawStroke(*mask, 20, 50, 0.0f);
        return [=] {
            drawStroke(*mask, 20, 50, 0.0f);
            mask->undo();
            mask->proc();
        };
    });
}

}  // namespace
