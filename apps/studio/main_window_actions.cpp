#include <QActionGroup>
#include <QApplication>
#include <QDockWidget>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QSettings>
#include <QStatusBar>
#include <QToolBar>
#include <QUndoStack>

#include "studio/layer_panel.h"
#include "studio/main_window.h"
#include "studio/photo_view.h"
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
    QAction* copy = addAction(menu, tr("&Copy settings"), tr("Ctrl+Shift+C"), tr("For other photographs"));
    connect(copy, &QAction::triggered, this, &MainWindow::copySettings);
    QAction* paste = addAction(menu, tr("&Paste settings"), tr("Ctrl+Shift+V"), tr("All but rotation, angle and crop"));
    connect(paste, &QAction::triggered, this, &MainWindow::pasteSettings);
    QAction* reset = addAction(menu, tr("Reset &all"), tr("Ctrl+Shift+Backspace"), tr("The photograph as it was"));
    connect(reset, &QAction::triggered, this, &MainWindow::resetAll);
    menu->addSeparator();
    QAction* left = addAction(menu, tr("Rotate &left"), tr("Ctrl+L"), tr("Turns by a quarter"));
    connect(left, &QAction::triggered, this, [this] { m_session->rotate(-1); });
    QAction* right = addAction(menu, tr("Rotate &right"), tr("Ctrl+R"), tr("Turns by a quarter"));
    connect(right, &QAction::triggered, this, [this] { m_session->rotate(1); });
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
        m_session->setFilter(static_cast<photo::DetailFilter>(filter->data().toInt()));
    });
    m_needPhotograph << copy << paste << reset << left << right;
    for (QAction* action : {m_undo, m_redo, left, right}) m_toolBar->addAction(action);
    m_toolBar->addSeparator();
}

void MainWindow::makeViewMenu() {
    QMenu* menu = menuBar()->addMenu(tr("&View"));
    QAction* fit = addAction(menu, tr("&Fit"), tr("F"), tr("Shows all of the photograph"));
    connect(fit, &QAction::triggered, m_view, &PhotoView::fit);
    QAction* full = addAction(menu, tr("&1 : 1"), tr("1"), tr("Shows pixel for pixel"));
    connect(full, &QAction::triggered, this, [this] { m_view->zoomTo(1); });
    QAction* in = addAction(menu, tr("Zoom &in"), tr("+"), tr("Enlarges"));
    connect(in, &QAction::triggered, this, [this] { m_view->zoomBy(1.25); });
    QAction* out = addAction(menu, tr("Zoom &out"), tr("-"), tr("Makes smaller"));
    connect(out, &QAction::triggered, this, [this] { m_view->zoomBy(0.8); });
    menu->addSeparator();
    const auto toggle = [&](const QString& text, const QKeySequence& keys, const QString& tip) {
        QAction* action = addAction(menu, text, keys, tip);
        action->setCheckable(true);
        action->setAutoRepeat(false);
        return action;
    };
    m_before = toggle(tr("&Before"), tr("O"), tr("The photograph without adjustments"));
    connect(m_before, &QAction::toggled, m_view, &PhotoView::setBefore);
    m_split = toggle(tr("&Split"), tr("Y"), tr("Before on the left, after on the right of a line that can be dragged"));
    connect(m_split, &QAction::toggled, m_view, &PhotoView::setSplit);
    m_clipping = toggle(tr("&Clipping"), tr("J"), tr("Marks pixels at the end of a channel: red bright, blue dark"));
    connect(m_clipping, &QAction::toggled, this, [this](bool on) {
        if (on && !m_clippingDark && !m_clippingBright) m_clippingDark = m_clippingBright = true;
        updateView(false);
    });
    m_mask = toggle(tr("&Mask"), tr("M"), tr("Shows where the layer acts"));
    connect(m_mask, &QAction::toggled, this, [this] { updateView(false); });
    menu->addSeparator();
    QMenu* panels = menu->addMenu(tr("&Panels"));
    for (QDockWidget* dock : findChildren<QDockWidget*>()) panels->addAction(dock->toggleViewAction());
    QMenu* themes = menu->addMenu(tr("&Theme"));
    auto* either = new QActionGroup(this);
    for (const auto& [theme, name] : {std::pair(Theme::dark, tr("&Dark")), std::pair(Theme::light, tr("&Light"))}) {
        QAction* action = addAction(themes, name, {}, tr("How the window looks"));
        action->setCheckable(true);
        action->setData(static_cast<int>(theme));
        either->addAction(action);
    }
    connect(either, &QActionGroup::triggered, this,
            [this](QAction* action) { setTheme(static_cast<Theme>(action->data().toInt())); });
    m_theme = themeNamed(QSettings().value("theme").toString());
    either->actions()[static_cast<int>(m_theme)]->setChecked(true);
    QAction* screen = addAction(menu, tr("Screen &profile…"), {}, tr("The ICC profile of the screen"));
    connect(screen, &QAction::triggered, this, &MainWindow::chooseScreenProfile);
    QAction* whole = toggle(tr("F&ull screen"), QKeySequence(Qt::Key_F11), tr("The window alone"));
    connect(whole, &QAction::toggled, this, [this](bool on) { on ? showFullScreen() : showNormal(); });
    m_needPhotograph << fit << full << in << out << m_before << m_split << m_clipping << m_mask;
    for (QAction* action : {fit, full, m_before, m_split, m_clipping, m_mask}) m_toolBar->addAction(action);
    m_toolBar->addSeparator();
}

void MainWindow::makeToolMenu() {
    QMenu* menu = menuBar()->addMenu(tr("&Tools"));
    m_tools = new QActionGroup(this);
    const auto tool = [&](const QString& text, const QKeySequence& keys, const QString& tip) {
        QAction* action = addAction(menu, text, keys, tip);
        action->setCheckable(true);
        m_tools->addAction(action);
        m_toolBar->addAction(action);
        return action;
    };
    m_hand = tool(tr("&Hand"), tr("H"), tr("Moves the photograph"));
    m_brushAction = tool(tr("&Brush"), tr("B"), tr("Paints the mask of a layer"));
    m_cropAction = tool(tr("&Crop"), tr("C"), tr("Cuts the photograph"));
    m_straightenAction = tool(tr("&Straighten"), tr("S"), tr("Makes a line that is drawn level or upright"));
    m_hand->setChecked(true);
    menu->addSeparator();
    QAction* larger = addAction(menu, tr("&Larger brush"), tr("]"), tr("Enlarges the brush"));
    connect(larger, &QAction::triggered, this, [this] { m_layers->resizeBrush(1); });
    QAction* smaller = addAction(menu, tr("S&maller brush"), tr("["), tr("Makes the brush smaller"));
    connect(smaller, &QAction::triggered, this, [this] { m_layers->resizeBrush(-1); });
    QAction* erase = addAction(menu, tr("&Erase"), tr("E"), tr("The brush takes away"));
    connect(erase, &QAction::triggered, this, [this] {
        m_layers->setErase(true);
        m_brushAction->trigger();
    });
    QAction* paint = addAction(menu, tr("&Paint"), tr("P"), tr("The brush adds"));
    connect(paint, &QAction::triggered, this, [this] {
        m_layers->setErase(false);
        m_brushAction->trigger();
    });
    QAction* layer = addAction(menu, tr("&New layer"), tr("Ctrl+Shift+N"), tr("Adds a layer"));
    connect(layer, &QAction::triggered, this, [this] {
        m_session->addLayer();
        showPanel("layers");
    });
    m_needPhotograph << m_tools->actions() << larger << smaller << erase << paint << layer;
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
