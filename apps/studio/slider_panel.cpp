#include "studio/slider_panel.h"

#include <QFontMetrics>
#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "photo/tone_curve.h"
#include "studio/session.h"
#include "studio/widgets/curve_view.h"
#include "studio/widgets/slider_row.h"
#include "studio/widgets/slider_texts.h"

namespace kestrova::studio {

SliderPanel::SliderPanel(Session* session, const QStringList& groups, QWidget* parent)
    : QWidget(parent), m_session(session) {
    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(4);
    for (const QString& group : groups) addGroup(group, layout);
    layout->addStretch(1);
    int labels = 0;
    for (const auto& [name, row] : m_rows) labels = std::max(labels, row->labelWidth());
    for (const auto& [name, row] : m_rows) row->setLabelWidth(labels);
    connect(session, &Session::opened, this, &SliderPanel::refresh);
    connect(session, &Session::closed, this, &SliderPanel::refresh);
    connect(session, &Session::settingsChanged, this, &SliderPanel::refresh);
    connect(session, &Session::targetChanged, this, &SliderPanel::refresh);
    refresh();
}

void SliderPanel::addGroup(const QString& group, QVBoxLayout* layout) {
    auto* title = new QLabel(sliderGroupTitle(group));
    QFont bold = title->font();
    bold.setBold(true);
    title->setFont(bold);
    auto* reset = new QToolButton;
    reset->setText(tr("Reset"));
    reset->setAutoRaise(true);
    reset->setToolTip(tr("Sets all sliders of this group back."));
    reset->setAccessibleName(tr("Reset %1").arg(title->text()));
    auto* heading = new QHBoxLayout;
    heading->setContentsMargins(0, layout->isEmpty() ? 0 : 8, 0, 0);
    heading->addWidget(title, 1);
    heading->addWidget(reset);
    layout->addLayout(heading);
    if (group == "light") {
        m_curve = new CurveView;
        layout->addWidget(m_curve);
    }
    for (const photo::Slider& slider : photo::sliders()) {
        if (group != slider.group) continue;
        auto* row = new SliderRow(slider);
        m_rows[slider.name] = row;
        layout->addWidget(row);
        connect(row, &SliderRow::gestureBegun, m_session, &Session::beginGesture);
        connect(row, &SliderRow::valueChanged, this, [this, &slider](float v) { m_session->setValue(slider, v); });
        connect(row, &SliderRow::gestureEnded, m_session, &Session::endGesture);
    }
    connect(reset, &QToolButton::clicked, this, [this, group, name = title->text()] {
        photo::Adjustments next = m_session->adjustments();
        const photo::Adjustments nothing;
        for (const photo::Slider& slider : photo::sliders())
            if (group == slider.group) slider.of(next) = slider.value(nothing);
        m_session->setAdjustments(tr("Reset %1").arg(name), next);
    });
}

void SliderPanel::finishGestures() {
    for (const auto& [name, row] : m_rows) row->finishGesture();
}

void SliderPanel::refresh() {
    setEnabled(m_session->isOpen());
    const photo::Adjustments& adjustments = m_session->adjustments();
    for (const auto& [name, row] : m_rows) {
        const float value = photo::slider(name).value(adjustments);
        if (row->value() != value) row->setValue(value);
    }
    const photo::Light& light = adjustments.light;
    const std::array<float, 6> six = {light.brightness, light.contrast, light.highlights,
                                      light.shadows,    light.whites,   light.blacks};
    if (!m_curve || six == m_curveOf) return;
    m_curveOf = six;
    constexpr int kTones = 129;
    const std::vector<float> curve = photo::toneCurve(adjustments.light, kTones);
    m_curve->setCurve(QVector<float>(curve.begin(), curve.end()));
}

}  // namespace kestrova::studio
