#include "studio/main_window.h"

#include <QApplication>
#include <QComboBox>
#include <QDockWidget>
#include <QLabel>
#include <QProgressBar>
#include <QScrollArea>
#include <QStandardPaths>
#include <QStatusBar>
#include <QTabWidget>
#include <QToolBar>
#include <QToolButton>
#include <QUndoView>
#include <QVBoxLayout>
#include <utility>

#include "studio/brush_tool.h"
#include "studio/crop_bar.h"
#include "studio/crop_tool.h"
#include "studio/layer_list.h"
#include "studio/layer_panel.h"
#include "studio/message_bar.h"
#include "studio/photo_view.h"
#include "studio/renderer.h"
#include "studio/session.h"
#include "studio/slider_panel.h"
#include "studio/straighten_tool.h"
#include "studio/widgets/export_panel.h"
#include "studio/widgets/export_queue.h"
#include "studio/widgets/film_strip.h"
#include "studio/widgets/histogram_view.h"
#include "studio/widgets/photo_texts.h"
#include "studio/widgets/pixels.h"
#include "studio/widgets/preset_strip.h"
#include "studio/widgets/thumbnail_model.h"

namespace kestrova::studio {

namespace {

std::string dataFolder() {
    return fileName(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation)) + "/history";
}

QWidget* scrolling(QWidget* content) {
    auto* area = new QScrollArea;
    area->setWidget(content);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    return area;
}

}  // namespace

MainWindow::MainWindow()
    : m_thumbnails(new ThumbnailModel(this)),
      m_session(new Session(dataFolder(), this)),
      m_renderer(new Renderer({}, this)),
      m_exports(new ExportQueue(this)),
      m_brush(new BrushTool(m_session, m_renderer, this)),
      m_crop(new CropTool(m_session, this)),
      m_straighten(new StraightenTool(m_session, this)) {
    setWindowTitle(tr("Kestrova Studio"));
    setAcceptDrops(true);
    setDockNestingEnabled(true);
    m_lister.setMaxThreadCount(1);
    m_looker.setMaxThreadCount(1);
    m_thumbnails->setSettingsReader(m_session->savedSettingsReader());
    m_collector.setMaxThreadCount(1);  // exports keep their order
    m_reload.setSingleShot(true);
    m_reload.setInterval(500);  // milliseconds without a change: a file may be written in parts
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, &m_reload, qOverload<>(&QTimer::start));
    connect(&m_reload, &QTimer::timeout, this, &MainWindow::reloadIfChanged);
    makeCentre();
    makePanels();
    makeStatusBar();
    makeActions();
    connectSession();
    connectView();
    restoreLayout();
    enableActions();
}

MainWindow::~MainWindow() {
    m_lister.clear();
    m_lister.waitForDone();
    m_collector.waitForDone();
    m_looker.waitForDone();
    m_session->close();
    m_renderer->close();
    disconnect(m_session->history(), nullptr, this, nullptr);
    disconnect(m_session, nullptr, this, nullptr);
}

void MainWindow::makeCentre() {
    m_view = new PhotoView;
    m_messages = new MessageBar;
    m_cropBar = new CropBar(m_session, m_crop);
    m_view->clear(tr("Open a photograph or a folder, or drop it here."));
    auto* centre = new QWidget;
    auto* layout = new QVBoxLayout(centre);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_messages);
    layout->addWidget(m_cropBar);
    layout->addWidget(m_view, 1);
    setCentralWidget(centre);
}

QDockWidget* MainWindow::addDock(const QString& name, const QString& title, QWidget* widget, Qt::DockWidgetArea area) {
    auto* dock = new QDockWidget(title);
    dock->setObjectName(name);
    dock->setWidget(widget);
    addDockWidget(area, dock);
    return dock;
}

void MainWindow::makePanels() {
    m_histogram = new HistogramView;
    m_target = new QComboBox;
    m_target->setModel(new LayerModel(m_session, m_target));
    m_target->setToolTip(tr("What the sliders act on"));
    m_target->setAccessibleName(m_target->toolTip());
    m_tabs = new QTabWidget;
    m_tabs->setDocumentMode(true);
    const auto addSliders = [this](const QString& title, const QStringList& groups) {
        auto* panel = new SliderPanel(m_session, groups);
        m_sliderPanels.push_back(panel);
        m_tabs->addTab(scrolling(panel), title);
    };
    addSliders(tr("Light"), {"light"});
    addSliders(tr("Detail"), {"small", "medium", "large", "noise"});
    addSliders(tr("Colour"), {"colour", "mix"});
    m_layers = new LayerPanel(m_session, m_brush);
    m_tabs->addTab(scrolling(m_layers), tr("Layers"));

    auto* right = new QWidget;
    auto* layout = new QVBoxLayout(right);
    layout->setContentsMargins(6, 6, 6, 6);
    layout->addWidget(m_histogram);
    layout->addWidget(m_target);
    layout->addWidget(m_tabs, 1);
    right->setMinimumWidth(290);
    addDock("adjust", tr("Adjust"), right, Qt::RightDockWidgetArea);

    m_presets = new PresetStrip;
    auto* presets = addDock("presets", tr("Presets"), m_presets, Qt::LeftDockWidgetArea);
    auto* history = new QUndoView(m_session->history());
    history->setEmptyLabel(tr("As opened"));
    history->setWordWrap(true);
    history->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto* historyDock = addDock("history", tr("History"), history, Qt::LeftDockWidgetArea);
    tabifyDockWidget(presets, historyDock);
    presets->raise();

    m_strip = new FilmStrip(m_thumbnails);
    auto* strip = addDock("strip", tr("Photographs"), m_strip, Qt::BottomDockWidgetArea);
    m_exportDock = addDock("exports", tr("Exports"), new ExportPanel(m_exports), Qt::BottomDockWidgetArea);
    m_exportDock->hide();
    setCorner(Qt::BottomRightCorner, Qt::RightDockWidgetArea);
    resizeDocks({presets}, {215}, Qt::Horizontal);
    resizeDocks({strip}, {120}, Qt::Vertical);
}

