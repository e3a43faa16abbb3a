#pragma once

#include <QAction>
#include <QMouseEvent>
#include <QTest>
#include <memory>

#include "studio/main_window.h"
#include "studio/photo_view.h"
#include "studio/slider_panel.h"
#include "studio/widgets/slider_row.h"
#include "tests/studio/home.h"

namespace kestrova::studio {

/// The window, and what a test does with it.
class WindowTest : public Home {
protected:
    WindowTest() {
        window = std::make_unique<MainWindow>();
        window->resize(1280, 720);
        window->show();
    }
    void open(const std::string& path) {
        window->openPaths({QString::fromStdString(path)});
        settle();
    }
    void settle() {
        ASSERT_TRUE(waitFor([this] { return window->isSettled(); }));
        QCoreApplication::processEvents();
    }
    SliderRow* row(const std::string& slider) {
        for (SliderPanel* panel : window->sliderPanels())
            if (panel->rows().count(slider)) return panel->row(slider);
        return nullptr;
    }
    QAction* action(const QString& text) {
        for (QAction* action : window->findChildren<QAction*>())
            if (action->text().remove('&').startsWith(text)) return action;
        return nullptr;
    }
    QImage picture() { return window->view()->grab().toImage(); }
    /// Sent to the view itself: the cursor of the platform may be there already.
    void moveMouse(const QPoint& to) {
        QMouseEvent event(QEvent::MouseMove, to, window->view()->mapToGlobal(QPointF(to)), Qt::NoButton, Qt::NoButton,
                          Qt::NoModifier);
        QCoreApplication::sendEvent(window->view(), &event);
    }
    QPoint middle() { return window->view()->rect().center(); }

    std::unique_ptr<MainWindow> window;
};

}  // namespace kestrova::studio
