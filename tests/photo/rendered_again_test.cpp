#include <gtest/gtest.h>

#include <random>

#include "tests/photo/pictures.h"

namespace kestrova::photo {
namespace {

/// Changes settings as a person does, back to what they were included.
class Changes {
public:
    void next(Settings& settings) {
        switch (below(8)) {
            case 0: settings.light.brightness = value(); break;
            case 1: settings.noise.colour = below(2) ? 0.5f : 0.0f; break;
            case 2: settings.medium.midtones.strength = value(); break;
            case 3: settings.colour.saturation = value(); break;
            case 4:
                if (settings.layers.size() < 3) settings.layers.emplace_back();
                break;
            case 5:
                if (!settings.layers.empty()) layerOf(settings).adjustments.light.shadows = value();
                break;
            default:
                if (settings.layers.empty()) break;
                auto& strokes = layerOf(settings).mask.strokes;
                if (below(3) == 0 && !strokes.empty()) {
                    strokes.pop_back();
                } else {
                    Stroke stroke;
                    stroke.radius = 0.08;
                    stroke.points = {{below(100) / 100.0, below(100) / 100.0}};
                    strokes.push_back(stroke);
                }
        }
    }
    int below(int n) { return static_cast<int>(m_random() % static_cast<unsigned>(n)); }

private:
    float value() { return 0.4f * static_cast<float>(below(3) - 1); }
    Layer& layerOf(Settings& settings) {
        return settings.layers[static_cast<std::size_t>(below(static_cast<int>(settings.layers.size())))];
    }

    std::mt19937 m_random{5};
};

TEST(Development, GivesThePixelsOfAFreshOneAfterAnyChanges) {
    const cv::Mat pixels = scene({1500, 700});  // several tiles
    Development development(photographOf(pixels));
    Changes changes;
    Settings settings;
    for (int i = 0; i < 40; ++i) {
        changes.next(settings);
        if (changes.below(15) == 0) settings.straighten = changes.below(2) ? 0 : 2.5;
        Development::Output output;
        if (changes.below(3)) output.profile = changes.below(4) ? Profile::srgb() : Profile::displayP3();
        output.bits = changes.below(5) ? 8 : 16;
        output.maskOfLayer = changes.below(static_cast<int>(settings.layers.size()) + 1) - 1;
        const int step = 1 + changes.below(2);
        Development fresh(photographOf(pixels));
        const auto rendered = [&](Development& by) {
            by.set(settings);
            return by.render({cv::Point(), by.size()}, step, output);
        };
        const Development::Rendering one = rendered(development), other = rendered(fresh);
        ASSERT_TRUE(sameValues(one.pixels, other.pixels)) << i;
        ASSERT_TRUE(sameValues(one.mask, other.mask)) << i;
    }
}

}  // namespace
}  // namespace kestrova::photo
