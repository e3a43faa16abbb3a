#include "studio/crop_bar.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QToolButton>

#include "studio/crop_tool.h"
#include "studio/session.h"

namespace kestrova::studio {

namespace {

constexpr double kFree = 0, kOriginal = -1;

}  // namespace

CropBar::CropBar(Session* session, CropTool* tool, QWidget* parent)
    : QWidget(parent),
      m_session(session),
      m_tool(tool),
      m_ratios(new QComboBox),
      m_turn(new QToolButton),
      m_angle(new QDoubleSpinBox) {
    m_ratios->addItem(tr("Free"), kFree);
    m_ratios->addItem(tr("Original"), kOriginal);
    const std::pair<int, int> ratios[] = {{1, 1}, {5, 4}, {4, 3}, {3, 2}, {16, 10}, {16, 9}, {2, 1}};
    for (const auto& [w, h] : ratios)
        m_ratios->addItem(QStringLiteral("%1 : %2").arg(w).arg(h), static_cast<double>(w) / h);
    m_ratios->setAccessibleName(tr("Ratio"));
    m_ratios->setToolTip(tr("The ratio of the crop's sides"));
    m_turn->setText(tr("Upright"));
    m_turn->setCheckable(true);
    m_turn->setToolTip(tr("Turns the ratio upright"));
    m_angle->setRange(-45, 45);
    m_angle->setDecimals(1);
    m_angle->setSingleStep(0.1);
    m_angle->setSuffix(QStringLiteral("°"));
    m_angle->setKeyboardTracking(false);
    m_angle->setAccessibleName(tr("Angle"));
    m_angle->setToolTip(tr("Turns the photograph clockwise; the corners that this lays bare are cut off"));
    auto* reset = new QToolButton;
    reset->setText(tr("Reset"));
    reset->setToolTip(tr("Takes crop and angle back"));
    auto* done = new QToolButton;
    done->setText(tr("Done"));
    done->setToolTip(tr("Shows the photograph as it is cropped"));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(8, 4, 8, 4);
    layout->addWidget(new QLabel(tr("Ratio")));
    layout->addWidget(m_ratios);
    layout->addWidget(m_turn);
    layout->addSpacing(12);
    layout->addWidget(new QLabel(tr("Angle")));
    layout->addWidget(m_angle);
    layout->addStretch(1);
    layout->addWidget(reset);
    layout->addWidget(done);
    connect(m_ratios, &QComboBox::activated, this, &CropBar::applyRatio);
    connect(m_turn, &QToolButton::toggled, this, &CropBar::applyRatio);
    connect(m_angle, &QDoubleSpinBox::valueChanged, session, &Session::setStraighten);
    connect(reset, &QToolButton::clicked, this, [this] {
        m_ratios->setCurrentIndex(0);
        applyRatio();
        m_session->beginGesture();
        m_session->setStraighten(0);
        m_tool->reset();
        m_session->endGesture();
    });
    connect(done, &QToolButton::clicked, this, &CropBar::done);
    connect(session, &Session::opened, this, &CropBar::refresh);
    connect(session, &Session::settingsChanged, this, &CropBar::refresh);
    hide();
}

void CropBar::setPhotographSize(const QSizeF& size) {
    m_size = size;
    m_tool->setRatio(ratio());
}

double CropBar::ratio() const {
    double ratio = m_ratios->currentData().toDouble();
    if (ratio == kOriginal) ratio = m_size.isEmpty() ? kFree : m_size.width() / m_size.height();
    return ratio > 0 && m_turn->isChecked() ? 1 / ratio : ratio;
}

void CropBar::applyRatio() {
    m_tool->setRatio(ratio());
    m_tool->fitToRatio();
}

void CropBar::refresh() {
    const QSignalBlocker quiet(m_angle);
    m_angle->setValue(m_session->settings().straighten);
}

}  // namespace kestrova::studio
