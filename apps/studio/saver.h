#pragma once

#include <QMutex>
#include <QObject>
#include <QThreadPool>
#include <deque>
#include <map>
#include <memory>
#include <string>

#include "studio/history.h"
#include "studio/journal.h"

namespace kestrova::studio {

/// Writes sidecars and histories in the background. The destructor waits until all is written.
class Saver : public QObject {
    Q_OBJECT

public:
    /// `folder`: of the histories; made when it is needed.
    explicit Saver(std::string folder, QObject* parent = nullptr);
    ~Saver() override;

    struct Job {
        std::string photograph;
        History history;
        bool keepBroken = false;    ///< a sidecar that cannot be read is renamed first
        std::string fingerprint{};  ///< of the photograph when it was tried first
    };
    /// Of jobs for one photograph that wait, the newest alone is done. One that fails is kept, and tried again with
    /// the next one and by `retry`.
    void save(Job job);
    void retry();
    /// Waits until all has been tried.
    void flush();

    /// The history of a photograph that is still to be written; empty if there is none.
    History pending(const std::string& photograph);
    /// What is on the disk of its settings and its history. Throws `photo::Error` for a sidecar that cannot be read.
    /// Puts aside what is remembered of another photograph under the same name.
    History stored(const std::string& photograph);
    /// Its history alone.
    History remembered(const std::string& photograph) { return recall(photograph).history; }
    /// What a picture of it shows without opening it: what is still to be written, else what its sidecar says, else
    /// what its history does where no sidecar could be written. On any thread; throws like `stored`, and changes
    /// nothing.
    photo::Settings latest(const std::string& photograph);
    /// Keeps the histories within their bound, in the background, and that of the photograph that is open in any case.
    void removeOldHistories(const std::string& open);
    bool isAllWritten();
    std::string journalOf(const std::string& photograph) const;

signals:
    void saved(QString photograph);
    void failed(QString photograph, QString text, QString details);

private:
    struct Recalled {
        History history;
        bool hadSidecar = false;  ///< that held the latest of it
    };

    Recalled recall(const std::string& photograph);
    Journal& journalAt(const std::string& path);
    void work();
    void write(const Job& job);
    void writeSidecar(const Job& job);
    void enqueue(Job job);
    void enqueueFailed();

    const std::string m_folder;
    QThreadPool m_pool;
    QMutex m_mutex;
    std::deque<Job> m_waiting;
    Job m_underWay;
    std::map<std::string, Job> m_failed;  ///< by their photographs
    QMutex m_journalsMutex;
    std::map<std::string, Journal> m_journals;  ///< by their paths
};

}  // namespace kestrova::studio
