#include "studio/saver.h"

#include <unistd.h>
#include <QCryptographicHash>
#include <QMutexLocker>
#include <algorithm>
#include <filesystem>
#include <utility>

#include "photo/error.h"
#include "studio/fingerprint.h"
#include "studio/old_histories.h"
#include "studio/widgets/file_troubles.h"
#include "studio/widgets/pixels.h"

namespace kestrova::studio {

namespace fs = std::filesystem;

namespace {

/// "a.json.broken", or "a.json.broken-2" and so on.
void moveAside(const std::string& path) {
    fs::path aside = path + ".broken";
    for (int i = 2; fs::exists(aside); ++i) aside = path + ".broken-" + std::to_string(i);
    fs::rename(path, aside);
}

/// True where the system cannot tell, too.
bool mayExist(const std::string& path) {
    std::error_code error;
    return fs::exists(path, error) || error;
}

bool isReadable(const std::string& sidecar) {
    try {
        photo::Settings::load(sidecar);
        return true;
    } catch (const photo::Error&) {
        return false;
    }
}

/// Whether there is another photograph under its name now, such as one of the next card. One with a sidecar is taken
/// for the same with new metadata.
bool isOfAnother(const Saver::Job& job) {
    if (job.fingerprint.empty() || mayExist(photo::Settings::sidecarOf(job.photograph))) return false;
    const std::string now = fingerprintOf(job.photograph);
    return !now.empty() && now != job.fingerprint;
}

}  // namespace

Saver::Saver(std::string folder, QObject* parent) : QObject(parent), m_folder(std::move(folder)) {
    m_pool.setMaxThreadCount(1);
}

Saver::~Saver() { flush(); }

void Saver::flush() { m_pool.waitForDone(); }

std::string Saver::journalOf(const std::string& photograph) const {
    std::error_code error;
    const fs::path whole = fs::weakly_canonical(photograph, error);
    const QByteArray name = QByteArray::fromStdString(error ? photograph : whole.string());
    const QByteArray hash = QCryptographicHash::hash(name, QCryptographicHash::Sha1).toHex();
    return m_folder + '/' + hash.toStdString() + ".journal";
}

/// With the mutex locked.
void Saver::enqueue(Job job) {
    const auto same =
        std::find_if(m_waiting.begin(), m_waiting.end(), [&](const Job& j) { return j.photograph == job.photograph; });
    if (same != m_waiting.end()) {
        *same = std::move(job);
        return;
    }
    m_waiting.push_back(std::move(job));
    m_pool.start([this] { work(); });
}

/// With the mutex locked.
void Saver::enqueueFailed() {
    for (auto& [photograph, job] : std::exchange(m_failed, {})) enqueue(std::move(job));
}

void Saver::save(Job job) {
    const QMutexLocker lock(&m_mutex);
    m_failed.erase(job.photograph);
    enqueue(std::move(job));
    enqueueFailed();
}

void Saver::retry() {
    const QMutexLocker lock(&m_mutex);
    enqueueFailed();
}

void Saver::work() {
    {
        const QMutexLocker lock(&m_mutex);
        m_underWay = std::move(m_waiting.front());
        m_waiting.pop_front();
    }
    if (m_underWay.fingerprint.empty()) {
        const std::string now = fingerprintOf(m_underWay.photograph);
        const QMutexLocker lock(&m_mutex);
        m_underWay.fingerprint = now;
    }
    const QString photograph = fileName(m_underWay.photograph);
    QString trouble, details;
    try {
        if (isOfAnother(m_underWay)) {
            const QMutexLocker lock(&m_journalsMutex);
            const std::string path = journalOf(m_underWay.photograph) + '.' + m_underWay.fingerprint;
            Journal(path).write(m_underWay.history, m_underWay.fingerprint);
        } else {
            write(m_underWay);
        }
    } catch (const photo::Error& error) {
        details = fileName(std::string(error.what()));
        trouble = sentenceOf(error.kind(), details, fileName(photo::Settings::sidecarOf(m_underWay.photograph)));
    } catch (const std::exception& error) {
        trouble = QString::fromUtf8(error.what());
    }
    {
        const QMutexLocker lock(&m_mutex);
        const bool newer = std::any_of(m_waiting.begin(), m_waiting.end(),
                                       [&](const Job& j) { return j.photograph == m_underWay.photograph; });
        if (!trouble.isEmpty() && !newer) m_failed[m_underWay.photograph] = m_underWay;
        m_underWay = {};
    }
    if (trouble.isEmpty())
        emit saved(photograph);
    else
        emit failed(photograph, trouble, details);
}

History Saver::pending(const std::string& photograph) {
    const QMutexLocker lock(&m_mutex);
    for (const Job& job : m_waiting)
        if (job.photograph == photograph) return job.history;
    if (m_underWay.photograph == photograph) return m_underWay.history;
    const auto failed = m_failed.find(photograph);
    return failed == m_failed.end() || isOfAnother(failed->second) ? History() : failed->second.history;
}

/// With the mutex of the journals locked.
Journal& Saver::journalAt(const std::string& path) {
    constexpr std::size_t kMostJournals = 8;  // which keep their histories
    if (m_journals.size() >= kMostJournals && m_journals.count(path) == 0) m_journals.clear();
    return m_journals.try_emplace(path, path).first->second;
}

/// A file of the same name with other content may be the same photograph with new metadata, or a card that was
/// formatted and used again. What tells them apart is the sidecar, which only the former has. The history of the other
/// photograph gets its fingerprint into its name, so that it is found when that one is there again.
Saver::Recalled Saver::recall(const std::string& photograph) {
    const std::string path = journalOf(photograph), now = fingerprintOf(photograph);
    const auto ofFingerprint = [&](const std::string& fingerprint) { return path + '.' + fingerprint; };
    std::error_code error;
    const QMutexLocker lock(&m_journalsMutex);
    Journal& journal = journalAt(path);
    History history = journal.read();
    const std::string before = journal.photograph();
    const bool wasHereBefore = !now.empty() && fs::exists(ofFingerprint(now), error);
    // Releases that noted no fingerprint noted no sidecar either, but wrote one wherever they could.
    if (before.empty() && !(history.empty() && wasHereBefore))
        return {history, access(fs::absolute(photograph, error).parent_path().c_str(), W_OK) == 0};
    if (!before.empty()) {
        const bool sameWithNewMetadata = mayExist(photo::Settings::sidecarOf(photograph)) && !wasHereBefore;
        if (now.empty() || now == before || sameWithNewMetadata) return {history, journal.hasSidecar()};
        fs::rename(path, ofFingerprint(before), error);
        if (error) return {};
    }
    if (wasHereBefore) fs::rename(ofFingerprint(now), path, error);
    history = journal.read();
    return {history, journal.hasSidecar()};
}

/// A sidecar that holds an earlier state than the history is that of a process which was killed before it wrote the
/// latest, or, where that had been written, of somebody who went back. Any other state was written by another program.
/// Where there was a sidecar and is none, somebody wants the photograph as it was.
History Saver::stored(const std::string& photograph) {
    auto [history, hadSidecar] = recall(photograph);
    const std::string sidecar = photo::Settings::sidecarOf(photograph);
    if (!mayExist(sidecar)) {
        const auto untouched = std::make_shared<const State>(photo::Settings());
        if (hadSidecar && !history.empty() && *history.current() != *untouched) {
            history.index = static_cast<int>(history.texts.size());  // so that nothing is dropped
            history.add(tr("Settings file removed"), untouched);
        }
        return history;
    }
    photo::Settings settings = photo::Settings::load(sidecar);
    if (history.empty()) return {{std::make_shared<const State>(std::move(settings))}, {}, 0};
    const auto state = std::make_shared<const State>(std::move(settings), *history.current());
    if (*history.current() == *state) return history;
    const auto isThat = [&](const StatePtr& known) { return *known == *state; };
    const auto known = std::find_if(history.states.begin(), history.states.end(), isThat);
    if (known == history.states.end())
        history.add(tr("Changed by another program"), state);
    else if (hadSidecar)
        history.index = static_cast<int>(known - history.states.begin());
    return history;
}

photo::Settings Saver::latest(const std::string& photograph) {
    History history = pending(photograph);
    if (!history.empty()) return history.current()->settings();
    const std::string sidecar = photo::Settings::sidecarOf(photograph);
    if (mayExist(sidecar)) return photo::Settings::load(sidecar);
    Journal journal(journalOf(photograph));
    history = journal.read();
    const bool counts = !history.empty() && !journal.hasSidecar() && !journal.photograph().empty() &&
                        journal.photograph() == fingerprintOf(photograph);
    return counts ? history.current()->settings() : photo::Settings();
}

void Saver::removeOldHistories(const std::string& open) {
    m_pool.start([this, open] {
        studio::removeOldHistories(m_folder, journalOf(open), kMostBytesOfHistories, m_journalsMutex);
    });
}

bool Saver::isAllWritten() {
    const QMutexLocker lock(&m_mutex);
    return m_waiting.empty() && m_failed.empty() && m_underWay.history.empty();
}

void Saver::writeSidecar(const Job& job) {
    const std::string sidecar = photo::Settings::sidecarOf(job.photograph);
    if (job.keepBroken && fs::exists(sidecar) && !isReadable(sidecar)) moveAside(sidecar);
    job.history.current()->settings().save(sidecar);
}

void Saver::write(const Job& job) {
    // The history first: should the process end in between, the newer of the two is known. Should either fail, the
    // other one is written all the same.
    std::string trouble;
    const std::string path = journalOf(job.photograph);
    try {
        fs::create_directories(m_folder);
        const QMutexLocker lock(&m_journalsMutex);
        journalAt(path).write(job.history, fingerprintOf(job.photograph));
    } catch (const std::exception& error) {
        trouble = error.what();
    }
    writeSidecar(job);
    if (!trouble.empty()) throw photo::Error(photo::Error::Kind::file, trouble);
    const QMutexLocker lock(&m_journalsMutex);
    journalAt(path).noteSidecar();
}

}  // namespace kestrova::studio
