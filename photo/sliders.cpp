#include <algorithm>

#include "photo/error.h"
#include "photo/settings.h"

namespace kestrova::photo {

namespace {

#define KESTROVA_SLIDER(member) [](Adjustments& a) -> float& { return a.member; }
#define KESTROVA_ZONE(scale, zone, what)                                                                               \
    {#scale "-" #zone,                                                                                                 \
     #scale,                                                                                                           \
     -1,                                                                                                               \
     1,                                                                                                                \
     "Boosts or softens " what " in the " #zone ".",                                                                   \
     KESTROVA_SLIDER(scale.zone.strength)},                                                                            \
    {                                                                                                                  \
#scale "-" #zone "-threshold", #scale, -1, 1,                                                                  \
            "Above 0 lifts faint " what " in the " #zone ", below 0 clears it.", KESTROVA_SLIDER(scale.zone.threshold) \
    }

const std::vector<Slider> kSliders = {
    {"brightness", "light", -1, 1, "Lighter or darker; black stays black and white stays white.",
     KESTROVA_SLIDER(light.brightness)},
    {"contrast", "light", -1, 1, "Spreads the middle tones or brings them together; black and white stay.",
     KESTROVA_SLIDER(light.contrast)},
    {"highlights", "light", -1, 1, "Lightens or darkens the bright tones.", KESTROVA_SLIDER(light.highlights)},
    {"shadows", "light", -1, 1, "Lightens or darkens the dark tones.", KESTROVA_SLIDER(light.shadows)},
    {"whites", "light", -1, 1, "Sets where white begins: above 0 the brightest tones become white.",
     KESTROVA_SLIDER(light.whites)},
    {"blacks", "light", -1, 1, "Sets where black ends: below 0 the darkest tones become black.",
     KESTROVA_SLIDER(light.blacks)},
    KESTROVA_ZONE(small, shadows, "fine detail, hair and grain,"),
    KESTROVA_ZONE(small, midtones, "fine detail, hair and grain,"),
    KESTROVA_ZONE(small, highlights, "fine detail, hair and grain,"),
    KESTROVA_ZONE(medium, shadows, "forms, leaves and folds,"),
    KESTROVA_ZONE(medium, midtones, "forms, leaves and folds,"),
    KESTROVA_ZONE(medium, highlights, "forms, leaves and folds,"),
    KESTROVA_ZONE(large, shadows, "broad light and shade"),
    KESTROVA_ZONE(large, midtones, "broad light and shade"),
    KESTROVA_ZONE(large, highlights, "broad light and shade"),
    {"mix-red", "mix", -1, 1, "Lightens or darkens what is red.", KESTROVA_SLIDER(mix.red)},
    {"mix-green", "mix", -1, 1, "Lightens or darkens what is neither red nor blue.", KESTROVA_SLIDER(mix.green)},
    {"mix-blue", "mix", -1, 1, "Lightens or darkens what is blue.", KESTROVA_SLIDER(mix.blue)},
    {"temperature", "colour", -1, 1, "Warmer or cooler; black and white stay.", KESTROVA_SLIDER(colour.temperature)},
    {"tint", "colour", -1, 1, "Towards magenta or towards green; black and white stay.", KESTROVA_SLIDER(colour.tint)},
    {"saturation", "colour", -1, 1, "Stronger or weaker colours; -1 is black and white.",
     KESTROVA_SLIDER(colour.saturation)},
    {"vibrance", "colour", -1, 1, "Lifts muted colours and spares vivid ones and greys.",
     KESTROVA_SLIDER(colour.vibrance)},
    {"noise-luminance", "noise", 0, 1, "Takes grain away where there is nothing else.",
     KESTROVA_SLIDER(noise.luminance)},
    {"noise-colour", "noise", 0, 1, "Takes speckles of colour away.", KESTROVA_SLIDER(noise.colour)},
};

}  // namespace

const std::vector<Slider>& sliders() { return kSliders; }

const Slider& slider(const std::string& name) {
    const auto found = std::find_if(kSliders.begin(), kSliders.end(), [&](const Slider& s) { return s.name == name; });
    if (found == kSliders.end()) throw Error(Error::Kind::input, "there is no slider \"" + name + "\"");
    return *found;
}

}  // namespace kestrova::photo
