#pragma once

#include <QTest>
#include <QWidget>
#include <functional>
#include <iosfwd>

namespace kestrova::studio {

/// What a person does to a widget, sent to it directly.
void press(QWidget* widget, const QPointF& at, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
void move(QWidget* widget, const QPointF& to, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
void release(QWidget* widget, const QPointF& at);
/// Two clicks in one place, with the events that a window system makes of them.
void doubleClick(QWidget* widget, const QPointF& at);
/// Turns the wheel by notches; false if the widget and its parents had no use for it.
bool turnWheel(QWidget* widget, double notches, Qt::KeyboardModifiers modifiers = Qt::NoModifier);

/// Handles events until the condition holds; false after a time that no machine should need.
inline bool waitUntil(const std::function<bool()>& condition) { return QTest::qWaitFor(condition, 240000); }

}  // namespace kestrova::studio
