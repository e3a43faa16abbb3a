#include <QElapsedTimer>
#include <QMutexLocker>

#include "studio/frame_plan.h"
#include "studio/worker.h"

namespace kestrova::studio {

using photo::Development;
using photo::Error;

namespace {

constexpr qint64 kLong = 150;  // milliseconds after which progress is shown

photo::Settings withoutAdjustments(const photo::Settings& settings) {
    photo::Settings none;
    none.filter = settings.filter;
    return none.placedAs(settings);
}

}  // namespace

void Worker::renderAll(Development& development, const Request& request) {
    QElapsedTimer timer;
    timer.start();
    bool shown = false;
    m_control->progress = [&](double share) {
        if (timer.elapsed() < kLong) return;
        shown = true;
        report(share);
    };
    const auto show = [&](bool before) {
        inWindow([this, frame = std::make_shared<const Frame>(frameFor(development, request, before))] {
            emit rendered(frame);
        });
    };
    try {
        if (request.view.after) show(false);
        if (request.view.before) show(true);
    } catch (const Error& error) {
        if (error.kind() != Error::Kind::cancelled) sayWhatFailed();
    } catch (...) {
        sayWhatFailed();
    }
    if (shown) report(1);
}

/// False if somebody waits.
bool Worker::mayReadAhead() {
    const QMutexLocker lock(&m_mutex);
    if (m_pending || m_stop) return false;
    m_control = std::make_shared<photo::Control>();
    return true;
}

/// Reads what held frames need, then what the first stroke needs besides.
void Worker::readAhead(Development& development, const Request& request) {
    m_heldStep.adapt();
    try {
        if (!mayReadAhead()) return;
        readHeld(development, request);
        const HeldStep learned = m_heldStep;
        photo::Settings settings = *request.settings;
        if (settings.layers.empty()) settings.layers.resize(1);
        settings.layers[0].adjustments.light.shadows +=
            settings.layers[0].adjustments.light.shadows > 0 ? -0.01f : 0.01f;
        Request painted = request;
        painted.settings = std::make_shared<const photo::Settings>(settings);
        if (mayReadAhead()) readHeld(development, painted);
        m_heldStep = learned;
    } catch (const std::exception&) {  // cancelled; what is wrong is said when somebody waits
    }
}

/// Reads what held frames need.
void Worker::readHeld(Development& development, const Request& request) {
    photo::Settings settings = *request.settings;
    float& any = settings.light.brightness;  // settings that ask for nothing need nothing
    any += any > 0 ? -0.01f : 0.01f;
    if (settings.noise.colour == 0) settings.noise.colour = 0.01f;
    Request held = request;
    held.settings = std::make_shared<const photo::Settings>(settings);
    held.held = true;
    frameFor(development, held, false);
}

Frame Worker::frameFor(Development& development, const Request& request, bool before) {
    photo::Settings settings = before ? withoutAdjustments(*request.settings) : *request.settings;
    if (request.view.cropping) {
        settings.crop = {};
        settings.size = 0;
    }
    development.set(settings);

    const FramePlan plan(request, development.size());
    const int finest = plan.finestStep();
    const int step = request.held ? m_heldStep.stepFor(request.view, finest, plan.pixels()) : finest;
    const cv::Rect view = plan.viewAt(step);
    Development::Output output;
    output.profile = request.screen;
    if (!before) output.maskOfLayer = request.view.maskOfLayer;
    QElapsedTimer timer;
    timer.start();
    const Development::Rendering rendering = development.render(view, step, output, m_control.get());
    if (request.held && !before)
        m_heldStep.learn(static_cast<double>(timer.nsecsElapsed()) / 1e6,
                         static_cast<double>(rendering.pixels.total()));

    return frameOf(request, before, plan.areaOf(view, step, rendering.pixels.size()), rendering.pixels, rendering.mask,
                   m_hasAlpha);
}

}  // namespace kestrova::studio
