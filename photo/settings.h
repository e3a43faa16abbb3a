#pragma once

#include <string>
#include <vector>

#include "photo/export.h"

/// What a person wants of a photograph, as plain values with names. Everything at its default asks for nothing.
///
/// All sliders run from -1 to 1 and rest at 0, unless they say otherwise; `sliders()` is the one list of them. What is
/// said of the engine below is `TVelline` and `TColorAdjVL` of the core.

namespace kestrova::photo {

/// The tone curve. It works on luminance without its detail, which is added again afterwards, so that surfaces keep
/// their texture. Engine: `m_light`, after a formula of this layer (light_curve.h of its source).
struct Light {
    float brightness = 0;  ///< lighter or darker with black and white kept; the middle moves most
    float contrast = 0;    ///< an S-shaped curve around the middle, black and white kept; below 0 a flatter middle
    float highlights = 0;  ///< the bright quarter
    float shadows = 0;     ///< the dark quarter
    float whites = 0;      ///< where white begins: above 0 brighter, so that the brightest tones clip, at 0.986 or more
    float blacks = 0;      ///< where black ends: below 0 darker, so that the darkest tones clip
};

/// How one scale of detail changes in one tonal zone.
struct Detail {
    float strength = 0;   ///< above 0 boosts, below 0 softens, -1 takes the detail away
    float threshold = 0;  ///< above 0 lifts faint detail to a clear size, below 0 takes faint detail away
};

/// One scale of detail by tonal zone; each zone stands for itself. Engine: a row of `m_k` and `m_t`, whose shadows and
/// midtones move on from the highlights.
struct Scale {
    Detail shadows;     ///< of the dark third
    Detail midtones;    ///< in between
    Detail highlights;  ///< of the bright third
};

/// Colour that is turned into luminance. Engine: `m_mix`.
struct Mix {
    float red = 0;    ///< above 0 lightens what is red
    float green = 0;  ///< above 0 lightens what is neither red nor blue
    float blue = 0;   ///< above 0 lightens what is blue
};

/// Engine: the table of `TColorAdjVL`, filled by this layer (colour_table.h of its source).
struct Colour {
    float temperature = 0;  ///< above 0 warmer, below 0 cooler; black and white stay
    float tint = 0;         ///< above 0 towards magenta, below 0 as far towards green; black and white stay
    float saturation = 0;   ///< -1 is grey, 1 makes colours up to four times as strong
    float vibrance = 0;     ///< above 0 lifts muted colours more than vivid ones and leaves greys, below 0 takes muted
                            ///< colours back
};

/// From 0 to 1. What is below the noise of the photograph, which is measured, goes; what is above stays.
struct Noise {
    float luminance = 0;  ///< grain
    float colour = 0;     ///< speckles of colour
};

/// What can be done to the whole of a photograph, and once more to a part of it.
struct Adjustments {
    Light light;    ///< the tone curve
    Scale small;    ///< hair and grain: 1/1000 of the photograph's mean side
    Scale medium;   ///< leaves, folds, faces: four times that
    Scale large;    ///< light and shade: sixteen times that
    Mix mix;        ///< colour as luminance
    Colour colour;  ///< colour as colour
    Noise noise;    ///< what goes because it is none of the picture

    /// Value by value.
    KESTROVA_PHOTO_EXPORT bool operator==(const Adjustments& other) const;
    /// The opposite.
    bool operator!=(const Adjustments& other) const { return !(*this == other); }
};

/// Both, one after the other: the sums, within each slider's range.
KESTROVA_PHOTO_EXPORT Adjustments operator+(const Adjustments& one, const Adjustments& other);

/// A slider of `Adjustments`: what a command line or a window needs to offer it.
struct Slider {
    const char* name;                        ///< "shadows", "small-midtones-threshold": unique, also the name in JSON
    const char* group;                       ///< "light", "small", "medium", "large", "mix", "colour", "noise"
    float least;                             ///< of its range
    float greatest;                          ///< of its range
    const char* tip;                         ///< a sentence for the person who moves it
    float& (*of)(Adjustments& adjustments);  ///< its value among adjustments

    /// Its value.
    float value(const Adjustments& adjustments) const { return of(const_cast<Adjustments&>(adjustments)); }
};

/// All sliders in the order in which they are shown.
KESTROVA_PHOTO_EXPORT const std::vector<Slider>& sliders();
/// The slider of that name; throws `Error` of kind input for an unknown one.
KESTROVA_PHOTO_EXPORT const Slider& slider(const std::string& name);

/// A point of the photograph: 0, 0 is its upper left corner and 1, 1 its lower right one, upright and before `rotate`,
/// `straighten` and `crop`.
struct Point {
    double x = 0;  ///< from the left
    double y = 0;  ///< from the top
    /// Value by value.
    bool operator==(const Point& other) const { return x == other.x && y == other.y; }
    /// The opposite.
    bool operator!=(const Point& other) const { return !(*this == other); }
};

/// What a brush does along some points. Engine: a stroke of `TDrawMask`.
struct Stroke {
    std::vector<Point> points;  ///< joined by straight lines
    double radius = 0.05;       ///< part of the photograph's longer side, above 0 to 0.5
    double hardness = 0.5;      ///< part of the radius with full strength, 0 to 1
    double opacity = 1;         ///< 0 to 1; overlapping dots of one stroke do not add up
    double tolerance = 0;       ///< 0 paints over everything, up to 100: the higher, the sooner a stroke stops at edges
    bool erase = false;         ///< takes away instead

