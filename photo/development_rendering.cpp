#include <algorithm>

#include "photo/development_state.h"

namespace kestrova::photo {

namespace {

constexpr int kTilePixels = 1 << 18;

uchar to8Bits(ushort v) { return static_cast<uchar>((v + 128) / 257); }

/// Pixels that keep their values.
void copyPixels(const cv::Mat& in, cv::Mat& out) {
    if (out.depth() == CV_16U) {
        in.copyTo(out);
        return;
    }
    for (int y = 0; y < in.rows; ++y)
        std::transform(in.ptr<ushort>(y), in.ptr<ushort>(y) + 4 * in.cols, out.ptr(y), to8Bits);
}

void convert(const ColourTransform* transform, const cv::Mat& in, cv::Mat& out) {
    if (!transform)
        copyPixels(in, out);
    else if (out.depth() == CV_16U)
        transform->apply(in, out, 1);
    else
        transform->applyTo8(in, out, 1);
}

}  // namespace

/// Null if nothing is to be converted.
std::shared_ptr<const ColourTransform> Development::State::transformBetween(const Profile& from, const Profile& to) {
    if (from == to) return nullptr;
    if (from != Profile::working()) return std::make_shared<const ColourTransform>(from, to);
    // Profiles of one space may differ in the last bit of what they make.
    if (!transform || transformTo.bytes() != to.bytes()) {
        transform = std::make_shared<const ColourTransform>(from, to);
        transformTo = to;
    }
    return transform;
}

View Development::State::viewOf(const cv::Rect& view, int step) const {
    if (step < 1) throw Error(Error::Kind::programming, "a step below 1");
    const cv::Rect seen = view & cv::Rect(cv::Point(), geometry.size());
    if (seen.empty()) throw Error(Error::Kind::programming, "a view that shows nothing of the photograph");
    const cv::Size whole = geometry.sizeAt(step);
    const cv::Point corner(std::min(seen.x / step, whole.width - 1), std::min(seen.y / step, whole.height - 1));
    return {cv::Rect(corner, cv::Size(std::clamp(seen.width / step, 1, whole.width - corner.x),
                                      std::clamp(seen.height / step, 1, whole.height - corner.y))),
            step};
}

std::vector<std::unique_ptr<Tile>> Development::State::tilesOfView(const View& view) const {
    const bool plain = geometry.keepsPixels();
    const cv::Rect whole(cv::Point(), geometry.sizeAt(view.step));
    const double scale = plain ? 1 : std::max(1.0, geometry.scale());
    const int width = std::max(64, static_cast<int>(1024 / scale));
    const int height = std::max(32, static_cast<int>(kTilePixels / (scale * scale)) / width);
    std::vector<std::unique_ptr<Tile>> tiles;
    for (int y = 0; y < view.area.height; y += height)
        for (int x = 0; x < view.area.width; x += width) {
            const cv::Rect area(x, y, std::min(width, view.area.width - x), std::min(height, view.area.height - y));
            const cv::Rect inWhole = area + view.area.tl();
            if (plain) {
                // A step that is larger than the picture shows its first pixels.
                const cv::Rect full(inWhole.x * view.step, inWhole.y * view.step, inWhole.width * view.step,
                                    inWhole.height * view.step);
                const cv::Rect shown = full & cv::Rect(cv::Point(), geometry.size());
                const cv::Rect from = geometry.photographOf(shown);
                const int step = std::min({view.step, from.width, from.height});
                tiles.push_back(std::make_unique<Tile>(
                    area, inWhole, Geometry::Plan{step, from.tl(), {from.width / step, from.height / step}}));
            } else {
                const cv::Rect made = cv::Rect(inWhole.x - 1, inWhole.y - 1, area.width + 2, area.height + 2) & whole;
                tiles.push_back(std::make_unique<Tile>(area, made, geometry.planFor(made, view.step)));
            }
        }
    return tiles;
}

/// What is kept of the view, which then no longer is, or fresh tiles.
std::vector<std::unique_ptr<Tile>> Development::State::takeTiles(const View& view) {
    const auto found = std::find_if(kept.begin(), kept.end(), [&](const KeptView& k) { return k.view == view; });
    if (found == kept.end()) return tilesOfView(view);
    std::vector<std::unique_ptr<Tile>> tiles = std::move(found->tiles);
    kept.erase(found);
    return tiles;
}

/// Pixels in the photograph's own profile: those that no layer reaches are the photograph's.
cv::Mat Development::State::outsideLayersAsTheyWere(Tile& tile, const Recipe& recipe, const ColourTransform* transform,
                                                    const cv::Mat& pixels) const {
    cv::Mat out(pixels.size(), CV_16UC4);
    convert(transform, pixels, out);
    std::vector<cv::Mat> masks;
    for (std::size_t i = 0; i < recipe.layers.size(); ++i)
        if (recipe.layers[i] != recipe.whole) masks.push_back(tile.chunk.mask(prepared, i));
    const cv::Mat own = source.photograph().pixels(cv::Rect(tile.plan.origin, tile.plan.size));
    for (int y = 0; y < out.rows; ++y)
        for (int x = 0; x < out.cols; ++x) {
            const auto reaches = [&](const cv::Mat& mask) { return !mask.empty() && mask.at<uchar>(y, x) != 0; };
            if (std::none_of(masks.begin(), masks.end(), reaches)) out.at<cv::Vec4w>(y, x) = own.at<cv::Vec4w>(y, x);
        }
    return out;
}

/// `keepsOwn`: pixels that nothing changes are the photograph's own.
void Development::State::showPixels(Tile& tile, const Recipe& recipe, const View& view,
                                    const std::shared_ptr<const ColourTransform>& transform, bool pixelsStay,
                                    bool keepsOwn, const Steps& steps, cv::Mat target) const {
    cv::Mat pixels;
    if (pixelsStay) {
        pixels = source.photograph().pixels(cv::Rect(tile.plan.origin, tile.plan.size));
    } else {
        pixels = tile.chunk.render(source, prepared, recipe, steps);
        if (!keepsOwn && tile.shownVersion == tile.chunk.version() && tile.shownBy == transform &&
            tile.shown.type() == target.type()) {
            tile.shown.copyTo(target);
            return;
        }
    }
    if (geometry.keepsPixels()) {
        if (keepsOwn && !pixelsStay)
            copyPixels(geometry.turned(outsideLayersAsTheyWere(tile, recipe, transform.get(), pixels)), target);
        else
            convert(transform.get(), geometry.turned(pixels), target);
    } else {
        cv::Mat converted(pixels.size(), CV_16UC4);
        convert(transform.get(), pixels, converted);
        cv::Mat made = geometry.resampled(converted, tile.plan, tile.made, view.step);
        if (view.step == 1 && geometry.scale() > 1) {
            if (made.data == converted.data || made.data == pixels.data) made = made.clone();
            sharpenForOutput(made);
        }
        const cv::Point corner = tile.area.tl() + view.area.tl() - tile.made.tl();
        copyPixels(made(cv::Rect(corner, tile.area.size())), target);
    }
    if (pixelsStay || keepsOwn) return;
    tile.shown = target.clone();
    tile.shownVersion = tile.chunk.version();
    tile.shownBy = transform;
}

void Development::State::showMask(Tile& tile, const View& view, std::size_t layer, cv::Mat target) const {
    const cv::Mat mask = tile.chunk.mask(prepared, layer);
    if (geometry.keepsPixels()) {
        geometry.turned(mask).copyTo(target);
    } else {
        const cv::Point corner = tile.area.tl() + view.area.tl() - tile.made.tl();
        geometry.resampled(mask, tile.plan, tile.made, view.step)(cv::Rect(corner, tile.area.size())).copyTo(target);
    }
}

Development::Rendering Development::State::render(const View& view, const Output& output, Control* control) {
    if (output.bits != 8 && output.bits != 16) throw Error(Error::Kind::programming, "neither 8 nor 16 bits");
    const bool overlay = output.maskOfLayer >= 0;
    if (overlay && static_cast<std::size_t>(output.maskOfLayer) >= settings.layers.size())
        throw Error(Error::Kind::programming, "the mask of a layer that there is not");
    if (options.mostMemory > 0 && memoryFor(source.size(), settings, output, options) > options.mostMemory)
        throw Error(Error::Kind::memory, "the photograph needs more memory than the limit allows");

    const CoreScope scope(options.threads);
    Recipe recipe = recipeOf(settings);
    constexpr double kRendering = 4;
    Steps steps(control, preparationLeft(recipe, output.maskOfLayer) + kRendering);
    steps.check();
    prepare(recipe, output.maskOfLayer, steps);
    prepareColours(recipe);

    const Profile& own = source.photograph().profile;
    const Profile wanted = output.profile.value_or(own);
    const auto changes = [](const Adjustments& a) { return a != Adjustments(); };
    // Means of pixels are those of the working space whatever the settings, so that a preview does not jump.
    const bool pixelsStay = !any(recipe, changes) && view.step == 1;
    const bool keepsOwn = geometry.keepsPixels() && !output.profile && view.step == 1 && recipe.whole == Adjustments();
    const Profile& from = pixelsStay ? own : Profile::working();
    const std::shared_ptr<const ColourTransform> conversion = transformBetween(from, wanted);

    std::vector<std::unique_ptr<Tile>> tiles = takeTiles(view);
    const double pixels = static_cast<double>(view.area.area()) * std::max(1.0, geometry.scale() * geometry.scale());
    const double bytes = pixels * Chunk::bytesAPixel(recipe.layers.size());
    const bool keep = bytes <= static_cast<double>(options.keptForView);
    // Before the tiles of this view grow.
    if (kept.size() > 1) kept.resize(1);
    if (!kept.empty() && kept[0].bytes + bytes > static_cast<double>(options.keptForView)) kept.clear();

    Rendering out;
    out.profile = wanted;
    out.pixels.create(view.area.size(), output.bits == 8 ? CV_8UC4 : CV_16UC4);
    if (overlay) out.mask.create(view.area.size(), CV_8UC1);
    const int count = static_cast<int>(tiles.size());
    const auto keepTiles = [&] {
        if (keep) kept.insert(kept.begin(), KeptView{view, std::move(tiles), bytes});
    };
    try {
        steps.parallel(count, kRendering / count, [&](int i) {
            Tile& tile = *tiles[i];
            showPixels(tile, recipe, view, conversion, pixelsStay, keepsOwn, steps, out.pixels(tile.area));
            if (overlay) showMask(tile, view, static_cast<std::size_t>(output.maskOfLayer), out.mask(tile.area));
            if (!keep) tiles[i].reset();
        });
    } catch (const Error& error) {
        if (error.kind() == Error::Kind::cancelled) keepTiles();  // it ends between the stages of a tile
        throw;
    }
    keepTiles();
    return out;
}

}  // namespace kestrova::photo
