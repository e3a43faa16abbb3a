#pragma once

#include <QStringList>
#include <QUndoCommand>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "photo/settings.h"

namespace kestrova::studio {

using SettingsPtr = std::shared_ptr<const photo::Settings>;

/// A change of the settings, for QUndoStack. Changes of one gesture merge.
class HistoryStep : public QUndoCommand {
public:
    using Apply = std::function<void(const SettingsPtr&)>;

    HistoryStep(const QString& text, SettingsPtr before, SettingsPtr after, int gesture, Apply apply);

    const SettingsPtr& before() const { return m_before; }
    const SettingsPtr& after() const { return m_after; }

    void undo() override { m_apply(m_before); }
    void redo() override { m_apply(m_after); }
    int id() const override { return 1; }
    bool mergeWith(const QUndoCommand* later) override;

private:
    SettingsPtr m_before, m_after;
    int m_gesture;
    Apply m_apply;
};

/// A history as it is written to disk: `states[i + 1]` is what step i, named `texts[i]`, has made of `states[i]`.
struct History {
    std::vector<SettingsPtr> states;
    QStringList texts;
    int index = 0;  ///< of the state that is seen

    bool empty() const { return states.empty(); }
    const SettingsPtr& current() const { return states[static_cast<std::size_t>(index)]; }
    /// Adds a step after the state that is seen, in place of those that could be redone.
    void add(const QString& text, const SettingsPtr& state);
};

/// The file of a history: lines of JSON, of which each step's holds what it changed (RFC 6902). It is appended to, so
/// that a save costs as much as what is new, and read up to the first line that is damaged, such as the last one of a
/// process that was killed. Serves one thread at a time.
class Journal {
public:
    explicit Journal(std::string path) : m_path(std::move(path)) {}

    /// Nothing if there is no file or nothing readable in it. Throws nothing.
    static History read(const std::string& path);
    /// Throws `photo::Error` of kind file; the next call then writes everything.
    void write(const History& history);

private:
    std::string linesFor(const History& history, bool& append);

    std::string m_path;
    History m_written;
};

}  // namespace kestrova::studio
