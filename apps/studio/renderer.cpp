#include "studio/renderer.h"

#include "photo/placement.h"

namespace kestrova::studio {

Renderer::Renderer(const Options& options, QObject* parent)
    : QObject(parent), m_options(options), m_settings(std::make_shared<const photo::Settings>()) {
    m_rest.setSingleShot(true);
    m_rest.setInterval(kRest);
    connect(&m_rest, &QTimer::timeout, this, [this] { submit(false); });
}

Renderer::~Renderer() {
    close();
    for (const QPointer<Worker>& worker : m_retired) delete worker.data();
}

void Renderer::retire(QPointer<Worker>& worker) {
    if (!worker) return;
    worker->retire();
    m_retired.removeAll(nullptr);
    m_retired << worker;
    worker.clear();
}

void Renderer::close() {
    closePhotograph();
    retire(m_next);
    m_nextPath.clear();
}

void Renderer::closePhotograph() {
    retire(m_preview);
    retire(m_full);
    m_size = {};
    m_beforeShown.reset();
    m_beforeAsked.reset();
    m_settled = false;
    m_rest.stop();
}

void Renderer::open(const std::string& path, std::shared_ptr<const photo::Settings> settings, const FileState& file) {
    // One that has not looked at the file yet reads what is there now, or later.
    const auto isOfThatFile = [&](const std::optional<FileState>& read) { return !read || *read == file; };
    QPointer<Worker> ready;
    if (m_next && m_next->path() == path && m_next->options().filter == settings->filter && m_next->isRunning() &&
        isOfThatFile(m_next->fileState()))
        std::swap(ready, m_next);
    close();
    m_settings = std::move(settings);
    if (ready) {
        ready->disconnect(this);
        m_full = ready;
    } else {
        m_full = new Worker(path, {0, m_options.threads, 0, m_settings->filter});
    }
    if (!m_full->isPrepared()) {
        m_preview = new Worker(path, {m_options.previewEdge, m_options.threads, 0, m_settings->filter});
        adopt(m_preview);
    }
    adopt(m_full);
    if (!m_full->size().isEmpty()) {
        m_size = m_full->size();
        emit sizeKnown(m_size);
    }
    if (m_full->isPrepared()) {
        emit prepared();
        submit(false);
    }
}

void Renderer::adopt(Worker* worker) {
    const bool preview = worker == m_preview;
    connect(worker, &Worker::loaded, this, [this, preview](QSize size, const QStringList& notes) {
        if (!preview && !notes.isEmpty()) emit noted(notes);
        if (size == m_size) return;
        m_size = size;
        emit sizeKnown(size);
    });
    connect(worker, &Worker::prepared, this, [this, preview] {
        if (!preview) retire(m_preview);
        if (!preview) emit prepared();
        submit(false);
    });
    connect(worker, &Worker::rendered, this, [this, preview](const auto& frame) {
        if (!preview || !isPrepared()) show(frame);
    });
    if (!preview) {
        connect(worker, &Worker::progress, this, &Renderer::progress);
        connect(worker, &Worker::failed, this, &Renderer::sayOrReadAnew);
    }
    if (!worker->isRunning() && !worker->isFinished()) worker->start();
}

/// What was too large to be prepared ahead is read anew, now that it is open.
void Renderer::sayOrReadAnew(int kind, const QString& text) {
    const bool wasBounded = m_full->options().memory > 0 && !m_full->isPrepared();
    if (!wasBounded || kind != static_cast<int>(photo::Error::Kind::memory)) {
        emit failed(kind, text);
        return;
    }
    const std::string path = m_full->path();
    retire(m_full);
    m_full = new Worker(path, {0, m_options.threads, 0, m_settings->filter});
    adopt(m_full);
}

void Renderer::prefetch(const std::string& path) {
    if (path == m_nextPath) return;
    m_nextPath = path;
    retire(m_next);
    if (m_settled) startNext();
}

void Renderer::startNext() {
    if (m_nextPath.empty() || m_next) return;
    m_next = new Worker(m_nextPath, {0, m_options.threads, m_options.prefetchMemory, m_settings->filter});
    // Whatever is wrong with it is said when it is opened.
    connect(m_next, &Worker::failed, this, [this] {
        retire(m_next);
        m_nextPath.clear();
    });
    m_next->start();
}

void Renderer::cancelPreparation() {
    if (m_full && !m_full->isPrepared()) m_full->cancel();
}

void Renderer::setSettings(std::shared_ptr<const photo::Settings> settings, bool held) {
    m_settings = std::move(settings);
    change(held);
}

void Renderer::setView(const ViewState& view, bool moving) {
    if (view == m_view && m_settled) return;
    m_view = view;
    change(moving);
}

void Renderer::setScreen(const photo::Profile& profile) {
    if (profile == m_screen) return;
    m_screen = profile;
    m_beforeShown.reset();
    change(false);
}

void Renderer::change(bool moving) {
    if (moving) {
        m_rest.start();
        submit(true);
    } else {
        m_rest.stop();
        submit(false);
    }
}

QSizeF Renderer::whole() const {
    if (m_size.isEmpty()) return {};
    photo::Settings settings = *m_settings;
    if (m_view.cropping) {
        settings.crop = {};
        settings.size = 0;
    }
    const cv::Size size = photo::Placement({m_size.width(), m_size.height()}, settings).size();
    return QSizeF(size.width, size.height);
}

Renderer::BeforeKey Renderer::beforeKey(const Worker* worker) const {
    BeforeKey key{m_view, {}, worker};
    key.view.after = true;
    key.view.darkClipping = key.view.brightClipping = false;
    key.view.maskOfLayer = -1;
    key.geometry = key.geometry.placedAs(*m_settings);
    return key;
}

void Renderer::submit(bool held) {
    m_settled = false;
    if (m_view.area.isEmpty() || m_size.isEmpty()) return;
    Worker* worker = isPrepared() ? m_full : m_preview && m_preview->isPrepared() ? m_preview : nullptr;
    Request request;
    request.generation = ++m_generation;
    request.settings = m_settings;
    request.whole = whole();
    request.view = m_view;
    request.held = held;
    request.screen = m_screen;
    if (m_full && !isPrepared()) m_full->request(request);
    if (!worker) return;
    if (m_view.before) {
        const BeforeKey key = beforeKey(worker);
        if (m_beforeShown && *m_beforeShown == key)
            request.view.before = false;
        else if (!held)
            m_beforeAsked = key;
    }
    if (!request.view.before && !request.view.after) {
        m_settled = !held;
        return;
    }
    worker->request(request);
}

void Renderer::show(const std::shared_ptr<const Frame>& frame) {
    if (frame->generation == m_generation && frame->fine) {
        if (frame->before) m_beforeShown = m_beforeAsked;
        m_settled = frame->before || !m_view.before || (m_beforeShown && *m_beforeShown == beforeKey(m_full));
    }
    emit frameReady(frame);
    if (isSettled()) startNext();
}

}  // namespace kestrova::studio
