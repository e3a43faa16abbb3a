#pragma once

#include <QStringList>
#include <QUndoCommand>
#include <functional>
#include <memory>
#include <vector>

#include "studio/state.h"

namespace kestrova::studio {

using SettingsPtr = std::shared_ptr<const photo::Settings>;

/// A change of the settings, for QUndoStack. Changes of one gesture merge.
class HistoryStep : public QUndoCommand {
public:
    using Apply = std::function<void(const StatePtr&)>;

    HistoryStep(const QString& text, StatePtr before, StatePtr after, int gesture, Apply apply);

    const StatePtr& before() const { return m_before; }
    const StatePtr& after() const { return m_after; }

    void undo() override { m_apply(m_before); }
    void redo() override { m_apply(m_after); }
    int id() const override { return 1; }
    bool mergeWith(const QUndoCommand* later) override;

private:
    StatePtr m_before, m_after;
    int m_gesture;
    Apply m_apply;
};

/// All steps: `states[i + 1]` is what step i, named `texts[i]`, has made of `states[i]`.
struct History {
    std::vector<StatePtr> states;
    QStringList texts;
    int index = 0;  ///< of the state that is seen

    bool empty() const { return states.empty(); }
    const StatePtr& current() const { return states[static_cast<std::size_t>(index)]; }
    /// Adds a step after the state that is seen, in place of those that could be redone.
    void add(const QString& text, const StatePtr& state);
};

}  // namespace kestrova::studio
