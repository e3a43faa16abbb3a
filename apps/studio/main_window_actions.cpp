#include <QActionGroup>
#include <QApplication>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QSettings>
#include <QStatusBar>
#include <QToolBar>
#include <QUndoStack>

#include "studio/main_window.h"
#include "studio/renderer.h"
#include "studio/session.h"
#include "studio/slider_panel.h"
#include "studio/widgets/export_queue.h"
#include "studio/widgets/film_strip.h"
#include "studio/widgets/pixels.h"
#include "studio/widgets/shortcuts_dialog.h"

namespace kestrova::studio {

QAction* MainWindow::addAction(QMenu* menu, const QString& text, const QKeySequence& keys, const QString& tip) {
    QAction* action = menu->addAction(text);
    action->setShortcut(keys);
    action->setStatusTip(tip);
    action->setToolTip(keys.isEmpty() ? tip : tr("%1 (%2)").arg(tip, keys.toString(QKeySequence::NativeText)));
    return action;
}

void MainWindow::makeActions() {
    m_toolBar = addToolBar(tr("Tools"));
    m_toolBar->setObjectName("tools");
    m_toolBar->setMovable(false);
    makeFileMenu();
    makeEditMenu();
    makeViewMenu();
    makeToolMenu();
    makeHelpMenu();
}

void MainWindow::makeFileMenu() {
    QMenu* menu = menuBar()->addMenu(tr("&File"));
    QAction* open = addAction(menu, tr("&Open…"), QKeySequence::Open, tr("Opens photographs"));
    connect(open, &QAction::triggered, this, &MainWindow::openDialog);
    QAction* folder = addAction(menu, tr("Open &folder…"), tr("Ctrl+Shift+O"), tr("Opens all photographs of a folder"));
    connect(folder, &QAction::triggered, this, &MainWindow::openFolderDialog);
    menu->addSeparator();
    QAction* next = addAction(menu, tr("&Next photograph"), tr("Ctrl+Right"), tr("Opens the next one of the strip"));
    connect(next, &QAction::triggered, m_strip, &FilmStrip::goToNext);
    QAction* previous =
        addAction(menu, tr("&Previous photograph"), tr("Ctrl+Left"), tr("Opens the previous one of the strip"));
    connect(previous, &QAction::triggered, m_strip, &FilmStrip::goToPrevious);
    menu->addSeparator();
    QAction* exportOne = addAction(menu, tr("&Export…"), tr("Ctrl+E"), tr("Writes the photograph as it is developed"));
    connect(exportOne, &QAction::triggered, this, [this] { exportPhotographs({fileName(m_session->path())}); });
    QAction* exportAll = addAction(menu, tr("Export &selection…"), tr("Ctrl+Shift+E"),
                                   tr("Writes the photographs that are selected in the strip"));
    connect(exportAll, &QAction::triggered, this, [this] {
        const QStringList selected = m_strip->selectedPaths();
        if (!selected.isEmpty()) exportPhotographs(selected);
    });
    menu->addSeparator();
    QAction* quit = addAction(menu, tr("&Quit"), QKeySequence::Quit, tr("Closes the window"));
    connect(quit, &QAction::triggered, this, &QWidget::close);
    m_needPhotograph << next << previous << exportOne << exportAll;
    m_toolBar->addAction(open);
    m_toolBar->addAction(exportOne);
    m_toolBar->addSeparator();
}

void MainWindow::makeEditMenu() {
    QMenu* menu = menuBar()->addMenu(tr("&Edit"));
    m_undo = addAction(menu, tr("&Undo"), QKeySequence::Undo, tr("Takes the latest step back"));
    m_redo = addAction(menu, tr("&Redo"), QKeySequence::Redo, tr("Takes the step again"));
    connect(m_undo, &QAction::triggered, this, [this] {
        finishGestures();
        m_session->undo();
    });
    connect(m_redo, &QAction::triggered, this, [this] {
        finishGestures();
        m_session->redo();
    });
    QUndoStack* history = m_session->history();
    connect(history, &QUndoStack::indexChanged, this, &MainWindow::enableActions);
    menu->addSeparator();
    QAction* all = addAction(menu, tr("&Select all photographs"), QKeySequence::SelectAll,
                             tr("Those of the strip, to export them or to paste settings"));
    connect(all, &QAction::triggered, m_strip, &FilmStrip::selectAll);
    QAction* copy = addAction(menu, tr("&Copy settings"), tr("Ctrl+Shift+C"), tr("For other photographs"));
    connect(copy, &QAction::triggered, this, &MainWindow::copySettings);
    QAction* paste = addAction(menu, tr("&Paste settings"), tr("Ctrl+Shift+V"),
                               tr("All but rotation, angle and crop, to the photographs selected in the strip"));
    connect(paste, &QAction::triggered, this, &MainWindow::pasteSettings);
    QAction* reset = addAction(menu, tr("Reset &all"), tr("Ctrl+Shift+Backspace"), tr("The photograph as it was"));
    connect(reset, &QAction::triggered, this, &MainWindow::resetAll);
    menu->addSeparator();
    QAction* left = addAction(menu, tr("Rotate &left"), tr("Ctrl+L"), tr("Turns by a quarter"));
    connect(left, &QAction::triggered, this, [this] { rotate(-1); });
    QAction* right = addAction(menu, tr("Rotate &right"), tr("Ctrl+R"), tr("Turns by a quarter"));
    connect(right, &QAction::triggered, this, [this] { rotate(1); });
    menu->addSeparator();
    QMenu* filters = menu->addMenu(tr("Detail &filter"));
    m_filters = new QActionGroup(this);
    const std::pair<QString, QString> names[] = {{tr("Guided"), tr("Fast and free of halos")},
                                                 {tr("Bilateral"), tr("Crisper at faint edges")},
                                                 {tr("Laplacian"), tr("Deeper light and shade")},
                                                 {tr("Weighted least squares"), tr("Slow, for large scales")}};
    for (int i = 0; i < 4; ++i) {
        QAction* filter = addAction(filters, names[i].first, {}, names[i].second);
        filter->setCheckable(true);
        filter->setData(i);
        m_filters->addAction(filter);
        m_needPhotograph << filter;
    }
    connect(m_filters, &QActionGroup::triggered, this, [this](QAction* filter) {
        finishGestures();
        m_session->setFilter(static_cast<photo::DetailFilter>(filter->data().toInt()));
    });
    m_needPhotograph << all << copy << paste << reset << left << right;
    for (QAction* action : {m_undo, m_redo, left, right}) m_toolBar->addAction(action);
    m_toolBar->addSeparator();
}

void MainWindow::makeHelpMenu() {
    QMenu* menu = menuBar()->addMenu(tr("&Help"));
    QAction* shortcuts = addAction(menu, tr("&Shortcuts"), QKeySequence::HelpContents, tr("All keys"));
    connect(shortcuts, &QAction::triggered, this, &MainWindow::showShortcuts);
    QAction* about = addAction(menu, tr("&About"), {}, tr("What this is"));
    connect(about, &QAction::triggered, this, &MainWindow::about);
}

void MainWindow::enableActions() {
    const bool open = m_session->isOpen();
    for (QAction* action : m_needPhotograph) action->setEnabled(open);
    const QUndoStack* history = m_session->history();
    m_undo->setEnabled(history->canUndo());
    m_redo->setEnabled(history->canRedo());
    m_undo->setText(history->canUndo() ? tr("&Undo: %1").arg(history->undoText()) : tr("&Undo"));
    m_redo->setText(history->canRedo() ? tr("&Redo: %1").arg(history->redoText()) : tr("&Redo"));
    m_undo->setIconText(tr("Undo"));
    m_redo->setIconText(tr("Redo"));
    m_filters->actions()[static_cast<int>(m_session->settings().filter)]->setChecked(true);
}

void MainWindow::finishGestures() {
    for (SliderPanel* panel : m_sliderPanels) panel->finishGestures();
    m_session->endGesture();
}

void MainWindow::rotate(int quarters) {
    finishGestures();
    m_session->rotate(quarters);
}

void MainWindow::resetAll() {
    finishGestures();
    m_session->change(tr("Reset all"), photo::Settings());
}

void MainWindow::setTheme(Theme theme) {
    m_theme = theme;
    QSettings().setValue("theme", themeName(theme));
    applyTheme(*qApp, theme);
}

void MainWindow::showShortcuts() {
    ShortcutsDialog dialog(menuBar(), this);
    dialog.addSection(tr("Photograph"), {{tr("Zoom about the pointer"), tr("Wheel, pinch")},
                                         {tr("Move"), tr("Drag, arrow keys; Space or middle button with any tool")},
                                         {tr("Fit or 1 : 1"), tr("Double click")},
                                         {tr("Back to the hand"), tr("Return, Escape")},
                                         {tr("Erase instead of paint, and back"), tr("Ctrl with the brush")}});
    dialog.addSection(tr("Sliders"), {{tr("Reset"), tr("Double click")},
                                      {tr("By 5"), tr("Arrow keys, wheel on the slider that has the focus")},
                                      {tr("By 1"), tr("The same with Shift")},
                                      {tr("By 10"), tr("Page keys")}});
    dialog.exec();
}

void MainWindow::about() {
    QMessageBox::about(this, tr("Kestrova Studio"),
                       tr("<b>Kestrova Studio %1</b><p>Develops photographs, and keeps them as they are: what is done "
                          "to them is stored beside them.</p>")
                           .arg(QApplication::applicationVersion()));
}

}  // namespace kestrova::studio
