#include <QCoreApplication>
#include <QFileInfo>
#include <utility>

#include "studio/session.h"
#include "studio/widgets/background.h"
#include "studio/widgets/pixels.h"

namespace kestrova::studio {

using photo::Settings;

void Session::paste(const Settings& from) { change(tr("Paste settings"), from.placedAs(*m_settings)); }

void Session::paste(const Settings& from, const std::vector<std::string>& photographs) {
    const auto settings = std::make_shared<const Settings>(from);
    for (const std::string& photograph : photographs) {
        if (photograph == m_path && isOpen()) {
            paste(from);
            ++m_pasted;
            continue;
        }
        m_pastes[photograph] = settings;
        startPaste(photograph, settings);
    }
    reportPastes();
}

/// Reads what is saved of a photograph, in the background.
void Session::startPaste(const std::string& photograph, const SettingsPtr& from) {
    m_paster.start([this, photograph, from] {
        standBack(Background::view);
        std::optional<History> history = m_saver.pending(photograph);
        try {
            if (history->empty()) history = m_saver.stored(photograph);
        } catch (const std::exception&) {
            history.reset();
        }
        QMetaObject::invokeMethod(this, [this, photograph, from, history] { takePaste(photograph, from, history); });
    });
}

std::function<Settings(const std::string&)> Session::settingsReader() {
    return [saver = &m_saver, open = isOpen() ? m_path : std::string(), current = m_settings,
            pastes = m_pastes](const std::string& photograph) {
        if (photograph == open) return *current;
        History history = saver->pending(photograph);
        if (history.empty()) history = saver->stored(photograph);
        const Settings settings = history.empty() ? Settings() : history.current()->settings();
        const auto waiting = pastes.find(photograph);
        return waiting == pastes.end() ? settings : waiting->second->placedAs(settings);
    };
}

std::function<Settings(const std::string&)> Session::savedSettingsReader() {
    return [saver = &m_saver](const std::string& photograph) { return saver->latest(photograph); };
}

/// Adds the step that is waiting for this photograph; false if there is none, or one that changes nothing.
bool Session::pasteWaiting(const std::string& photograph, History& history) {
    const auto waiting = m_pastes.extract(photograph);
    if (waiting.empty()) return false;
    ++m_pasted;
    const State& current = *history.current();
    const auto next = std::make_shared<const State>(waiting.mapped()->placedAs(current.settings()), current);
    if (*next == current) return false;
    history.add(tr("Paste settings"), next);
    return true;
}

/// `history` has been read of a photograph, or could not be.
void Session::takePaste(const std::string& photograph, const SettingsPtr& from, const std::optional<History>& history) {
    if (photograph == m_path && m_isOpening) return;  // gets the step when it is open
    const auto waiting = m_pastes.find(photograph);
    if (waiting == m_pastes.end() || waiting->second != from) return;  // opened meanwhile, or pasted to again
    if (history) {
        History next = *history;
        if (next.empty()) next.states = {std::make_shared<const State>(Settings())};
        if (pasteWaiting(photograph, next)) {
            m_saver.save({photograph, next, false});
            emit savedSettingsChanged(photograph, next.current()->settings());
        }
    } else {
        m_pastes.erase(waiting);
        m_unreadable << QFileInfo(fileName(photograph)).fileName().simplified();
    }
    reportPastes();
}

void Session::finishPastes() {
    m_paster.waitForDone();
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
}

void Session::reportPastes() {
    if (!m_pastes.empty() || (m_pasted == 0 && m_unreadable.isEmpty())) return;
    emit pasted(std::exchange(m_pasted, 0), std::exchange(m_unreadable, {}));
}

}  // namespace kestrova::studio
