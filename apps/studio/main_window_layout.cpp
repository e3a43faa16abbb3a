#include <QCloseEvent>
#include <QCoreApplication>
#include <QDir>
#include <QDockWidget>
#include <QMessageBox>
#include <QScreen>
#include <QSettings>
#include <QTabWidget>

#include "studio/layer_panel.h"
#include "studio/main_window.h"
#include "studio/message_bar.h"
#include "studio/renderer.h"
#include "studio/session.h"
#include "studio/widgets/export_queue.h"
#include "studio/widgets/screen_profile.h"

namespace kestrova::studio {

namespace {

/// With room for the frame around the window.
QSize firstSize(const QSize& available) { return QSize(1600, 1000).boundedTo(available - QSize(16, 48)); }

}  // namespace

void MainWindow::restoreLayout() {
    QSettings settings;
    if (!restoreGeometry(settings.value("window/geometry").toByteArray())) resize(firstSize(screen()->availableSize()));
    setWindowState(windowState() & ~Qt::WindowFullScreen);
    restoreState(settings.value("window/state").toByteArray());
    m_tabs->setCurrentIndex(settings.value("window/panel", 0).toInt());
    m_exportDock->hide();
    m_folder = settings.value("folder", QDir::homePath()).toString();
    const QColor colour(settings.value("maskColour").toString());
    if (colour.isValid()) m_layers->setMaskColour(colour);
    const ScreenProfile screen = ScreenProfile::find(settings.value("screenProfile").toString());
    m_renderer->setScreen(screen.profile);
    if (!screen.problem.isEmpty()) m_messages->say(screen.problem);
}

bool MainWindow::mayClose() {
    finishGestures();
    if (!m_session->saveNow() &&
        QMessageBox::warning(this, windowTitle(), tr("The latest settings could not be saved. Close all the same?"),
                             QMessageBox::Close | QMessageBox::Cancel, QMessageBox::Cancel) != QMessageBox::Close)
        return false;
    m_collector.waitForDone();
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);  // what it has collected
    return m_exports->isIdle() ||
           QMessageBox::question(this, windowTitle(),
                                 tr("Photographs are still being exported. Cancel that and close?"),
                                 QMessageBox::Close | QMessageBox::Cancel, QMessageBox::Cancel) == QMessageBox::Close;
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (!mayClose()) {
        event->ignore();
        return;
    }
    QSettings settings;
    settings.setValue("window/geometry", saveGeometry());
    settings.setValue("window/state", saveState());
    settings.setValue("window/panel", m_tabs->currentIndex());
    settings.setValue("folder", m_folder);
    settings.setValue("maskColour", m_layers->maskColour().name());
    m_session->close();
    m_renderer->close();
    event->accept();
}

}  // namespace kestrova::studio
