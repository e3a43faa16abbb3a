#include "studio/worker.h"

#include <QElapsedTimer>
#include <QMutexLocker>
#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "photo/file_format.h"
#include "photo/read.h"

namespace kestrova::studio {

using photo::Development;
using photo::Error;

namespace {

constexpr double kReading = 0.3;           // share of the time until a photograph is prepared
constexpr double kNoPreviewBelow = 3e6;    // pixels: as soon read as their preview
constexpr double kHeldNanoseconds = 18e6;  // what a rendering may take while a slider is held
constexpr int kCoarsest = 4;               // times the finest step
constexpr qint64 kLong = 150;              // milliseconds after which progress is shown

/// What of the settings chooses the view and changes nothing in it.
photo::Settings geometryOf(const photo::Settings& settings) {
    photo::Settings geometry;
    geometry.filter = settings.filter;
    geometry.rotate = settings.rotate;
    geometry.straighten = settings.straighten;
    geometry.crop = settings.crop;
    geometry.size = settings.size;
    return geometry;
}

/// At which no pixel of the screen lacks one of the rendering.
int finestStep(double zoom) { return std::max(1, static_cast<int>(1 / zoom + 1e-6)); }

/// Of the whole photograph, upright, as far as its file tells before it is decoded.
QSize wholeSize(const photo::FileFacts& facts, const cv::Size& preview) {
    if (facts.width == 0 || facts.height == 0) return {preview.width, preview.height};
    const QSize size(facts.width, facts.height);
    return (facts.width > facts.height) == (preview.width > preview.height) ? size : size.transposed();
}

}  // namespace

Worker::Worker(const std::string& path, const Options& options) : m_path(path), m_options(options) {
    m_control = std::make_shared<photo::Control>();
}

Worker::~Worker() {
    {
        const QMutexLocker lock(&m_mutex);
        m_stop = true;
        m_control->cancel();
        m_wake.wakeAll();
    }
    wait();
}

void Worker::cancel() {
    const QMutexLocker lock(&m_mutex);
    m_control->cancel();
}

void Worker::retire() {
    disconnect(this, nullptr, nullptr, nullptr);
    connect(this, &QThread::finished, this, &QObject::deleteLater);
    const QMutexLocker lock(&m_mutex);
    m_stop = true;
    m_control->cancel();
    m_wake.wakeAll();
    if (isFinished()) deleteLater();
}

void Worker::request(const Request& request) {
    const QMutexLocker lock(&m_mutex);
    m_pending = request;
    if (m_runningIsFine) m_control->cancel();
    m_wake.wakeAll();
}

void Worker::run() {
    try {
        work();
    } catch (const Error& error) {
        fail(error.kind(), QString::fromStdString(error.what()));
    } catch (const std::bad_alloc&) {
        fail(Error::Kind::memory, tr("There is not enough memory."));
    } catch (const std::exception& error) {
        fail(Error::Kind::programming, QString::fromUtf8(error.what()));
    }
}

/// Whoever takes this over sees either the state or, later, the signal: both change in the thread of the window.
void Worker::inWindow(const std::function<void()>& change) {
    QMetaObject::invokeMethod(this, change, Qt::QueuedConnection);
}

void Worker::fail(Error::Kind kind, const QString& text) {
    inWindow([this, kind, text] { emit failed(static_cast<int>(kind), text); });
}

void Worker::work() {
    emit progress(0);
    const photo::FileFacts facts = photo::examineFile(m_path);
    const bool preview = m_options.previewEdge > 0;
    const double declared = static_cast<double>(facts.width) * facts.height;
    if (preview && declared > 0 && declared < kNoPreviewBelow) return;

    photo::ReadOptions reading;
    reading.threads = m_options.threads;
    reading.maxMemory = m_options.memory;
    reading.cancel = m_control->flag();
    photo::Photograph photograph =
        preview ? photo::readPreview(m_path, m_options.previewEdge, reading) : photo::readPhotograph(m_path, reading);
    m_hasAlpha = photograph.hasAlpha;
    const cv::Size size = photograph.pixels.size();
    QStringList notes;
    for (const std::string& note : photograph.notes) notes << QString::fromStdString(note);
    emit progress(kReading);

    Development::Options bounds;
    bounds.threads = m_options.threads;
    const std::size_t own = photograph.pixels.total() * photograph.pixels.elemSize();
    if (m_options.memory) bounds.mostMemory = m_options.memory > own ? m_options.memory - own : 1;
    Development development(std::move(photograph), bounds);
    inWindow([this, notes, whole = preview ? wholeSize(facts, size) : QSize(size.width, size.height)] {
        m_size = whole;
        emit loaded(whole, notes);
    });
    if (!preview) prepare(development);
    inWindow([this] {
        m_isPrepared = true;
        emit prepared();
    });

    for (Request request; waitForRequest(request);) renderAll(development, request);
}

/// Makes the planes that the sliders need, before one moves.
void Worker::prepare(Development& development) {
    photo::Settings anyLight;
    anyLight.filter = m_options.filter;
    anyLight.light.brightness = 0.01f;
    development.set(anyLight);
    m_control->progress = [this, shown = 0.0](double share) mutable {
        if (share < shown + 0.01) return;
        shown = share;
        emit progress(kReading + (1 - kReading) * share);
    };
    development.render({0, 0, 1, 1}, 1, {}, m_control.get());
    emit progress(1);
}

bool Worker::waitForRequest(Request& request) {
    const QMutexLocker lock(&m_mutex);
    m_runningIsFine = false;
    while (!m_pending && !m_stop) m_wake.wait(&m_mutex);
    if (m_stop) return false;
    request = *m_pending;
    m_pending.reset();
    m_control = std::make_shared<photo::Control>();
    m_runningIsFine = !request.held;
    return true;
}

void Worker::renderAll(Development& development, const Request& request) {
    QElapsedTimer timer;
    timer.start();
    bool shown = false;
    m_control->progress = [&](double share) {
        if (timer.elapsed() < kLong) return;
        shown = true;
        emit progress(share);
    };
    try {
        if (request.view.after) emit rendered(std::make_shared<const Frame>(frameFor(development, request, false)));
        if (request.view.before) emit rendered(std::make_shared<const Frame>(frameFor(development, request, true)));
    } catch (const Error& error) {
        if (error.kind() != Error::Kind::cancelled) fail(error.kind(), QString::fromStdString(error.what()));
    }
    if (shown) emit progress(1);
}

/// How coarse a frame has to be to follow a slider: estimated for a new view, then learned.
int Worker::stepFor(const Request& request, double zoom, double pixels) {
    const int finest = finestStep(zoom);
    if (!request.held) return finest;
    if (m_heldStep < finest || m_heldView.area != request.view.area || m_heldView.zoom != request.view.zoom) {
        m_heldView = request.view;
        m_heldPlanes = false;
        const double times = std::sqrt(m_nanosecondsPerPixel * pixels / kHeldNanoseconds);
        m_heldStep = std::clamp(static_cast<int>(std::ceil(times)), finest, kCoarsest * finest);
    }
    return m_heldStep;
}

void Worker::learn(int step, int finest, double milliseconds, double pixels) {
    // Another step has to read the photograph again: only for what lasts.
    constexpr double kTooLate = 40, kEarly = 3;  // milliseconds
    constexpr int kLasts = 3;                    // frames
    if (!std::exchange(m_heldPlanes, true)) return;
    m_nanosecondsPerPixel = 1e6 * milliseconds / pixels;
    m_late = milliseconds > kTooLate && step < kCoarsest * finest ? m_late + 1 : 0;
    m_early = milliseconds < kEarly && step > finest ? m_early + 1 : 0;
    if (m_late < kLasts && m_early < kLasts) return;
    m_heldStep += m_late >= kLasts ? 1 : -1;
    m_late = m_early = 0;
    m_heldPlanes = false;
}

Frame Worker::frameFor(Development& development, const Request& request, bool before) {
    QElapsedTimer timer;
    timer.start();
    photo::Settings settings = before ? geometryOf(*request.settings) : *request.settings;
    if (request.view.cropping) {
        settings.crop = {};
        settings.size = 0;
    }
    development.set(settings);

    // A preview has fewer pixels than the whole that the request speaks of.
    const cv::Size size = development.size();
    const double fx = size.width / request.whole.width(), fy = size.height / request.whole.height();
    const double zoom = request.view.zoom / fx;
    const QRectF wanted(request.view.area.x() * fx, request.view.area.y() * fy, request.view.area.width() * fx,
                        request.view.area.height() * fy);
    const int step = stepFor(request, zoom, wanted.width() * wanted.height());
    const auto side = [step](double from, double to, int limit, int& first, int& length) {
        first = std::clamp(static_cast<int>(std::floor(from)), 0, limit - 1) / step * step;
        const int end = std::clamp(static_cast<int>(std::ceil(to)), first + 1, limit);
        length = std::min((end - first + step - 1) / step * step, limit - first);
    };
    cv::Rect view;
    side(wanted.left(), wanted.right(), size.width, view.x, view.width);
    side(wanted.top(), wanted.bottom(), size.height, view.y, view.height);
    Development::Output output;
    output.profile = request.screen;
    if (!before) output.maskOfLayer = request.view.maskOfLayer;
    const double begin = static_cast<double>(timer.nsecsElapsed());
    const Development::Rendering rendering = development.render(view, step, output, m_control.get());
    if (request.held && !before)
        learn(step, finestStep(zoom), (static_cast<double>(timer.nsecsElapsed()) - begin) / 1e6,
              static_cast<double>(rendering.pixels.total()));

    // The last pixels of a side that is no multiple of the step are not in the rendering: the ones before stand for
    // them.
    const auto endOf = [step](int first, int count, int limit) {
        const int end = first + count * step;
        return limit - end < step ? limit : end;
    };
    Frame frame;
    frame.generation = request.generation;
    frame.whole = request.whole;
    frame.zoom = request.view.zoom;
    frame.before = before;
    frame.fine = !request.held;
    const double right = endOf(view.x, rendering.pixels.cols, size.width) / fx;
    const double bottom = endOf(view.y, rendering.pixels.rows, size.height) / fy;
    frame.area = QRectF(QPointF(view.x / fx, view.y / fy), QPointF(right, bottom));
    const QSize onScreen(qRound(frame.area.width() * frame.zoom), qRound(frame.area.height() * frame.zoom));
    const cv::Mat pixels = atScreenSize(rendering.pixels, onScreen);
    frame.image = imageOf(pixels, m_hasAlpha);
    const bool clipping = request.view.darkClipping || request.view.brightClipping;
    if (!before && (clipping || !rendering.mask.empty())) {
        const cv::Mat mask = rendering.mask.empty() ? rendering.mask : atScreenSize(rendering.mask, onScreen);
        frame.overlay = overlayOf(pixels, mask, request.view);
    }
    frame.milliseconds = static_cast<double>(timer.nsecsElapsed()) / 1e6;
    return frame;
}

}  // namespace kestrova::studio
