#include "tests/studio/widgets/hand.h"

#include <QApplication>
#include <QMouseEvent>
#include <QWheelEvent>

namespace kestrova::studio {

namespace {

void send(QWidget* widget, QEvent::Type type, const QPointF& at, Qt::MouseButtons held,
          Qt::KeyboardModifiers modifiers) {
    const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(type, at, widget->mapToGlobal(at), button, held, modifiers);
    QApplication::sendEvent(widget, &event);
}

}  // namespace

void press(QWidget* widget, const QPointF& at, Qt::KeyboardModifiers modifiers) {
    send(widget, QEvent::MouseButtonPress, at, Qt::LeftButton, modifiers);
}

void move(QWidget* widget, const QPointF& to, Qt::KeyboardModifiers modifiers) {
    send(widget, QEvent::MouseMove, to, Qt::LeftButton, modifiers);
}

void release(QWidget* widget, const QPointF& at) {
    send(widget, QEvent::MouseButtonRelease, at, Qt::NoButton, Qt::NoModifier);
}

void doubleClick(QWidget* widget, const QPointF& at) {
    press(widget, at);
    release(widget, at);
    send(widget, QEvent::MouseButtonDblClick, at, Qt::LeftButton, Qt::NoModifier);
    release(widget, at);
}

bool turnWheel(QWidget* widget, double notches, Qt::KeyboardModifiers modifiers) {
    const QPointF at = widget->rect().center();
    QWheelEvent event(at, widget->mapToGlobal(at), {}, {0, static_cast<int>(notches * 120)}, Qt::NoButton, modifiers,
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(widget, &event);
    return event.isAccepted();
}

}  // namespace kestrova::studio
