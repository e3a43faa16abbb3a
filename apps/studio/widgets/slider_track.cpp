#include "studio/widgets/slider_track.h"

#include <QMouseEvent>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace kestrova::studio {

namespace {

constexpr int kHandle = 13, kGroove = 3, kHeight = 19;
constexpr double kFine = 0.2;

}  // namespace

SliderTrack::SliderTrack(int least, int greatest, int rest, QWidget* parent)
    : QSlider(Qt::Horizontal, parent), m_rest(rest) {
    setRange(least, greatest);
    setValue(rest);
    setFocusPolicy(Qt::StrongFocus);
    setLayoutDirection(Qt::LeftToRight);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAttribute(Qt::WA_Hover);
}

QSize SliderTrack::sizeHint() const { return {140, kHeight}; }

QSize SliderTrack::minimumSizeHint() const { return {60, kHeight}; }

double SliderTrack::pixelsPerStep() const {
    return std::max(1.0, static_cast<double>(width() - kHandle)) / (maximum() - minimum());
}

double SliderTrack::xOf(double value) const { return kHandle / 2.0 + (value - minimum()) * pixelsPerStep(); }

void SliderTrack::reportDrag() {
    emit dragged(static_cast<int>(std::lround(std::clamp<double>(m_aim, minimum(), maximum()))));
}

void SliderTrack::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return event->ignore();
    m_dragged = false;
    m_handX = event->position().x();
    m_aim = value();
    setSliderDown(true);
    if (std::abs(m_handX - xOf(value())) <= kHandle / 2.0 + 1) return;
    m_aim = minimum() + (m_handX - kHandle / 2.0) / pixelsPerStep();
    reportDrag();
}

void SliderTrack::mouseMoveEvent(QMouseEvent* event) {
    if (!isSliderDown()) return event->ignore();
    const double moved = event->position().x() - m_handX;
    if (moved == 0) return;
    m_handX += moved;
    m_aim += moved / pixelsPerStep() * (event->modifiers() & Qt::ShiftModifier ? kFine : 1);
    m_dragged = true;
    reportDrag();
}

void SliderTrack::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !isSliderDown()) return event->ignore();
    setSliderDown(false);
    emit released(m_dragged);
}

void SliderTrack::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return event->ignore();
    emit doubleClicked();
}

void SliderTrack::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const QPalette::ColorGroup group = isEnabled() ? QPalette::Active : QPalette::Disabled;
    const double middle = height() / 2.0, rest = xOf(m_rest), hand = xOf(value());
    const auto bar = [&](double from, double to, const QColor& colour) {
        painter.setBrush(colour);
        painter.drawRoundedRect(QRectF(from, middle - kGroove / 2.0, to - from, kGroove), kGroove / 2.0, kGroove / 2.0);
    };
    bar(xOf(minimum()), xOf(maximum()), palette().color(group, QPalette::Mid));
    bar(std::min(rest, hand), std::max(rest, hand), palette().color(group, QPalette::Highlight));
    if (m_rest != minimum()) {
        painter.setBrush(palette().color(group, QPalette::Mid));
        painter.drawRect(QRectF(rest - 0.5, middle - 5, 1, 10));
    }
    const bool lit = isSliderDown() || hasFocus() || (isEnabled() && underMouse());
    const bool darkTheme = palette().color(QPalette::Window).lightness() < 128;
    painter.setBrush(
        palette().color(group, QPalette::Light).lighter(darkTheme && isEnabled() ? (lit ? 200 : 160) : 100));
    painter.setPen(QPen(palette().color(group, hasFocus() ? QPalette::Highlight : QPalette::Dark), hasFocus() ? 2 : 1));
    painter.drawEllipse(QPointF(hand, middle), kHandle / 2.0 - 1, kHandle / 2.0 - 1);
}

}  // namespace kestrova::studio
