#include <vector>

#include "fuzz/support/scene.h"
#include "fuzz/support/start.h"
#include "kestrova/kestrova.h"

namespace {

/// One call, as it can be repeated on another mask.
using Step = std::function<cv::Mat(TDrawMask&)>;

cv::Mat nothing(const std::function<void()>& work) {
    work();
    return {};
}

Step bind(Input& input) {
    Scene scene;
    const cv::Size size = someSize(input);
    const int y = scene.add(input, size, CV_8UC1, Role::kIn), dr = scene.add(input, size, CV_16UC1, Role::kIn),
              db = scene.add(input, size, CV_16UC1, Role::kIn);
    const std::vector<cv::Mat> planes = {scene[y].clone(), scene[dr].clone(), scene[db].clone()};
    return [=](TDrawMask& mask) { return nothing([&] { mask.setInImage(planes[0], planes[1], planes[2]); }); };
}

Step bindPicture(Input& input) {
    Scene scene;
    const cv::Size size = someSize(input);
    const int pixels = scene.addFitting(input, size, CV_8UC4, Role::kIn);
    const auto image = std::make_shared<TPImage>();
    outcomeOf(
        [&] { image->convertFrom(scene[pixels].data, size.width, size.height, static_cast<int>(scene[pixels].step)); });
    if (input.rarely(8) && !image->m_mask.empty()) image->m_mask = image->m_mask.colRange(0, 1);
    const bool null = input.rarely(16);
    return [=](TDrawMask& mask) { return nothing([&] { mask.setInImage(null ? nullptr : image.get()); }); };
}

int near(Input& input) { return input.rarely(6) ? input.number() : input.below(90) - 5; }

Step step(Input& input) {
    const int kind = input.below(16);
    switch (kind) {
        case 0: return bind(input);
        case 1: return bindPicture(input);
        case 2: return [](TDrawMask& mask) { return nothing([&] { mask.drawStart(1, 2.0f); }); };
        case 3: return [](TDrawMask& mask) { return nothing([&] { mask.drawEnd(); }); };
        case 4: return [v = input.byte()](TDrawMask& mask) { return nothing([&] { mask.setValue(v); }); };
        case 5: return [](TDrawMask& mask) { return nothing([&] { mask.invert(); }); };
        case 6: return [](TDrawMask& mask) { return nothing([&] { mask.undo(); }); };
        case 7: return [](TDrawMask& mask) { return nothing([&] { mask.reset(); }); };
        case 8: {
            const cv::Rect r(near(input), near(input), near(input), near(input));
            const int sampling = input.rarely(4) ? input.number() : input.below(4);
            return [=](TDrawMask& mask) { return mask.getMaskRoi(r, sampling); };
        }
        case 9: {
            const cv::Point p(near(input), near(input));
            const int radius = near(input);
            return [=, v = input.byte()](TDrawMask& mask) { return nothing([&] { mask.drawADot(p, v, radius); }); };
        }
        case 10:
        case 11:
        case 12: {
            const cv::Point p(near(input), near(input));
            const int outer = near(input), inner = input.flag() ? outer : outer / 2 + input.below(5) - 2;
            const float opacity = input.real(), tolerance = input.flag() ? 0 : input.real();
            return [=, v = input.byte()](TDrawMask& mask) {
                return nothing([&] { mask.drawADot(p, v, outer, inner, opacity, tolerance); });
            };
        }
        default: return [](TDrawMask& mask) { return nothing([&] { mask.proc(); }); };
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    TDrawMask used, fresh;
    for (int calls = 0; calls < 40 && input.more(); ++calls) {
        const Step next = step(input);
        cv::Mat first, again;
        const RefusedOutcome refused = refusedOutcomeOf([&] { first = next(used); });
        Outcome outcome = refused.outcome;
        if (refused.toRepeat) outcome = outcomeOf([&] { first = next(used); });
        const Outcome second = outcomeOf([&] { again = next(fresh); });
        if (outcome.failed != second.failed || outcome.text != second.text)
            finding("first \"" + outcome.text + "\", again \"" + second.text + "\"");
        comparePlanes(first, again, "getMaskRoi");
        comparePlanes(used.getMaskRoi(cv::Rect(), 0), fresh.getMaskRoi(cv::Rect(), 0), "mask");
        if (input.rarely(16)) {
            TDrawMask copy(used);
            copy = used;
        }
    }
    return 0;
}
