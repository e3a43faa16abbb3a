#pragma once

#include <QMutex>
#include <QThread>
#include <QWaitCondition>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "photo/control.h"
#include "photo/development.h"
#include "photo/error.h"
#include "studio/file_state.h"
#include "studio/frame.h"
#include "studio/held_step.h"

namespace kestrova::studio {

/// A thread that owns one Development: reads a photograph, prepares it and renders what is asked for, the newest
/// request alone. Its functions are called from the thread of the window and never wait, but for the destructor, which
/// waits for the thread to end; `retire` does not. Its signals come in the thread of the window, too: whoever takes a
/// worker over sees either its state or, later, the signal, and from one that is retired nothing comes any more.
class Worker : public QThread {
    Q_OBJECT

public:
    struct Options {
        int previewEdge = 0;  ///< reads a small picture with a longer side of about so many pixels; 0 for the whole
        int threads = 0;
        /// Fails with kind memory where reading and preparing would take more bytes; 0 for no limit. What is rendered
        /// afterwards may take more: by then somebody has opened the photograph.
        std::size_t memory = 0;
        photo::DetailFilter filter = photo::DetailFilter::guided;  ///< what to prepare for; previews are not prepared
    };
    Worker(const std::string& path, const Options& options);
    ~Worker() override;

    const std::string& path() const { return m_path; }
    const Options& options() const { return m_options; }
    bool isPrepared() const { return m_isPrepared; }
    /// Of its file before it was read; none until then.
    std::optional<FileState> fileState();
    QSize size() const { return m_size; }  ///< of the photograph; empty until it is loaded

    /// Cancels a fine rendering that is under way; a coarse one, which is short, is shown. Before the
    /// photograph is prepared nothing is rendered; the newest request only says for which view the preparation reads
    /// ahead what the first move of a slider needs.
    void request(const Request& request);
    /// Ends reading, preparation or rendering. What was not prepared then fails with kind cancelled.
    void cancel();
    /// Ends the thread and deletes this when it has ended.
    void retire();

signals:
    void loaded(QSize size, QStringList notes);
    void prepared();
    void progress(double share);  ///< of reading and preparing, and of renderings that take long
    void rendered(std::shared_ptr<const kestrova::studio::Frame> frame);
    void failed(int kind, QString text);

protected:
    void run() override;

private:
    void work();
    void inWindow(const std::function<void()>& change);
    void report(double share);
    void sayWhatFailed();
    void prepare(photo::Development& development);
    bool waitForRequest(Request& request);
    std::optional<Request> takeRequest();
    void renderAll(photo::Development& development, const Request& request);
    bool mayReadAhead();
    void readAhead(photo::Development& development, const Request& request);
    void readHeld(photo::Development& development, const Request& request);
    Frame frameFor(photo::Development& development, const Request& request, bool before);

    const std::string m_path;
    const Options m_options;

    QMutex m_mutex;
    QWaitCondition m_wake;
    std::optional<Request> m_pending;
    std::optional<FileState> m_file;
    std::shared_ptr<photo::Control> m_control;  ///< of what is under way
    bool m_runningIsFine = false;
    bool m_stop = false;

    // Of the thread.
    bool m_hasAlpha = false;
    HeldStep m_heldStep;

    // Of the thread of the window.
    bool m_isPrepared = false;
    QSize m_size;
};

}  // namespace kestrova::studio
