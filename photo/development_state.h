#pragma once

#include <algorithm>
#include <memory>
#include <vector>

#include "photo/chroma_noise.h"
#include "photo/chunk.h"
#include "photo/development.h"
#include "photo/geometry.h"
#include "photo/mask_layer.h"
#include "photo/scales.h"
#include "photo/source.h"

namespace kestrova::photo {

/// A part of a view, with what it is made of.
struct Tile {
    Tile(const cv::Rect& inView, const cv::Rect& part, const Geometry::Plan& how)
        : area(inView), made(part), plan(how), chunk(how.origin, how.size, how.reduction) {}

    cv::Rect area;        ///< in pixels of the view
    cv::Rect made;        ///< in pixels of the whole at the view's step: a little more where it is sharpened
    Geometry::Plan plan;  ///< how it is made
    Chunk chunk;

    cv::Mat shown;                                   ///< as it was shown the last time
    unsigned shownVersion = 0;                       ///< of the chunk then
    std::shared_ptr<const ColourTransform> shownBy;  ///< what made it of the chunk
};

/// What a view depends on besides settings.
struct View {
    cv::Rect area;  ///< in pixels of the whole at `step`
    int step = 0;

    bool operator==(const View& other) const { return area == other.area && step == other.step; }
};

/// What is left of a rendered view. Two are kept, for hosts that render a coarse one while a slider moves and a fine
/// one afterwards.
struct KeptView {
    View view;
    std::vector<std::unique_ptr<Tile>> tiles;
    double bytes = 0;
};

/// What the settings ask of each stage.
Recipe recipeOf(const Settings& settings);
/// Whether more than colour changes.
bool needsScales(const Adjustments& adjustments);
bool needsChroma(const Adjustments& adjustments);

template <class Test>
bool any(const Recipe& recipe, const Test& test) {
    return test(recipe.whole) || std::any_of(recipe.layers.begin(), recipe.layers.end(), test);
}

struct Development::State {
    State(Photograph photograph, const Options& wanted);

    Options options;
    Source source;
    Settings settings;
    Geometry geometry;

    cv::Mat luminance;
    std::shared_ptr<const MaskPicture> maskPicture;
    std::vector<std::unique_ptr<MaskPainter>> painters;  ///< of the layers
    std::vector<Mask> paintedMasks;                      ///< what `prepared.masks` are of
    Prepared prepared;
    std::vector<std::shared_ptr<const ColourTable>> colours;  ///< of the whole and of the layers, latest rendering

    /// Of the latest rendering: from the working space to its profile.
    std::shared_ptr<const ColourTransform> transform;
    Profile transformTo;

    std::vector<KeptView> kept;  ///< the latest first

    bool scalesMissing(const Recipe& recipe) const;
    bool chromaMissing(const Recipe& recipe) const;
    bool maskMissing(const Recipe& recipe, std::size_t layer, int alsoLayer) const;
    double preparationLeft(const Recipe& recipe, int maskOfLayer) const;
    void prepare(const Recipe& recipe, int maskOfLayer, Steps& steps);
    void prepareColours(Recipe& recipe);
    void prepareMasks(const Recipe& recipe, int maskOfLayer, Steps& steps);

    std::shared_ptr<const ColourTransform> transformBetween(const Profile& from, const Profile& to);
    View viewOf(const cv::Rect& view, int step) const;
    std::vector<std::unique_ptr<Tile>> tilesOfView(const View& view) const;
    std::vector<std::unique_ptr<Tile>> takeTiles(const View& view);
    Rendering render(const View& view, const Output& output, Control* control);
    cv::Mat outsideLayersAsTheyWere(Tile& tile, const Recipe& recipe, const ColourTransform* transform,
                                    const cv::Mat& pixels) const;
    void showPixels(Tile& tile, const Recipe& recipe, const View& view,
                    const std::shared_ptr<const ColourTransform>& transform, bool pixelsStay, bool keepsOwn,
                    const Steps& steps, cv::Mat target) const;
    void showMask(Tile& tile, const View& view, std::size_t layer, cv::Mat target) const;
};

}  // namespace kestrova::photo
