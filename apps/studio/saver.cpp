#include "studio/saver.h"

#include <QCryptographicHash>
#include <QMutexLocker>
#include <algorithm>
#include <filesystem>
#include <utility>

#include "photo/error.h"
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

bool isReadable(const std::string& sidecar) {
    try {
        photo::Settings::load(sidecar);
        return true;
    } catch (const photo::Error&) {
        return false;
    }
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
    const QString photograph = fileName(m_underWay.photograph);
    QString trouble, details;
    try {
        write(m_underWay);
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
    return failed == m_failed.end() ? History() : failed->second.history;
}

/// A state that the history knows is one that a process was killed after; any other was written by another program.
History Saver::stored(const std::string& photograph) const {
    History history = Journal::read(journalOf(photograph));
    const std::string sidecar = photo::Settings::sidecarOf(photograph);
    std::error_code error;
    if (!fs::exists(sidecar, error)) return history;
    const auto settings = std::make_shared<const photo::Settings>(photo::Settings::load(sidecar));
    const auto isThat = [&](const SettingsPtr& state) { return *state == *settings; };
    if (history.empty())
        history.states = {settings};
    else if (std::none_of(history.states.begin(), history.states.end(), isThat))
        history.add(tr("Changed by another program"), settings);
    return history;
}

bool Saver::isAllWritten() {
    const QMutexLocker lock(&m_mutex);
    return m_waiting.empty() && m_failed.empty() && m_underWay.history.empty();
}

void Saver::write(const Job& job) {
    // The history first: should the process end in between, the newer of the two is known. Should either fail, the
    // other one is written all the same.
    std::string trouble;
    try {
        fs::create_directories(m_folder);
        const std::string path = journalOf(job.photograph);
        m_journals.try_emplace(path, path).first->second.write(job.history);
    } catch (const std::exception& error) {
        trouble = error.what();
    }
    const std::string sidecar = photo::Settings::sidecarOf(job.photograph);
    if (job.keepBroken && fs::exists(sidecar) && !isReadable(sidecar)) moveAside(sidecar);
    job.history.current()->save(sidecar);
    if (!trouble.empty()) throw photo::Error(photo::Error::Kind::file, trouble);
}

}  // namespace kestrova::studio
