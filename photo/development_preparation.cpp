#include "photo/development_state.h"

namespace kestrova::photo {

bool Development::State::scalesMissing(const Recipe& recipe) const {
    return any(recipe, needsScales) && (!prepared.scales || prepared.scales->filter != settings.filter);
}

bool Development::State::chromaMissing(const Recipe& recipe) const {
    return any(recipe, needsChroma) && !prepared.chroma;
}

bool Development::State::maskMissing(const Recipe& recipe, std::size_t layer, int alsoLayer) const {
    const bool wanted = static_cast<int>(layer) == alsoLayer || recipe.layers[layer] != recipe.whole;
    const bool painted = layer < paintedMasks.size() && !prepared.masks[layer].plane.empty() &&
                         paintedMasks[layer] == settings.layers[layer].mask;
    return wanted && !painted;
}

double Development::State::preparationLeft(const Recipe& recipe, int maskOfLayer) const {
    const bool scales = scalesMissing(recipe), chroma = chromaMissing(recipe);
    int masks = 0;
    for (std::size_t i = 0; i < recipe.layers.size(); ++i) masks += maskMissing(recipe, i, maskOfLayer);
    double left = masks;
    if ((scales || chroma) && luminance.empty()) left += 1;
    if (scales) left += 2;
    if (chroma) left += 2;
    if (masks > 0 && !maskPicture) left += 1;
    return left;
}

void Development::State::prepare(const Recipe& recipe, int maskOfLayer, Steps& steps) {
    const bool scales = scalesMissing(recipe), chroma = chromaMissing(recipe);
    const int bits = source.photograph().sourceBits;
    if ((scales || chroma) && luminance.empty()) luminance = computeLuminance(source, steps);
    if (scales) {
        prepared.scales.reset();
        kept.clear();
        prepared.scales = computeScales(luminance, settings.filter, bits, steps);
    }
    if (chroma) prepared.chroma = computeChromaNoise(source, luminance, bits, steps);
    prepareMasks(recipe, maskOfLayer, steps);
}

void Development::State::prepareColours(Recipe& recipe) {
    colours.resize(1 + recipe.layers.size());
    for (std::size_t i = 0; i < colours.size(); ++i) {
        const Colour& wanted = i == 0 ? recipe.whole.colour : recipe.layers[i - 1].colour;
        if (colours[i] && colours[i]->isOf(wanted)) continue;
        const auto table = std::make_shared<ColourTable>();
        table->set(wanted);
        colours[i] = table;
    }
    recipe.colours = colours;
}

void Development::State::prepareMasks(const Recipe& recipe, int maskOfLayer, Steps& steps) {
    prepared.masks.resize(recipe.layers.size());
    painters.resize(recipe.layers.size());
    paintedMasks.resize(recipe.layers.size());
    for (std::size_t i = 0; i < recipe.layers.size(); ++i) {
        if (!maskMissing(recipe, i, maskOfLayer)) continue;
        if (!maskPicture) maskPicture = computeMaskPicture(source, steps);
        const Mask mask = settings.layers[i].mask;
        if (!painters[i]) painters[i] = std::make_unique<MaskPainter>(maskPicture, source.size());
        prepared.masks[i] = {painters[i]->paint(mask, steps), painters[i]->reduction()};
        paintedMasks[i] = mask;
        steps.done(1);
    }
}

}  // namespace kestrova::photo
