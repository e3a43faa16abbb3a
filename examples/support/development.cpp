#include "development.h"

#include <algorithm>
#include <string>

#include "refusal.h"

namespace {

/// The engine's rectangle of the settings' view: origin in pixels of the picture, size in pixels of the result.
cv::Rect rectangleOf(const Settings& settings, const TPImage& picture) {
    const cv::Rect whole(0, 0, picture.width(), picture.height());
    const cv::Rect view = settings.view.value_or(whole);
    const auto size = [](int width, int height) { return std::to_string(width) + "x" + std::to_string(height); };
    if (view.width > whole.width - view.x || view.height > whole.height - view.y)
        throw Refusal("the view " + size(view.width, view.height) + " at " + std::to_string(view.x) + "," +
                      std::to_string(view.y) + " reaches beyond the picture of " + size(whole.width, whole.height));
    const cv::Rect rectangle(view.x, view.y, view.width / settings.step, view.height / settings.step);
    if (rectangle.width < 1 || rectangle.height < 1)
        throw Refusal("a step of " + std::to_string(settings.step) + " leaves nothing of " +
                      size(view.width, view.height) + " pixels");
    return rectangle;
}

/// A prepared engine for the picture: once per picture, the long part of the work.
TVelline prepareEngine(const TPImage& picture, DetailFilter filter, TProgress& progress) {
    progress.start(0.25f);
    const DetailPlanes detail = computeDetailPlanes(picture.m_Y, filter, progress);
    proceed(progress.end());

    TVelline engine;
    progress.start(0.5f);
    proceed(
        engine.setup(picture.m_Y, detail.small, detail.medium, detail.large, picture.m_Dr, picture.m_Db, &progress));
    proceed(progress.end());
    // The chroma has been enlarged along the edges of the luminance itself. What the engine adds the details to is the
    // luminance without them.
    engine.m_Y = detail.base;
    return engine;
}

/// Preparing the engine has marked everything as changed; a host that sets parameters again sets their flags too.
void setParameters(TVelline& engine, const Settings& settings) {
    std::copy_n(settings.strengths, 9, engine.m_k);
    std::copy_n(settings.thresholds, 9, engine.m_t);
    std::copy_n(settings.light, 6, engine.m_light);
    std::copy_n(settings.mix, 3, engine.m_mix);
}

/// The engine smooths its details for a coarse step; all that is sampled beside them has to be smoothed like them.
cv::Mat sample(const cv::Mat& plane, const TVelline& engine) {
    const cv::Rect& r = engine.m_roi;
    const bool smooth = engine.m_level > engine.m_maxPlainLevel;
    return TPImage::MatRoi(plane, r.x, r.y, r.width, r.height, engine.m_level, false, smooth);
}

/// The same of a half-size chroma plane, enlarged along the edges of luminance.
cv::Mat sampleChroma(const TPImage& picture, const cv::Mat& half, const TVelline& engine) {
    cv::Mat full;
    upSize2XGuidedByYSimple(picture.m_Y, half, full);
    return sample(full, engine);
}

/// Lets chroma follow the change of luminance, and adjusts its colour.
void adjustColour(const Settings& settings, const cv::Mat& before, const cv::Mat& after, cv::Mat& dr, cv::Mat& db) {
    TColorAdjVL colour;
    colour.m_temperature = settings.temperature;
    colour.m_tint = settings.tint;
    colour.m_saturation = settings.saturation;
    colour.m_vibrance = settings.vibrance;
    // Without a change the colour table stays the identity.
    colour.m_bChanged =
        settings.temperature != 0 || settings.tint != 0 || settings.saturation != 0 || settings.vibrance != 0;
    cv::Mat drOut, dbOut;
    colour.proc(before, after, dr, db, drOut, dbOut);
    dr = drOut;
    db = dbOut;
}

}  // namespace

Developed develop(const TPImage& picture, const Settings& settings, TProgress& progress) {
    const cv::Rect view = rectangleOf(settings, picture);
    TVelline engine = prepareEngine(picture, settings.detail, progress);

    setParameters(engine, settings);
    engine.proc(view, settings.step, cv::Mat());
    proceed(progress.prog(85, 100));

    const cv::Mat before = sample(picture.m_Y, engine);
    const cv::Mat& after = engine.getRoiY();
    cv::Mat dr = sampleChroma(picture, picture.m_Dr, engine);
    cv::Mat db = sampleChroma(picture, picture.m_Db, engine);
    adjustColour(settings, before, after, dr, db);
    proceed(progress.prog(90, 100));

    Developed out{dr, cv::Mat(after.size(), CV_16UC1), db};
    TPImage::YDRDB2RGB(after, dr, db, out.red, out.green, out.blue);
    proceed(progress.prog(95, 100));
    return out;
}
