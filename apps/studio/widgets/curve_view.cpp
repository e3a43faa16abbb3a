#include "studio/widgets/curve_view.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

namespace kestrova::studio {

namespace {

constexpr int kMargin = 4;

}  // namespace

CurveView::CurveView(QWidget* parent) : QWidget(parent) {
    QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
    setAccessibleName(tr("Tone curve"));
    setToolTip(tr("What becomes of each tone, from black on the left to white on the right"));
}

void CurveView::setCurve(const QVector<float>& results) {
    if (results == m_results) return;
    m_results = results;
    update();
}

QSize CurveView::sizeHint() const { return {264, heightForWidth(264)}; }

QSize CurveView::minimumSizeHint() const { return {100, 80}; }

int CurveView::heightForWidth(int width) const { return std::clamp(width * 5 / 8, 80, 200); }

void CurveView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(palette().color(QPalette::Base));
    painter.drawRoundedRect(rect(), 3, 3);

    const QRectF field = QRectF(rect()).adjusted(kMargin, kMargin, -kMargin, -kMargin);
    const auto at = [&](double tone, double result) {
        return QPointF(field.left() + tone * field.width(), field.bottom() - result * field.height());
    };
    painter.setPen(QPen(palette().color(QPalette::Mid), 1, Qt::DotLine));
    for (int quarter = 1; quarter < 4; ++quarter) {
        painter.drawLine(at(quarter / 4.0, 0), at(quarter / 4.0, 1));
        painter.drawLine(at(0, quarter / 4.0), at(1, quarter / 4.0));
    }
    painter.drawLine(at(0, 0), at(1, 1));

    QPainterPath path(at(0, m_results.size() > 1 ? std::clamp(m_results[0], 0.0f, 1.0f) : 0));
    for (qsizetype i = 1; i < m_results.size(); ++i)
        path.lineTo(at(static_cast<double>(i) / static_cast<double>(m_results.size() - 1),
                       std::clamp(m_results[i], 0.0f, 1.0f)));
    if (m_results.size() < 2) path.lineTo(at(1, 1));
    painter.setPen(QPen(palette().color(QPalette::Highlight), 2));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(path);
}

}  // namespace kestrova::studio
