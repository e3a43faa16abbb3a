#include "photo/settings.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "photo/error.h"

namespace kestrova::photo {

namespace {

std::string shown(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

void checkRange(const std::string& name, double value, double least, double greatest) {
    if (!std::isfinite(value)) throw Error(Error::Kind::input, name + " is not a number");
    if (value < least || value > greatest)
        throw Error(Error::Kind::input,
                    name + " is " + shown(value) + ", not within " + shown(least) + " to " + shown(greatest));
}

void checkSliders(const std::string& where, const Adjustments& adjustments) {
    for (const Slider& slider : sliders())
        checkRange(where + slider.name, double{slider.value(adjustments)}, double{slider.least},
                   double{slider.greatest});
}

void checkStroke(const std::string& where, const Stroke& stroke) {
    checkRange(where + "radius", stroke.radius, 1e-5, 0.5);
    checkRange(where + "hardness", stroke.hardness, 0, 1);
    checkRange(where + "opacity", stroke.opacity, 0, 1);
    checkRange(where + "tolerance", stroke.tolerance, 0, 100);
    for (const Point& point : stroke.points) {
        checkRange(where + "points", point.x, -1, 2);
        checkRange(where + "points", point.y, -1, 2);
    }
}

}  // namespace

bool Adjustments::operator==(const Adjustments& other) const {
    return std::all_of(sliders().begin(), sliders().end(),
                       [&](const Slider& slider) { return slider.value(*this) == slider.value(other); });
}

Adjustments operator+(const Adjustments& one, const Adjustments& other) {
    Adjustments sum = one;
    for (const Slider& slider : sliders())
        slider.of(sum) = std::clamp(slider.value(one) + slider.value(other), slider.least, slider.greatest);
    return sum;
}

bool Stroke::operator==(const Stroke& other) const {
    return points == other.points && radius == other.radius && hardness == other.hardness && opacity == other.opacity &&
           tolerance == other.tolerance && erase == other.erase;
}

bool Settings::operator==(const Settings& other) const {
    return Adjustments::operator==(other) && filter == other.filter && layers == other.layers &&
           rotate == other.rotate && straighten == other.straighten && crop == other.crop && size == other.size;
}

bool Settings::changesNoPixel() const {
    const Adjustments nothing;
    const auto idle = [&](const Layer& layer) { return layer.adjustments == nothing; };
    return Adjustments::operator==(nothing) && std::all_of(layers.begin(), layers.end(), idle) && straighten == 0 &&
           size == 0;
}

Settings Settings::placedAs(const Settings& other) const {
    Settings placed = *this;
    placed.rotate = other.rotate;
    placed.straighten = other.straighten;
    placed.crop = other.crop;
    placed.size = other.size;
    return placed;
}

void Settings::check() const {
    checkSliders("", *this);
    if (filter < DetailFilter::guided || filter > DetailFilter::wls)
        throw Error(Error::Kind::input, "filter is none of the filters");
    if (layers.size() > 16) throw Error(Error::Kind::input, "there are more than 16 layers");
    for (std::size_t i = 0; i < layers.size(); ++i) {
        const std::string where = "layer " + std::to_string(i + 1) + ": ";
        checkSliders(where, layers[i].adjustments);
        for (const Stroke& stroke : layers[i].mask.strokes) checkStroke(where, stroke);
    }
    if (rotate != 0 && rotate != 90 && rotate != 180 && rotate != 270)
        throw Error(Error::Kind::input, "rotate is " + std::to_string(rotate) + ", not one of 0, 90, 180 and 270");
    checkRange("straighten", straighten, -45, 45);
    checkRange("crop x", crop.x, 0, 1);
    checkRange("crop y", crop.y, 0, 1);
    checkRange("crop width", crop.width, 1e-6, 1 - crop.x + 1e-9);
    checkRange("crop height", crop.height, 1e-6, 1 - crop.y + 1e-9);
    checkRange("size", size, 0, 65535);
}

}  // namespace kestrova::photo
