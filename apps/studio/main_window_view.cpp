#include <QAction>
#include <QActionGroup>
#include <QLabel>
#include <QProgressBar>
#include <QStatusBar>
#include <QToolButton>

#include <utility>

#include "photo/error.h"
#include "studio/brush_tool.h"
#include "studio/crop_bar.h"
#include "studio/crop_tool.h"
#include "studio/layer_panel.h"
#include "studio/main_window.h"
#include "studio/message_bar.h"
#include "studio/photo_view.h"
#include "studio/renderer.h"
#include "studio/session.h"
#include "studio/straighten_tool.h"
#include "studio/widgets/file_troubles.h"
#include "studio/widgets/histogram_view.h"
#include "studio/widgets/pixels.h"

namespace kestrova::studio {

namespace {

/// Every fourth row of it, with shared pixels.
QImage rowsOf(const QImage& image) {
    constexpr int kStep = 4;
    if (image.height() < kStep) return image;
    auto* owner = new QImage(image);
    return QImage(
        owner->constBits(), image.width(), image.height() / kStep, kStep * image.bytesPerLine(), image.format(),
        [](void* held) { delete static_cast<QImage*>(held); }, owner);
}

}  // namespace

void MainWindow::connectView() {
    connect(m_view, &PhotoView::viewChanged, this, [this](bool moving) {
        updateView(moving);
        showZoom();
    });
    connect(m_view, &PhotoView::pointerMoved, this, &MainWindow::showPointer);
    connect(m_view, &PhotoView::toolLeft, m_hand, &QAction::trigger);
    connect(m_view, &PhotoView::pointerLeft, m_pixel, &QLabel::clear);
    connect(m_renderer, &Renderer::frameReady, this, &MainWindow::showFrame);
    connect(m_renderer, &Renderer::progress, this, &MainWindow::showProgress);
    connect(m_renderer, &Renderer::sizeKnown, this, &MainWindow::updatePicture);
    connect(m_renderer, &Renderer::prepared, this, [this] { showProgress(1); });
    connect(m_renderer, &Renderer::noted, this,
            [this](const QStringList& notes) { m_messages->say(notes.join('\n')); });
    connect(m_renderer, &Renderer::failed, this, [this](int kind, const QString& text) {
        showProgress(1);
        if (kind == static_cast<int>(photo::Error::Kind::cancelled)) {
            statusBar()->showMessage(tr("Not prepared: this is a preview. Open the photograph again to prepare it."));
            return;
        }
        m_messages->say(sentenceOf(static_cast<photo::Error::Kind>(kind), text, fileName(m_session->path())), text);
        if (m_view->frame() == nullptr) m_view->clear(tr("This photograph cannot be shown."));
    });
    connect(m_histogram, &HistogramView::clippingShownChanged, this, [this](bool dark, bool bright) {
        m_clippingDark = dark;
        m_clippingBright = bright;
        m_clipping->setChecked(dark || bright);
        updateView(false);
    });
    connect(m_layers, &LayerPanel::maskColourChanged, this, [this] { updateView(false); });
    connect(m_layers, &LayerPanel::brushWanted, this, [this] { m_brushAction->trigger(); });
    connect(m_cropBar, &CropBar::done, this, [this] { m_hand->trigger(); });
    connect(m_straighten, &StraightenTool::straightened, this, [this] { m_hand->trigger(); });
    connect(m_tools, &QActionGroup::triggered, this, [this](QAction* action) { chooseTool(action); });
}

void MainWindow::updatePicture() {
    const QSizeF whole = m_renderer->whole();
    if (whole.isEmpty()) return;  // not known yet
    m_crop->setFrame(whole);
    const QSizeF photograph = m_renderer->photographSize();
    m_cropBar->setPhotographSize(m_session->settings().rotate % 180 ? photograph.transposed() : photograph);
    m_view->setPictureSize(whole);
}

void MainWindow::updateView(bool moving) {
    if (!m_session->isOpen()) return;
    ViewState state;
    state.area = m_view->transform().seen();
    state.zoom = m_view->transform().zoom();
    state.before = m_view->isBefore() || m_view->isSplit();
    state.after = !m_view->isBefore();
    state.cropping = m_view->tool() == m_crop;
    state.darkClipping = m_clipping->isChecked() && m_clippingDark;
    state.brightClipping = m_clipping->isChecked() && m_clippingBright;
    state.maskOfLayer = m_mask->isChecked() ? m_session->target() : Session::kWhole;
    state.maskColour = m_layers->maskColour();
    m_renderer->setView(state, moving);
}

void MainWindow::showFrame(const std::shared_ptr<const Frame>& frame) {
    m_view->showFrame(frame);
    if (frame->before != m_view->isBefore()) return;
    m_histogram->setImage(frame->fine ? frame->image : rowsOf(frame->image), static_cast<unsigned>(frame->brightEnd));
}

void MainWindow::showProgress(double share) {
    const bool underWay = share < 1 && m_session->isOpen();
    m_progress->setVisible(underWay);
    m_cancel->setVisible(underWay && !m_renderer->isPrepared());
    m_progress->setValue(static_cast<int>(1000 * share));
}

void MainWindow::showPointer(const QPointF& place, const QColor& colour) {
    if (!colour.isValid()) {
        m_pixel->clear();
        return;
    }
    m_pixel->setText(tr("%1, %2    R %3  G %4  B %5")
                         .arg(static_cast<int>(place.x()))
                         .arg(static_cast<int>(place.y()))
                         .arg(colour.red())
                         .arg(colour.green())
                         .arg(colour.blue()));
}

void MainWindow::showZoom() {
    m_zoom->setText(m_view->transform().isEmpty() ? QString()
                                                  : tr("%1 %").arg(qRound(100 * m_view->transform().zoom())));
}

bool MainWindow::chooseTool(const QString& name) {
    const int index = QStringList{"hand", "brush", "crop", "straighten"}.indexOf(name);
    if (index >= 0) m_tools->actions()[index]->trigger();
    return index >= 0;
}

void MainWindow::chooseTool(QAction* action) {
    Tool* tool = nullptr;
    if (action == m_brushAction) tool = m_brush;
    if (action == m_cropAction) tool = m_crop;
    if (action == m_straightenAction) tool = m_straighten;
    if (tool == m_view->tool()) return;
    const bool cropChanges = tool == m_crop || m_view->tool() == m_crop;
    m_view->setTool(tool);
    m_cropBar->setVisible(tool == m_crop);
    if (tool == m_crop || tool == m_straighten) m_view->setFocus();
    if (std::exchange(m_maskByBrush, false)) m_mask->setChecked(false);
    if (tool == m_brush) {
        showPanel("layers");
        m_maskByBrush = !m_mask->isChecked();
        m_mask->setChecked(true);
        const int layers = static_cast<int>(m_session->settings().layers.size());
        if (m_session->target() == Session::kWhole && layers > 0) m_session->setTarget(layers - 1);
    }
    updateView(false);
    if (!cropChanges) return;
    updatePicture();
    if (tool == m_crop) m_view->fit();
}

}  // namespace kestrova::studio
