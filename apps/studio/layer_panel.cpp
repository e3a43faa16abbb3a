#include "studio/layer_panel.h"

#include <QButtonGroup>
#include <QColorDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>
#include <functional>

#include "studio/brush_tool.h"
#include "studio/layer_list.h"
#include "studio/session.h"
#include "studio/widgets/slider_row.h"

namespace kestrova::studio {

namespace {

constexpr double kLargest = 0.5;  // radius, of the longer side
constexpr double kStrictest = 2;  // tolerance
constexpr float kBracketStep = 0.03f;

// Small brushes need finer steps than large ones.
double radiusOf(float slider) { return kLargest * std::max(1e-4, static_cast<double>(slider) * slider); }

QToolButton* button(const QString& text, const QString& tip) {
    auto* made = new QToolButton;
    made->setText(text);
    made->setToolTip(tip);
    made->setAccessibleName(tip);
    made->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    return made;
}

QLabel* heading(const QString& text) {
    auto* label = new QLabel(text);
    QFont bold = label->font();
    bold.setBold(true);
    label->setFont(bold);
    return label;
}

}  // namespace

LayerPanel::LayerPanel(Session* session, BrushTool* brush, QWidget* parent)
    : QWidget(parent), m_session(session), m_brush(brush), m_list(new LayerList(session)) {
    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(4);
    layout->addWidget(heading(tr("Layers")));
    layout->addWidget(m_list, 1);
    layout->addWidget(makeButtons());
    layout->addWidget(makeBrush());
    layout->addStretch(1);
    connect(session, &Session::opened, this, &LayerPanel::refresh);
    connect(session, &Session::closed, this, &LayerPanel::refresh);
    connect(session, &Session::settingsChanged, this, &LayerPanel::refresh);
    connect(session, &Session::targetChanged, this, &LayerPanel::refresh);
    setMaskColour(m_colour);
    setBrush();
    refresh();
}

QWidget* LayerPanel::makeButtons() {
    auto* box = new QWidget;
    auto* rows = new QVBoxLayout(box);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setSpacing(4);
    auto* layers = new QHBoxLayout;
    auto* masks = new QHBoxLayout;
    layers->setSpacing(4);
    masks->setSpacing(4);
    const auto add = [](QHBoxLayout* row, const QString& text, const QString& tip) {
        QToolButton* made = button(text, tip);
        row->addWidget(made);
        return made;
    };
    m_add = add(layers, tr("Add"), tr("Adds a layer"));
    m_duplicate = add(layers, tr("Copy"), tr("Copies the layer with its mask"));
    m_remove = add(layers, tr("Remove"), tr("Removes the layer"));
    m_up = add(layers, tr("Up"), tr("Moves the layer up"));
    m_down = add(layers, tr("Down"), tr("Moves the layer down"));
    m_fill = add(masks, tr("Fill"), tr("Lets the layer act everywhere"));
    m_clear = add(masks, tr("Clear"), tr("Lets the layer act nowhere"));
    m_invert = add(masks, tr("Invert"), tr("Lets the layer act where it did not"));
    m_colourButton = add(masks, tr("Colour"), tr("The colour that shows the mask"));
    rows->addLayout(layers);
    rows->addLayout(masks);
    const auto onLayer = [this](QToolButton* which, const std::function<void(int)>& act) {
        connect(which, &QToolButton::clicked, m_session, [session = m_session, act] { act(session->target()); });
    };
    connect(m_add, &QToolButton::clicked, m_session, &Session::addLayer);
    onLayer(m_duplicate, [this](int layer) { m_session->duplicateLayer(layer); });
    onLayer(m_remove, [this](int layer) { m_session->removeLayer(layer); });
    onLayer(m_up, [this](int layer) { m_session->moveLayer(layer, layer - 1); });
    onLayer(m_down, [this](int layer) { m_session->moveLayer(layer, layer + 1); });
    onLayer(m_fill, [this](int layer) { m_session->fillLayer(layer); });
    onLayer(m_clear, [this](int layer) { m_session->clearLayer(layer); });
    onLayer(m_invert, [this](int layer) { m_session->invertLayer(layer); });
    connect(m_colourButton, &QToolButton::clicked, this, [this] {
        const QColor chosen = QColorDialog::getColor(m_colour, this, tr("Colour of the mask"));
        if (chosen.isValid()) setMaskColour(chosen);
    });
    return box;
}

QWidget* LayerPanel::makeBrush() {
    auto* box = new QWidget;
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 8, 0, 0);
    layout->setSpacing(4);
    auto* top = new QHBoxLayout;
    m_paint = button(tr("Paint"), tr("The brush adds to the mask; with Ctrl it erases"));
    m_erase = button(tr("Erase"), tr("The brush takes away from the mask; with Ctrl it adds"));
    auto* either = new QButtonGroup(this);
    for (QToolButton* b : {m_paint, m_erase}) {
        b->setCheckable(true);
        b->setAutoRaise(true);  // shows best which one is down
        either->addButton(b);
    }
    m_paint->setChecked(true);
    top->addWidget(heading(tr("Brush")), 1);
    top->addWidget(m_paint);
    top->addWidget(m_erase);
    layout->addLayout(top);
    m_size = new SliderRow(tr("Size"), tr("The brush's radius; also with the keys [ and ]."), 0.01f, 1, 0.3f);
    m_hardness = new SliderRow(tr("Hardness"), tr("The part of the radius that paints in full."), 0, 1, 0.5f);
    m_opacity = new SliderRow(tr("Opacity"), tr("How much one stroke paints at most."), 0, 1, 1);
    m_tolerance = new SliderRow(
        tr("Edges"), tr("Above 0 the brush keeps to colours like the one under its middle, the more the higher."), 0, 1,
        0);
    const auto rows = {m_size, m_hardness, m_opacity, m_tolerance};
    int labels = 0;
    for (SliderRow* row : rows) labels = std::max(labels, row->labelWidth());
    for (SliderRow* row : rows) {
        row->setLabelWidth(labels);
        layout->addWidget(row);
        connect(row, &SliderRow::valueChanged, this, [this] {
            setBrush();
            emit brushWanted();
        });
    }
    connect(either, &QButtonGroup::buttonClicked, this, [this] {
        setBrush();
        emit brushWanted();
    });
    return box;
}

