#pragma once

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <optional>

#include "studio/frame.h"
#include "studio/worker.h"

namespace kestrova::studio {

/// Shows a photograph that is developed: from the first preview on, while it is prepared, and after each change of the
/// settings or of the view. Lives in the thread of the window and leaves all work to its workers. While sliders or the
/// view move it asks for coarse frames where fine ones would be late, and for the fine one when they rest.
class Renderer : public QObject {
    Q_OBJECT

public:
    static constexpr int kRest = 50;  ///< milliseconds without a move

    struct Options {
        int threads = 0;
        int previewEdge = 1600;
        std::size_t prefetchMemory = std::size_t{12} << 27;  ///< what a photograph that is prepared ahead may take
    };
    explicit Renderer(const Options& options, QObject* parent = nullptr);
    ~Renderer() override;

    /// `file`: as it is now; what was prepared ahead of another state of it is read anew.
    void open(const std::string& path, std::shared_ptr<const photo::Settings> settings, const FileState& file);
    void close();
    void closePhotograph();  ///< but keeps what is prepared ahead
    /// Prepares this photograph when the open one is done; an empty path takes it back.
    void prefetch(const std::string& path);
    /// Ends preparation: what is there of a preview stays.
    void cancelPreparation();

    void setSettings(std::shared_ptr<const photo::Settings> settings, bool held);
    void setView(const ViewState& view, bool moving);
    void setScreen(const photo::Profile& profile);

    /// Of the photograph; empty until it is known.
    QSize photographSize() const { return m_size; }
    /// Of the whole rendering with these settings, as `view().cropping` shows it.
    QSizeF whole() const;
    const ViewState& view() const { return m_view; }
    bool isPrepared() const { return m_full && m_full->isPrepared(); }
    /// Whether the newest request has been answered by a fine frame of the prepared photograph.
    bool isSettled() const { return isPrepared() && m_settled; }

signals:
    void sizeKnown(QSize size);
    void prepared();
    void noted(QStringList notes);
    void progress(double share);
    void frameReady(std::shared_ptr<const kestrova::studio::Frame> frame);
    void failed(int kind, QString text);

private:
    struct BeforeKey {
        ViewState view;
        photo::Settings geometry;
        const Worker* worker = nullptr;
        bool operator==(const BeforeKey& o) const {
            return view == o.view && geometry == o.geometry && worker == o.worker;
        }
    };

    void adopt(Worker* worker);
    void sayOrReadAnew(int kind, const QString& text);
    void retire(QPointer<Worker>& worker);
    void startNext();
    void change(bool moving);
    void submit(bool held);
    void show(const std::shared_ptr<const Frame>& frame);
    BeforeKey beforeKey(const Worker* worker) const;

    const Options m_options;
    QPointer<Worker> m_preview, m_full, m_next;
    QList<QPointer<Worker>> m_retired;
    std::string m_nextPath;
    QSize m_size;
    std::shared_ptr<const photo::Settings> m_settings;
    ViewState m_view;
    photo::Profile m_screen;
    QTimer m_rest;
    quint64 m_generation = 0;
    bool m_settled = false;
    std::optional<BeforeKey> m_beforeAsked, m_beforeShown;
};

}  // namespace kestrova::studio