void MainWindow::makeStatusBar() {
    m_pixel = new QLabel;
    m_zoom = new QLabel;
    m_zoom->setContentsMargins(0, 0, 6, 0);  // from the edge of a screen that the window fills
    m_progress = new QProgressBar;
    m_progress->setMaximumWidth(160);
    m_progress->setRange(0, 1000);
    m_progress->setTextVisible(false);
    m_cancel = new QToolButton;
    m_cancel->setText(tr("Cancel"));
    m_cancel->setToolTip(tr("Ends the preparation; the preview stays"));
    connect(m_cancel, &QToolButton::clicked, m_renderer, &Renderer::cancelPreparation);
    statusBar()->addWidget(m_pixel, 1);
    statusBar()->addPermanentWidget(m_progress);
    statusBar()->addPermanentWidget(m_cancel);
    statusBar()->addPermanentWidget(m_zoom);
    m_progress->hide();
    m_cancel->hide();
}

void MainWindow::connectSession() {
    connect(m_session, &Session::opened, this, &MainWindow::showOpened);
    connect(m_session, &Session::message, m_messages, &MessageBar::say);
    connect(m_session, &Session::pasted, this, &MainWindow::showPasted);
    connect(m_session, &Session::savedSettingsChanged, this,
            [this](const std::string& photograph, const photo::Settings& settings) {
                m_thumbnails->setEdited(fileName(photograph), settings != photo::Settings());
            });
    constexpr int kRenewAfter = 1000;  // milliseconds without a change: its thumbnail can wait until the hand rests
    m_renewal.setSingleShot(true);
    m_renewal.setInterval(kRenewAfter);
    const auto renewLater = [this](const QString& photograph) {
        m_renewed.insert(photograph);
        m_renewal.start();
    };
    connect(m_session, &Session::settingsSaved, this, renewLater);
    connect(m_session, &Session::settingsNotSaved, this, renewLater);
    connect(&m_renewal, &QTimer::timeout, this, [this] {
        for (const QString& photograph : std::exchange(m_renewed, {})) m_thumbnails->renew(photograph);
    });
    connect(m_session, &Session::settingsChanged, this, [this](bool held) {
        m_renderer->setSettings(m_session->settingsPtr(), held);
        updatePicture();
        m_presets->showChosen(m_session->settings());
        if (!held) m_presets->setGeometry(m_session->settings());
        if (held && m_maskByBrush) m_mask->setChecked(m_session->isPainting());  // a slider's effect is to be seen
        m_thumbnails->setEdited(fileName(m_session->path()), m_session->settings() != photo::Settings());
    });
    connect(m_session, &Session::targetChanged, this, [this](int target) {
        m_target->setCurrentIndex(target + 1);
        updateView(false);
    });
    // After a reset of the model the box shows nothing.
    connect(m_target->model(), &QAbstractItemModel::modelReset, this,
            [this] { m_target->setCurrentIndex(m_session->target() + 1); });
    connect(m_target, &QComboBox::activated, this, [this](int row) { m_session->setTarget(row - 1); });
    m_target->setCurrentIndex(0);
    connect(m_strip, &FilmStrip::photographChosen, this, &MainWindow::openPhotograph);
    connect(m_presets, &PresetStrip::presetChosen, this, [this](const QString& name) {
        finishGestures();
        m_session->applyPreset(name.isEmpty() ? photo::Preset{kNoPreset, {}, {}} : photo::preset(name.toStdString()));
    });
    connect(m_exports, &ExportQueue::finished, this,
            [this](const QString&, const QString& target, ExportQueue::State state, const QString& text,
                   const QString& details) {
                if (state == ExportQueue::State::failed)
                    m_messages->say(tr("Not exported: %1").arg(text), details);
                else if (state == ExportQueue::State::done)
                    statusBar()->showMessage(tr("Exported %1").arg(target), 5000);
            });
}

bool MainWindow::isSettled() const { return m_listed == m_listings && m_renderer->isSettled(); }

QString MainWindow::messageText() const { return m_messages->text(); }

bool MainWindow::showPanel(const QString& name) {
    const int index = QStringList{"light", "detail", "colour", "layers"}.indexOf(name);
    if (index >= 0) m_tabs->setCurrentIndex(index);
    return index >= 0;
}

}  // namespace kestrova::studio