void LayerPanel::setBrush() {
    photo::Stroke brush;
    brush.radius = radiusOf(m_size->value());
    brush.hardness = m_hardness->value();
    brush.opacity = m_opacity->value();
    brush.tolerance = kStrictest * m_tolerance->value();
    brush.erase = m_erase->isChecked();
    m_brush->setBrush(brush);
}

void LayerPanel::resizeBrush(int steps) {
    m_size->setValue(std::clamp(m_size->value() + kBracketStep * static_cast<float>(steps), 0.01f, 1.0f));
    setBrush();
}

void LayerPanel::setErase(bool erase) {
    (erase ? m_erase : m_paint)->setChecked(true);
    setBrush();
}

void LayerPanel::setMaskColour(const QColor& colour) {
    m_colour = colour;
    QPixmap patch(14, 14);
    patch.fill(colour);
    m_colourButton->setIcon(patch);
    m_colourButton->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    emit maskColourChanged(colour);
}

void LayerPanel::refresh() {
    const int target = m_session->target(), last = static_cast<int>(m_session->settings().layers.size()) - 1;
    setEnabled(m_session->isOpen());
    for (QToolButton* b : {m_duplicate, m_remove, m_fill, m_clear, m_invert}) b->setEnabled(target >= 0);
    m_up->setEnabled(target > 0);
    m_down->setEnabled(target >= 0 && target < last);
}

}  // namespace kestrova::studio
