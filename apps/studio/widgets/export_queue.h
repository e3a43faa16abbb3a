#pragma once

#include <QAbstractTableModel>
#include <QThreadPool>
#include <memory>
#include <vector>

#include "photo/develop_file.h"

namespace kestrova::studio {

/// One photograph to be exported.
struct ExportJob {
    QString source;
    QString target;
    photo::Settings settings;
    photo::DevelopFileOptions options;
    bool replace = false;  ///< a target that is there when its turn comes, but never the source
};

/// Exports in the background, one after the other in the order in which they were added, each as `kestrova-develop`
/// does it. An export takes half of the processors unless its options name a number of threads: the other half is the
/// view's. The destructor cancels what is not done.
class ExportQueue : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column { SourceColumn, TargetColumn, StateColumn };
    enum Role { StateRole = Qt::UserRole, ProgressRole };  ///< a State; 0 to 1000
    enum class State { waiting, running, done, failed, cancelled };
    Q_ENUM(State)

    explicit ExportQueue(QObject* parent = nullptr);
    ~ExportQueue() override;

    void add(const ExportJob& job);
    void add(const std::vector<ExportJob>& jobs);
    void cancel(int row);
    void cancelAll();
    /// Takes away the rows of exports that are done, failed or cancelled.
    void clearFinished();

    State state(int row) const;
    bool isFinished(int row) const;
    int unfinished() const;
    bool isIdle() const { return unfinished() == 0; }

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

signals:
    void finished(const QString& source, const QString& target, kestrova::studio::ExportQueue::State state,
                  const QString& message, const QString& details);
    void unfinishedChanged(int unfinished);

private:
    struct Entry;

    void startNext();
    void run(const std::shared_ptr<Entry>& entry);
    void finish(const std::shared_ptr<Entry>& entry, State state, const QString& message);
    void announce(const std::shared_ptr<Entry>& entry);
    QString stateText(const Entry& entry) const;

    std::vector<std::shared_ptr<Entry>> m_entries;
    std::shared_ptr<Entry> m_running;
    QThreadPool m_pool;
};

}  // namespace kestrova::studio
