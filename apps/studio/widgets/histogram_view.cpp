#include "studio/widgets/histogram_view.h"

#include <QHelpEvent>
#include <QLocale>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QToolTip>
#include <algorithm>
#include <cmath>

#include "studio/widgets/background.h"

namespace kestrova::studio {

namespace {

constexpr int kMargin = 4, kMark = 12;

// The third highest column within the ends fills the height: a clipped picture's ends and single spikes would press
// everything else to the ground.
double fullHeight(const Histogram& histogram) {
    double most = 1;
    for (const Histogram::Counts* counts : {&histogram.red, &histogram.green, &histogram.blue, &histogram.luminance}) {
        std::array<std::uint32_t, 254> inner;
        std::copy(counts->begin() + 1, counts->end() - 1, inner.begin());
        std::nth_element(inner.begin(), inner.begin() + 2, inner.end(), std::greater<>());
        most = std::max<double>(most, inner[2]);
    }
    return most;
}

QPainterPath shapeOf(const Histogram::Counts& counts, double full, const QRectF& field) {
    QPainterPath path(field.bottomLeft());
    for (int v = 0; v < 256; ++v) {
        const double share = std::min(1.0, std::sqrt(counts[static_cast<std::size_t>(v)] / full));
        path.lineTo(field.left() + field.width() * v / 255, field.bottom() - field.height() * share);
    }
    path.lineTo(field.bottomRight());
    path.closeSubpath();
    return path;
}

}  // namespace

HistogramView::HistogramView(QWidget* parent) : QWidget(parent) {
    m_pool.setMaxThreadCount(1);
    setAccessibleName(tr("Histogram"));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

HistogramView::~HistogramView() { m_pool.waitForDone(); }

QSize HistogramView::sizeHint() const { return {264, 120}; }

QSize HistogramView::minimumSizeHint() const { return {120, 80}; }

void HistogramView::setImage(const QImage& image, unsigned brightEnd) {
    ++m_generation;
    m_brightEnd = brightEnd;
    m_next = image;
    if (!m_counting) countNext();
}

void HistogramView::countNext() {
    if (m_next.isNull()) return;
    m_counting = true;
    m_pool.start([this, image = std::exchange(m_next, {}), brightEnd = m_brightEnd, generation = m_generation] {
        standBack(Background::tiles);
        const Histogram histogram = Histogram::of(image, brightEnd);
        QMetaObject::invokeMethod(this, [this, histogram, generation] {
            m_counting = false;
            if (generation == m_generation) {
                setHistogram(histogram);
                emit counted();
            }
            countNext();
        });
    });
}

void HistogramView::setHistogram(const Histogram& histogram) {
    m_histogram = histogram;
    update();
}

void HistogramView::clear() {
    ++m_generation;
    m_next = {};
    setHistogram({});
}

void HistogramView::setClippingShown(bool dark, bool bright) {
    if (dark == m_darkShown && bright == m_brightShown) return;
    m_darkShown = dark;
    m_brightShown = bright;
    update();
    emit clippingShownChanged(dark, bright);
}

QRectF HistogramView::darkMark() const { return {kMargin, kMargin, kMark, kMark}; }

QRectF HistogramView::brightMark() const { return {width() - kMargin - 1.0 * kMark, kMargin, kMark, kMark}; }

void HistogramView::mousePressEvent(QMouseEvent* event) {
    const bool dark = darkMark().contains(event->position()), bright = brightMark().contains(event->position());
    if (event->button() != Qt::LeftButton || (!dark && !bright)) return event->ignore();
    setClippingShown(m_darkShown != dark, m_brightShown != bright);
}

bool HistogramView::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip) return QWidget::event(event);
    const auto* help = static_cast<QHelpEvent*>(event);
    const auto share = [&](std::uint64_t pixels) {
        return locale().toString(
            m_histogram.pixels ? 100.0 * static_cast<double>(pixels) / static_cast<double>(m_histogram.pixels) : 0, 'f',
            2);
    };
    QString text;
    if (darkMark().contains(help->pos()))
        text = tr("%1 % of the pixels are black in a channel; click to show them").arg(share(m_histogram.dark));
    else if (brightMark().contains(help->pos()))
        text = tr("%1 % of the pixels are full in a channel; click to show them").arg(share(m_histogram.bright));
    else
        text = tr("Red, green and blue of what is seen, over its luminance");
    QToolTip::showText(help->globalPos(), text, this);
    return true;
}

void HistogramView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const bool light = palette().color(QPalette::Base).lightness() > 127;
    painter.setBrush(palette().color(QPalette::Base));
    painter.drawRoundedRect(rect(), 3, 3);

    const QRectF field = QRectF(rect()).adjusted(kMargin, kMargin, -kMargin, -kMargin);
    painter.setPen(QPen(palette().color(QPalette::Mid), 1, Qt::DotLine));
    for (int quarter = 1; quarter < 4; ++quarter) {
        const double x = std::round(field.left() + field.width() * quarter / 4) + 0.5;
        painter.drawLine(QPointF(x, field.top()), QPointF(x, field.bottom()));
    }
    painter.setPen(Qt::NoPen);
    if (m_histogram.pixels) {
        const double full = fullHeight(m_histogram);
        QColor grey = palette().color(QPalette::Text);
        grey.setAlpha(70);
        painter.fillPath(shapeOf(m_histogram.luminance, full, field), grey);
        painter.setCompositionMode(light ? QPainter::CompositionMode_Multiply : QPainter::CompositionMode_Screen);
        const std::pair<const Histogram::Counts*, QColor> channels[] = {
            {&m_histogram.red, light ? QColor(255, 150, 150) : QColor(190, 40, 40)},
            {&m_histogram.green, light ? QColor(150, 230, 150) : QColor(30, 150, 40)},
            {&m_histogram.blue, light ? QColor(150, 180, 255) : QColor(40, 80, 210)}};
        for (const auto& [counts, colour] : channels) painter.fillPath(shapeOf(*counts, full, field), colour);
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    }

    const auto mark = [&](const QRectF& place, bool left, bool lit, bool shown) {
        QPainterPath triangle(left ? place.topLeft() : place.topRight());
        triangle.lineTo(left ? place.topRight() : place.topLeft());
        triangle.lineTo(left ? place.bottomLeft() : place.bottomRight());
        triangle.closeSubpath();
        const QColor colour = left ? QColor(60, 130, 255) : QColor(240, 70, 50);
        painter.setPen(shown ? QPen(palette().color(QPalette::Text), 1.5) : QPen(palette().color(QPalette::Mid), 1));
        painter.setBrush(lit ? colour : palette().color(QPalette::Window));
        painter.drawPath(triangle);
    };
    mark(darkMark(), true, m_histogram.dark > 0, m_darkShown);
    mark(brightMark(), false, m_histogram.bright > 0, m_brightShown);
}

}  // namespace kestrova::studio
