#include <algorithm>

#include "photo/error.h"
#include "photo/settings.h"

namespace kestrova::photo {

namespace {

/// All three zones alike.
Scale even(float strength, float threshold = 0) {
    const Detail detail{strength, threshold};
    return {detail, detail, detail};
}

std::vector<Preset> makePresets() {
    std::vector<Preset> all;
    all.reserve(16);
    const auto add = [&](const char* name, const char* tip) -> Settings& {
        all.push_back({name, tip, {}});
        return all.back().settings;
    };
    Settings& natural = add("natural", "A little more of what is there: texture, light and colour.");
    natural.small = even(0.1f);
    natural.medium = even(0.12f);
    natural.light.contrast = 0.12f;
    natural.light.shadows = 0.15f;
    natural.light.highlights = -0.1f;
    natural.colour.vibrance = 0.2f;

    Settings& landscape = add("landscape", "Clear distance, drawn clouds, living greens.");
    landscape.small = even(0.15f);
    landscape.medium = even(0.25f);
    landscape.large = {{0.15f, 0}, {0.2f, 0}, {0.3f, 0}};
    landscape.light.highlights = -0.3f;
    landscape.light.shadows = 0.3f;
    landscape.light.blacks = -0.1f;
    landscape.colour.vibrance = 0.35f;

    Settings& portrait = add("portrait", "Calm skin, open shadows, warm light.");
    portrait.small = even(-0.15f);
    portrait.medium = {{0, 0}, {-0.25f, 0}, {-0.2f, 0}};
    portrait.light.brightness = 0.1f;
    portrait.light.shadows = 0.2f;
    portrait.light.contrast = -0.08f;
    portrait.colour.temperature = 0.08f;
    portrait.colour.vibrance = 0.1f;

    Settings& backlight = add("backlight", "Opens what stands against the light.");
    backlight.light.shadows = 0.8f;
    backlight.light.highlights = -0.6f;
    backlight.large = {{0.3f, 0}, {0.1f, 0}, {0.2f, 0}};
    backlight.medium = {{0.2f, 0}, {0.1f, 0}, {0.1f, 0}};
    backlight.colour.vibrance = 0.15f;

    Settings& night = add("night", "Quiet darkness without grain or speckles.");
    night.noise.luminance = 0.7f;
    night.noise.colour = 0.9f;
    night.light.shadows = 0.2f;
    night.light.highlights = -0.3f;
    night.medium = {{0, 0}, {0.15f, 0}, {0.15f, 0}};

    Settings& blackAndWhite = add("black-and-white", "Black and white with a dark sky, as behind a red glass.");
    blackAndWhite.colour.saturation = -1;
    blackAndWhite.mix.red = 0.2f;
    blackAndWhite.mix.blue = -0.25f;
    blackAndWhite.light.contrast = 0.25f;
    blackAndWhite.medium = even(0.2f);
    blackAndWhite.small = even(0.1f);
    return all;
}

}  // namespace

const std::vector<Preset>& presets() {
    static const std::vector<Preset> all = makePresets();
    return all;
}

const Preset& preset(const std::string& name) {
    const auto found =
        std::find_if(presets().begin(), presets().end(), [&](const Preset& p) { return p.name == name; });
    if (found == presets().end()) {
        std::string names;
        for (const Preset& p : presets()) names += (names.empty() ? "" : ", ") + p.name;
        throw Error(Error::Kind::input, "there is no preset \"" + name + "\", but " + names);
    }
    return *found;
}

}  // namespace kestrova::photo
