#include "studio/widgets/export_queue.h"

#include <QDir>
#include <QFileInfo>
#include <QThread>
#include <algorithm>
#include <filesystem>

#include "photo/error.h"
#include "studio/widgets/background.h"
#include "studio/widgets/file_troubles.h"
#include "studio/widgets/pixels.h"

namespace kestrova::studio {

namespace {

constexpr int kWhole = 1000, kSmallestReport = 5;

/// The layer's messages begin with the file that they are about.
const QString& fileOf(const QString& message, const ExportJob& job) {
    return message.startsWith(job.target + ": ") ? job.target : job.source;
}

}  // namespace

struct ExportQueue::Entry {
    explicit Entry(const ExportJob& j) : job(j) {}

    const ExportJob job;
    State state = State::waiting;
    int progress = 0;
    QString message;  // why it failed, or what the file does not hold
    QString details;  // of a failure, for a programmer
    photo::Control control;
};

ExportQueue::ExportQueue(QObject* parent) : QAbstractTableModel(parent) { m_pool.setMaxThreadCount(1); }

ExportQueue::~ExportQueue() {
    for (const auto& entry : m_entries) entry->control.cancel();
    m_pool.waitForDone();
}

void ExportQueue::add(const ExportJob& job) { add(std::vector<ExportJob>{job}); }

void ExportQueue::add(const std::vector<ExportJob>& jobs) {
    if (jobs.empty()) return;
    const int first = rowCount();
    beginInsertRows({}, first, first + static_cast<int>(jobs.size()) - 1);
    for (const ExportJob& job : jobs) m_entries.push_back(std::make_shared<Entry>(job));
    endInsertRows();
    emit unfinishedChanged(unfinished());
    startNext();
}

void ExportQueue::startNext() {
    if (m_running) return;
    const auto next = std::find_if(m_entries.begin(), m_entries.end(),
                                   [](const auto& entry) { return entry->state == State::waiting; });
    if (next == m_entries.end()) return;
    m_running = *next;
    m_running->state = State::running;
    announce(m_running);
    m_pool.start([this, entry = m_running] { run(entry); });
}

// On the pool's thread: touches nothing of the entry but its job and its control.
void ExportQueue::run(const std::shared_ptr<Entry>& entry) {
    standBack(Background::exporting);
    const ExportJob& job = entry->job;
    entry->control.progress = [this, entry, reported = 0](double share) mutable {
        const int progress = static_cast<int>(share * kWhole);
        if (progress < reported + kSmallestReport) return;
        reported = progress;
        QMetaObject::invokeMethod(this, [this, entry, progress] {
            entry->progress = progress;
            announce(entry);
        });
    };
    State state = State::done;
    QString message, details;
    try {
        const std::string source = fileName(job.source), target = fileName(job.target);
        std::error_code none;
        if (std::filesystem::equivalent(source, target, none))
            throw photo::Error(photo::Error::Kind::input, target + ": is the original, which is never replaced");
        QStringList notes;
        if (!job.replace && std::filesystem::exists(target, none))
            throw photo::Error(photo::Error::Kind::input, target + ": is there already");
        photo::DevelopFileOptions options = job.options;
        if (!options.threads) options.threads = std::max(1, QThread::idealThreadCount() / 2);
        const auto develop = job.replace ? photo::developFile : photo::developToNewFile;
        for (const std::string& note : develop(source, job.settings, target, options, &entry->control).notes)
            notes << fileName(note);
        message = notes.join('\n');
    } catch (const photo::Error& error) {
        state = error.kind() == photo::Error::Kind::cancelled ? State::cancelled : State::failed;
        details = fileName(std::string(error.what()));
        message = sentenceOf(error.kind(), details, fileOf(details, job));
    } catch (const std::bad_alloc&) {
        state = State::failed;
        message = sentenceOf(photo::Error::Kind::memory, {}, job.source);
    } catch (const std::exception& error) {
        state = State::failed;
        details = fileName(std::string(error.what()));
        message = sentenceOf(photo::Error::Kind::programming, details, job.source);
    }
    entry->control.progress = nullptr;
    QMetaObject::invokeMethod(this, [this, entry, state, message, details] {
        m_running.reset();
        entry->details = details;
        finish(entry, state, message);
        startNext();
    });
}

void ExportQueue::finish(const std::shared_ptr<Entry>& entry, State state, const QString& message) {
    entry->state = state;
    entry->message = message;
    announce(entry);
    emit finished(entry->job.source, entry->job.target, state, message, entry->details);
    emit unfinishedChanged(unfinished());
}

void ExportQueue::cancel(int row) {
    const auto entry = m_entries.at(static_cast<std::size_t>(row));
    if (entry->state == State::waiting)
        finish(entry, State::cancelled, {});
    else if (entry->state == State::running)
        entry->control.cancel();
}

void ExportQueue::cancelAll() {
    for (int row = rowCount() - 1; row >= 0; --row) cancel(row);
}

void ExportQueue::clearFinished() {
    for (int row = rowCount() - 1; row >= 0; --row) {
        if (!isFinished(row)) continue;
        beginRemoveRows({}, row, row);
        m_entries.erase(m_entries.begin() + row);
        endRemoveRows();
    }
}

ExportQueue::State ExportQueue::state(int row) const { return m_entries.at(static_cast<std::size_t>(row))->state; }

bool ExportQueue::isFinished(int row) const { return state(row) != State::waiting && state(row) != State::running; }

int ExportQueue::unfinished() const {
    int count = 0;
    for (int row = 0; row < rowCount(); ++row) count += isFinished(row) ? 0 : 1;
    return count;
}

void ExportQueue::announce(const std::shared_ptr<Entry>& entry) {
    const auto place = std::find(m_entries.begin(), m_entries.end(), entry);
    if (place == m_entries.end()) return;
    const int row = static_cast<int>(place - m_entries.begin());
    emit dataChanged(index(row, SourceColumn), index(row, StateColumn));
}

int ExportQueue::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_entries.size());
}

int ExportQueue::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : StateColumn + 1; }

QString ExportQueue::stateText(const Entry& entry) const {
    switch (entry.state) {
        case State::waiting: return tr("waiting");
        case State::running: return entry.control.cancelled() ? tr("stopping") : tr("%1 %").arg(entry.progress / 10);
        case State::done: return entry.message.isEmpty() ? tr("done") : tr("done, with notes");
        case State::failed: return tr("failed: %1").arg(entry.message);
        case State::cancelled: return tr("cancelled");
    }
    return {};
}

QVariant ExportQueue::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) return {};
    const Entry& entry = *m_entries[static_cast<std::size_t>(index.row())];
    if (role == StateRole) return QVariant::fromValue(entry.state);
    if (role == ProgressRole) return entry.progress;
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole) return {};
    const bool tip = role == Qt::ToolTipRole;
    switch (index.column()) {
        case SourceColumn:
            return tip ? withoutMarkup(QDir::toNativeSeparators(entry.job.source))
                       : QFileInfo(entry.job.source).fileName().simplified();
        case TargetColumn: {
            const QString target = QDir::toNativeSeparators(entry.job.target);
            return tip ? withoutMarkup(target) : QFileInfo(entry.job.target).fileName().simplified();
        }
        default: return tip && !entry.message.isEmpty() ? withoutMarkup(entry.message) : stateText(entry);
    }
}

QVariant ExportQueue::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    switch (section) {
        case SourceColumn: return tr("Photograph");
        case TargetColumn: return tr("Target");
        default: return tr("State");
    }
}

}  // namespace kestrova::studio
