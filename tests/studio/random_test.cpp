#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QMenu>
#include <QTest>
#include <QTimer>
#include <QWheelEvent>
#include <random>

#include "studio/main_window.h"
#include "studio/photo_view.h"
#include "studio/session.h"
#include "tests/studio/home.h"

namespace kestrova::studio {
namespace {

/// Sends keys, clicks, drags, wheels and actions to whatever is there.
class Monkey {
public:
    Monkey(MainWindow* window, unsigned seed) : m_window(window), m_random(seed) {
        // Dialogs are looked at and closed.
        QObject::connect(&m_closer, &QTimer::timeout, [] {
            if (QWidget* dialog = QApplication::activeModalWidget()) dialog->close();
            if (QWidget* popup = QApplication::activePopupWidget()) popup->close();
        });
        m_closer.start(5);
        for (QAction* action : window->findChildren<QAction*>())
            if (!action->menu() && action->shortcut() != QKeySequence(QKeySequence::Quit)) m_actions << action;
    }

    void act() {
        const QList<QWidget*> all = m_window->findChildren<QWidget*>();
        QWidget* widget = below(3) ? m_window->view() : all[below(static_cast<int>(all.size()))];
        if (!widget->isVisible() || !widget->isEnabled()) widget = m_window->view();
        const QPoint at(below(widget->width() + 1), below(widget->height() + 1));
        switch (below(10)) {
            case 0: QTest::mouseClick(widget, below(4) ? Qt::LeftButton : Qt::MiddleButton, modifiers(), at); break;
            case 1: QTest::mouseDClick(widget, Qt::LeftButton, modifiers(), at); break;
            case 2:
            case 3:
            case 4: drag(widget, at); break;
            case 5: QTest::keyClick(widget, kKeys[below(std::size(kKeys))], modifiers()); break;
            case 6: m_actions[below(static_cast<int>(m_actions.size()))]->trigger(); break;
            default: wheel(widget, at);
        }
        if (below(20) == 0) QTest::qWait(1);
    }

private:
    static constexpr Qt::Key kKeys[] = {Qt::Key_Left,        Qt::Key_Right,        Qt::Key_Up,   Qt::Key_Down,
                                        Qt::Key_PageUp,      Qt::Key_PageDown,     Qt::Key_Home, Qt::Key_End,
                                        Qt::Key_Space,       Qt::Key_Tab,          Qt::Key_B,    Qt::Key_C,
                                        Qt::Key_BracketLeft, Qt::Key_BracketRight, Qt::Key_5,    Qt::Key_Return,
                                        Qt::Key_Escape,      Qt::Key_Delete,       Qt::Key_F2,   Qt::Key_O};

    int below(std::size_t n) { return static_cast<int>(m_random() % std::max<std::size_t>(1, n)); }
    Qt::KeyboardModifiers modifiers() { return below(4) ? Qt::NoModifier : Qt::ShiftModifier; }
    void drag(QWidget* widget, const QPoint& at) {
        QTest::mousePress(widget, Qt::LeftButton, modifiers(), at);
        for (int i = below(6); i > 0; --i)
            QTest::mouseMove(widget, QPoint(below(widget->width() + 1), below(widget->height() + 1)));
        QTest::mouseRelease(widget, Qt::LeftButton, {}, at);
    }
    void wheel(QWidget* widget, const QPoint& at) {
        QWheelEvent event(at, widget->mapToGlobal(QPointF(at)), {}, {0, below(2) ? 120 : -120}, Qt::NoButton,
                          modifiers(), Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(widget, &event);
    }

    MainWindow* m_window;
    std::mt19937 m_random;
    QTimer m_closer;
    QList<QAction*> m_actions;
};

class RandomEvents : public Home {};

TEST_F(RandomEvents, TenThousandOfThemCrashNothingAndAreAllUndone) {
    photograph();
    photograph("u76c0g_bliznaca_srgb8.png");
    MainWindow window;
    window.resize(1000, 700);
    window.show();
    window.openPaths({QString::fromStdString(scratch.path())});
    ASSERT_TRUE(waitFor([&] { return window.session()->isOpen(); }));
    Monkey monkey(&window, 7);
    for (int i = 0; i < 10000; ++i) {
        monkey.act();
        if (!window.isVisible()) window.show();
    }
    Session* session = window.session();
    ASSERT_TRUE(waitFor([&] { return session->isOpen(); })) << "the last event may have opened a photograph";
    session->endGesture();
    const photo::Settings settings = session->settings();
    const int index = session->history()->index();
    while (session->history()->canUndo()) session->undo();
    while (session->history()->index() < index) session->redo();
    EXPECT_EQ(session->settings(), settings);
    EXPECT_TRUE(session->saveNow());
    EXPECT_EQ(photo::Settings::load(photo::Settings::sidecarOf(session->path())), settings);
}

}  // namespace
}  // namespace kestrova::studio