    /// Value by value.
    KESTROVA_PHOTO_EXPORT bool operator==(const Stroke& other) const;
    /// The opposite.
    bool operator!=(const Stroke& other) const { return !(*this == other); }
};

/// Where a local layer acts: nowhere, but for its strokes.
struct Mask {
    std::vector<Stroke> strokes;  ///< in the order in which they were painted
    bool inverted = false;        ///< everywhere, but for its strokes

    /// Value by value.
    bool operator==(const Mask& other) const { return strokes == other.strokes && inverted == other.inverted; }
    /// The opposite.
    bool operator!=(const Mask& other) const { return !(*this == other); }
};

/// Adjustments for a part of the photograph, on top of those for the whole.
struct Layer {
    std::string name;         ///< for the person who made it
    Adjustments adjustments;  ///< on top of those for the whole
    Mask mask;                ///< where

    /// Value by value.
    bool operator==(const Layer& other) const {
        return name == other.name && adjustments == other.adjustments && mask == other.mask;
    }
    /// The opposite.
    bool operator!=(const Layer& other) const { return !(*this == other); }
};

/// A rectangle in parts of the width and the height of the photograph, after `rotate` and `straighten`.
struct Crop {
    double x = 0;       ///< of its left edge
    double y = 0;       ///< of its upper edge
    double width = 1;   ///< above 0
    double height = 1;  ///< above 0
    /// Value by value.
    bool operator==(const Crop& other) const {
        return x == other.x && y == other.y && width == other.width && height == other.height;
    }
    /// The opposite.
    bool operator!=(const Crop& other) const { return !(*this == other); }
};

/// The edge-aware filters that take detail apart.
enum class DetailFilter {
    guided,     ///< guided filters, the large ones at a reduced size
    bilateral,  ///< bilateral grids for small and medium detail: crisper at faint edges
    laplacian,  ///< a local Laplacian pyramid for large detail: deeper
    wls,        ///< weighted least squares; above some megapixels at a reduced size, small detail guided
};

/// All of it.
struct KESTROVA_PHOTO_EXPORT Settings : Adjustments {
    static constexpr int kVersion = 1;  ///< of the JSON

    DetailFilter filter = DetailFilter::guided;  ///< how detail is taken apart
    std::vector<Layer> layers;                   ///< in the order in which they are blended, at most 16
    int rotate = 0;                              ///< clockwise: 0, 90, 180, 270
    double straighten = 0;  ///< degrees clockwise, -45 to 45; the corners that this lays bare are cut off
    Crop crop;              ///< what of it is shown
    int size = 0;  ///< of the result's longer side in pixels, never enlarged; 0 for as many as there are, up to 65535

    /// Value by value.
    bool operator==(const Settings& other) const;
    /// The opposite.
    bool operator!=(const Settings& other) const { return !(*this == other); }

    /// Whether pixels keep their values: nothing is adjusted, anywhere, and the size is that of the photograph.
    bool changesNoPixel() const;

    /// The same with the `rotate`, `straighten`, `crop` and `size` of another one: what chooses the view and adjusts
    /// nothing.
    Settings placedAs(const Settings& other) const;

    /// Throws `Error` of kind input, with the name of the value, if one is out of range or not a number.
    void check() const;

    /// As JSON, with the version and whatever differs from the default.
    std::string toJson() const;
    /// From JSON. Throws `Error` of kind input for what is no JSON, an unknown key, a value out of range or of another
    /// kind, each by its name, a later version, and for more values (some 1.5 million points of strokes) or a deeper
    /// nesting than settings have; of kind memory if there is none.
    static Settings fromJson(const std::string& text);

    /// Throw `Error` of kind file, of kind input for a file of more than 64 MiB (600 strokes of 1000 points), and those
    /// of `fromJson`. Files are replaced in one step.
    static Settings load(const std::string& path);
    /// Likewise.
    void save(const std::string& path) const;

    /// "photo.jpg.kestrova.json" for "photo.jpg".
    static std::string sidecarOf(const std::string& photograph);
};

/// A named starting point.
struct Preset {
    std::string name;   ///< for the command line and lists
    std::string tip;    ///< a sentence for the person who chooses
    Settings settings;  ///< the starting point
};

/// All presets.
KESTROVA_PHOTO_EXPORT const std::vector<Preset>& presets();
/// The preset of that name; throws `Error` of kind input for an unknown one.
KESTROVA_PHOTO_EXPORT const Preset& preset(const std::string& name);

}  // namespace kestrova::photo
