#include "studio/worker.h"

#include <QMutexLocker>
#include <algorithm>
#include <new>
#include <utility>

#include "photo/file_format.h"
#include "photo/read.h"
#include "studio/widgets/background.h"
#include "studio/widgets/pixels.h"

namespace kestrova::studio {

using photo::Development;
using photo::Error;

namespace {

constexpr double kReading = 0.3;         // share of the time until a photograph is prepared
constexpr double kNoPreviewBelow = 3e6;  // pixels: as soon read as their preview

/// Of the whole photograph, upright, as far as its file tells before it is decoded.
QSize wholeSize(const photo::FileFacts& facts, const cv::Size& preview) {
    if (facts.width == 0 || facts.height == 0) return {preview.width, preview.height};
    const QSize size(facts.width, facts.height);
    return (facts.width > facts.height) == (preview.width > preview.height) ? size : size.transposed();
}

photo::Settings whatSlidersNeed(photo::DetailFilter filter) {
    photo::Settings any;
    any.filter = filter;
    any.light.brightness = any.noise.colour = 0.01f;
    return any;
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

std::optional<FileState> Worker::fileState() {
    const QMutexLocker lock(&m_mutex);
    return m_file;
}

void Worker::request(const Request& request) {
    const QMutexLocker lock(&m_mutex);
    m_pending = request;
    if (m_runningIsFine) m_control->cancel();
    m_wake.wakeAll();
}

void Worker::run() {
    standBack(Background::view);
    try {
        work();
    } catch (...) {
        sayWhatFailed();
    }
}

void Worker::inWindow(const std::function<void()>& change) {
    QMetaObject::invokeMethod(this, change, Qt::QueuedConnection);
}

void Worker::report(double share) {
    inWindow([this, share] { emit progress(share); });
}

/// Of the exception that is being handled.
void Worker::sayWhatFailed() {
    const auto say = [this](Error::Kind kind, const QString& text) {
        inWindow([this, kind, text] { emit failed(static_cast<int>(kind), text); });
    };
    try {
        throw;
    } catch (const Error& error) {
        say(error.kind(), fileName(std::string(error.what())));
    } catch (const std::bad_alloc&) {
        say(Error::Kind::memory, tr("There is not enough memory."));
    } catch (const std::exception& error) {
        say(Error::Kind::programming, QString::fromUtf8(error.what()));
    }
}

void Worker::work() {
    report(0);
    {
        const FileState file = stateOf(m_path);
        const QMutexLocker lock(&m_mutex);
        m_file = file;
    }
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
    report(kReading);

    Development::Options bounds;
    bounds.threads = m_options.threads;
    const std::size_t own = photograph.pixels.total() * photograph.pixels.elemSize();
    if (m_options.memory &&
        own + Development::memoryFor(size, whatSlidersNeed(m_options.filter), {}, bounds) > m_options.memory)
        throw Error(Error::Kind::memory, "the photograph needs more memory than the limit allows");
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

    for (Request request; waitForRequest(request);) {
        renderAll(development, request);
        if (!preview && !request.held && request.view.after) readAhead(development, request);
    }
}

/// Makes the planes that the sliders need, before one moves.
void Worker::prepare(Development& development) {
    development.set(whatSlidersNeed(m_options.filter));
    m_control->progress = [this, shown = 0.0](double share) mutable {
        if (share < shown + 0.01) return;
        shown = share;
        report(kReading + (1 - kReading) * share);
    };
    development.render({0, 0, 1, 1}, 1, {}, m_control.get());
    try {
        if (const std::optional<Request> request = takeRequest()) readHeld(development, *request);
    } catch (const std::exception&) {  // what is wrong with it is said when it is rendered
    }
    report(1);
}

std::optional<Request> Worker::takeRequest() {
    const QMutexLocker lock(&m_mutex);
    return std::exchange(m_pending, {});
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

}  // namespace kestrova::studio
