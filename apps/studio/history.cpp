#include "studio/history.h"

#include <utility>

namespace kestrova::studio {

HistoryStep::HistoryStep(const QString& text, StatePtr before, StatePtr after, int gesture, Apply apply)
    : QUndoCommand(text),
      m_before(std::move(before)),
      m_after(std::move(after)),
      m_gesture(gesture),
      m_apply(std::move(apply)) {}

bool HistoryStep::mergeWith(const QUndoCommand* later) {
    const auto* step = static_cast<const HistoryStep*>(later);
    if (step->m_gesture != m_gesture) return false;
    m_after = step->m_after;
    setText(step->text());
    setObsolete(*m_after == *m_before);
    return true;
}

void History::add(const QString& text, const StatePtr& state) {
    states.resize(static_cast<std::size_t>(index) + 1);
    texts.resize(index);
    states.push_back(state);
    texts << text;
    ++index;
}

}  // namespace kestrova::studio
