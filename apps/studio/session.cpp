#include "studio/session.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QScopedValueRollback>
#include <algorithm>
#include <utility>

#include "photo/error.h"
#include "studio/widgets/background.h"
#include "studio/widgets/pixels.h"

namespace kestrova::studio {

using photo::Settings;

namespace {

/// Of a sidecar that cannot be read: what is wrong, what is seen, and what can be done.
QString unreadable(const std::string& sidecar, photo::Error::Kind kind, bool remembered) {
    const QString name = QFileInfo(fileName(sidecar)).fileName().simplified();
    const auto whatIsWrong = [&] {
        switch (kind) {
            case photo::Error::Kind::file:
                return Session::tr("The file %1 with the settings of this photograph cannot be opened.");
            case photo::Error::Kind::memory:
                return Session::tr("There is not enough memory for the file %1 with the settings of this photograph.");
            default:
                return Session::tr(
                    "The file %1 with the settings of this photograph is damaged, or from a newer version.");
        }
    };
    const QStringList sentences = {
        whatIsWrong().arg(name),
        remembered ? Session::tr("The photograph is shown as it was left here.")
                   : Session::tr("The photograph is shown without settings."),
        Session::tr(
            "The first change here keeps the file under a name that ends in \".broken\". To use it instead, put "
            "a good copy in its place and open the photograph again.")};
    return sentences.join(' ');
}

}  // namespace

Session::Session(const std::string& dataFolder, QObject* parent) : QObject(parent), m_saver(dataFolder) {
    setState(std::make_shared<const State>(Settings()));
    m_history.setUndoLimit(kMostSteps);
    m_paster.setMaxThreadCount(1);
    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(kSaveAfter);
    connect(&m_saveTimer, &QTimer::timeout, this, &Session::save);
    connect(&m_saver, &Saver::saved, this, [this](const QString& photograph) {
        emit settingsSaved(photograph);
        if (m_trouble.isEmpty() || !m_saver.isAllWritten()) return;
        m_trouble.clear();
        emit message(tr("The settings are saved."));
    });
    connect(&m_saver, &Saver::failed, this,
            [this](const QString& photograph, const QString& text, const QString& details) {
                emit settingsNotSaved(photograph);
                if (text == m_trouble) return;
                m_trouble = text;
                emit message(tr("The settings could not be saved: %1").arg(text), details);
            });
}

Session::~Session() {
    close();
    finishPastes();
}

void Session::open(const std::string& photograph) {
    close();
    m_path = photograph;
    takeSaved(read(photograph));
}

void Session::startOpening(const std::string& photograph) {
    close();
    m_path = photograph;
    m_isOpening = true;
    m_reader.start([this, photograph, opening = m_openings] {
        standBack(Background::view);
        const Saved saved = read(photograph);
        QMetaObject::invokeMethod(this, [this, saved, opening] {
            if (opening == m_openings) takeSaved(saved);
        });
    });
}

/// On any thread.
Session::Saved Session::read(const std::string& photograph) {
    Saved saved{stateOf(photograph), m_saver.pending(photograph), {}, {}};
    if (!saved.history.empty()) return saved;
    try {
        saved.history = m_saver.stored(photograph);
    } catch (const photo::Error& trouble) {
        saved.history = m_saver.remembered(photograph);
        saved.trouble = unreadable(Settings::sidecarOf(photograph), trouble.kind(), !saved.history.empty());
        saved.details = fileName(std::string(trouble.what()));
    }
    if (saved.history.empty()) saved.history.states = {std::make_shared<const State>(Settings())};
    return saved;
}

void Session::takeSaved(const Saved& saved) {
    m_isOpening = false;
    m_file = saved.file;
    m_sidecarBroken = !saved.trouble.isEmpty();
    if (m_sidecarBroken) emit message(saved.trouble, saved.details);
    History history = saved.history;
    const bool pasted = pasteWaiting(m_path, history);
    restore(history);
    if (pasted) m_saveTimer.start();
    emit opened();
    reportPastes();
    if (!std::exchange(m_isTidy, true)) m_saver.removeOldHistories(m_path);
}

void Session::restore(const History& history) {
    m_restoring = true;
    m_target = kWhole;
    m_history.clear();
    m_state = history.states.front();
    // The stack keeps the latest steps: those before them have no effect on it.
    for (std::size_t i = 1; i < history.states.size(); ++i)
        m_history.push(new HistoryStep(history.texts[static_cast<qsizetype>(i) - 1], history.states[i - 1],
                                       history.states[i], ++m_gesture, [this](const StatePtr& s) { apply(s); }));
    const int dropped = static_cast<int>(history.texts.size()) - m_history.count();
    m_history.setIndex(std::max(0, history.index - dropped));
    m_restoring = false;
    setState(m_state);
    emit targetChanged(m_target);
}

void Session::close() {
    if (m_path.empty()) return;
    endGesture();
    save();
    const std::string path = std::exchange(m_path, {});
    m_file = {};
    if (std::exchange(m_isOpening, false))
        if (const auto waiting = m_pastes.find(path); waiting != m_pastes.end()) startPaste(path, waiting->second);
    ++m_openings;
    m_target = kWhole;
    m_history.clear();
    setState(std::make_shared<const State>(Settings()));
    emit closed();
    emit targetChanged(m_target);
}

void Session::setState(const StatePtr& state) {
    m_state = state;
    m_settings = std::make_shared<const Settings>(state->settings());
}

void Session::apply(const StatePtr& state) {
    if (m_restoring) {
        m_state = state;
        return;
    }
    const SettingsPtr before = m_settings;
    setState(state);
    keepTargetInRange();
    if (!m_pushing) aimAtLayerThatIsBack(before->layers);
    if (!m_saveTimer.isActive()) m_saveTimer.start();
    emit settingsChanged(m_inGesture);
}

void Session::keepTargetInRange() {
    const int last = static_cast<int>(m_settings->layers.size()) - 1;
    if (m_target <= last) return;
    m_target = last;
    emit targetChanged(m_target);
}

void Session::aimAtLayerThatIsBack(const std::vector<photo::Layer>& before) {
    const std::vector<photo::Layer>& now = m_settings->layers;
    if (now.size() <= before.size()) return;
    const auto back = std::mismatch(before.begin(), before.end(), now.begin()).second;
    m_target = static_cast<int>(back - now.begin());
    emit targetChanged(m_target);
}

History Session::snapshot() const {
    History history;
    for (int i = 0; i < m_history.count(); ++i) {
        const auto* step = static_cast<const HistoryStep*>(m_history.command(i));
        if (i == 0) history.states.push_back(step->before());
        history.states.push_back(step->after());
        history.texts << step->text();
    }
    if (history.states.empty()) history.states.push_back(m_state);
    history.index = m_history.index();
    return history;
}

void Session::save() {
    const bool due = m_saveTimer.isActive() || sender() == &m_saveTimer;
    m_saveTimer.stop();
    if (due && isOpen()) m_saver.save({m_path, snapshot(), m_sidecarBroken});
}

bool Session::saveNow() {
    finishPastes();
    save();
    m_saver.retry();
    m_saver.flush();
    QCoreApplication::sendPostedEvents(this);
    return m_saver.isAllWritten();
}

void Session::beginGesture() {
    endGesture();
    ++m_gesture;
    m_inGesture = true;
}

void Session::endGesture() {
    if (!m_inGesture) return;
    m_inGesture = false;
    ++m_gesture;
    save();
    emit settingsChanged(false);
}

void Session::undo() {
    endGesture();
    m_history.undo();
}

void Session::redo() {
    endGesture();
    m_history.redo();
}

void Session::change(const QString& text, const Settings& next) {
    if (!isOpen() || next == *m_settings) return;
    try {
        next.check();
    } catch (const photo::Error& error) {
        emit message(QString::fromStdString(error.what()));
        return;
    }
    if (m_gesture == m_stroke && !m_painting) endGesture();
    if (!m_inGesture) ++m_gesture;
    const QScopedValueRollback pushing(m_pushing, true);
    m_history.push(new HistoryStep(text, m_state, std::make_shared<const State>(next, *m_state), m_gesture,
                                   [this](const StatePtr& s) { apply(s); }));
}

}  // namespace kestrova::studio
