#include "photo/development.h"

#include <omp.h>

#include <algorithm>

#include "photo/development_state.h"

namespace kestrova::photo {

Recipe recipeOf(const Settings& settings) {
    Recipe recipe{settings, {}, {}};
    for (const Layer& layer : settings.layers) recipe.layers.push_back(recipe.whole + layer.adjustments);
    return recipe;
}

bool needsScales(const Adjustments& adjustments) {
    Adjustments rest = adjustments;
    rest.colour = {};
    rest.noise.colour = 0;
    return rest != Adjustments();
}

bool needsChroma(const Adjustments& adjustments) { return adjustments.noise.colour > 0; }

Development::State::State(Photograph photograph, const Options& wanted)
    : options(wanted), source(std::move(photograph)), geometry(source.size(), settings) {
    if (options.threads < 0) throw Error(Error::Kind::programming, "a number of threads below 0");
    if (options.threads == 0) options.threads = omp_get_num_procs();
}

Development::Development(Photograph photograph, const Options& options)
    : m_state(translated([&] { return std::make_unique<State>(std::move(photograph), options); })) {}

Development::~Development() = default;
Development::Development(Development&&) noexcept = default;
Development& Development::operator=(Development&&) noexcept = default;

void Development::set(const Settings& settings) {
    settings.check();
    const Geometry geometry(m_state->source.size(), settings);
    const Settings& old = m_state->settings;
    const bool sameGeometry = old.rotate == settings.rotate && old.straighten == settings.straighten &&
                              old.crop == settings.crop && old.size == settings.size;
    if (!sameGeometry) m_state->kept.clear();
    m_state->settings = settings;
    m_state->geometry = geometry;
}

const Settings& Development::settings() const { return m_state->settings; }

cv::Size Development::size() const { return m_state->geometry.size(); }

Development::Rendering Development::render(const cv::Rect& view, int step, const Output& output, Control* control) {
    return translated([&] { return m_state->render(m_state->viewOf(view, step), output, control); });
}

Development::Rendering Development::render(const Output& output, Control* control) {
    return render({cv::Point(), size()}, 1, output, control);
}

std::size_t Development::memoryFor(cv::Size photograph, const Settings& settings, const Output& output,
                                   const Options& options) {
    constexpr double kPreparation = 10, kChroma = 3, kMask = 3;
    constexpr double kThread = 50e6;
    const double pixels = static_cast<double>(photograph.width) * photograph.height;
    const Recipe recipe = recipeOf(settings);
    double bytes = output.bits == 8 ? 4 : 8;
    if (any(recipe, needsScales)) bytes += kPreparation;
    if (any(recipe, needsChroma)) bytes += kChroma;
    bytes += kMask * static_cast<double>(recipe.layers.size());
    const int threads = options.threads > 0 ? options.threads : omp_get_num_procs();
    const double kept =
        std::min(static_cast<double>(options.keptForView), pixels * Chunk::bytesAPixel(recipe.layers.size()));
    return static_cast<std::size_t>(pixels * bytes + kThread * threads + kept);
}

}  // namespace kestrova::photo
