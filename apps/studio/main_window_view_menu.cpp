#include <QActionGroup>
#include <QDockWidget>
#include <QMenu>
#include <QMenuBar>
#include <QSettings>
#include <QToolBar>

#include "studio/layer_panel.h"
#include "studio/main_window.h"
#include "studio/photo_view.h"
#include "studio/session.h"

namespace kestrova::studio {

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
    connect(m_mask, &QAction::triggered, this, [this] { m_maskByBrush = false; });
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
    connect(whole, &QAction::toggled, this,
            [this](bool on) { setWindowState(windowState().setFlag(Qt::WindowFullScreen, on)); });
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

}  // namespace kestrova::studio
