#include "studio/widgets/tile_delegate.h"

#include <QAbstractItemView>
#include <QImage>
#include <QPainter>

namespace kestrova::studio {

namespace {

constexpr int kPadding = 6;
constexpr double kSmallFont = 0.85;  // for names that are too long

void drawDot(QPainter& painter, const QPointF& corner, const QPalette& palette) {
    painter.setPen(QPen(Qt::black, 1));
    painter.setBrush(palette.color(QPalette::Highlight));
    painter.drawEllipse(corner - QPointF(8, 8), 4.5, 4.5);
}

void drawPlaceholder(QPainter& painter, const QRectF& field, bool failed, const QPalette& palette) {
    painter.save();
    painter.setPen(QPen(palette.color(QPalette::Mid), 1, Qt::DashLine));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(field.adjusted(4, 4, -4, -4));
    if (failed) {
        QFont font = painter.font();
        font.setBold(true);
        font.setPixelSize(18);
        painter.setFont(font);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(200, 60, 40));
        painter.drawEllipse(field.center(), 14, 14);
        painter.setPen(Qt::white);
        painter.drawText(field, Qt::AlignCenter, "!");
    }
    painter.restore();
}

}  // namespace

QSize TileDelegate::tileSize(const QFontMetrics& metrics) const {
    return m_picture + QSize(2 * kPadding, metrics.height() + 3 * kPadding);
}

int TileDelegate::frameWidth() { return 2 * kPadding; }

QSize TileDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const {
    return tileSize(option.fontMetrics);
}

void TileDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
    const auto* view = qobject_cast<const QAbstractItemView*>(option.widget);
    const bool current = view && view->currentIndex() == index;
    const bool selected = current || option.state & QStyle::State_Selected;
    const QPalette& palette = option.palette;
    painter->save();
    painter->setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    const QRectF tile = QRectF(option.rect).adjusted(2, 2, -2, -2);
    if (selected || option.state & QStyle::State_MouseOver) {
        QColor back = palette.color(QPalette::Highlight);
        back.setAlpha(selected ? 70 : 30);
        painter->setPen(current ? QPen(palette.color(QPalette::Highlight), 2) : QPen(Qt::NoPen));
        painter->setBrush(back);
        painter->drawRoundedRect(tile, 4, 4);
    }

    QRectF field(QPointF(0, 0), m_picture);
    field.moveCenter({tile.center().x(), 0});
    field.moveTop(tile.top() + kPadding);
    const bool failed = index.data(FailedRole).toBool();
    const QImage image = index.data(Qt::DecorationRole).value<QImage>();
    if (image.isNull()) {
        drawPlaceholder(*painter, field, failed, palette);
    } else {
        QRectF place(QPointF(0, 0), QSizeF(image.size()).scaled(field.size(), Qt::KeepAspectRatio));
        place.moveCenter(field.center());
        painter->drawImage(place, image);
        if (index.data(EditedRole).toBool()) drawDot(*painter, place.bottomRight(), palette);
    }
    const QRectF line(tile.left() + 2, field.bottom() + 2, tile.width() - 4, tile.bottom() - field.bottom() - 4);
    painter->setPen(palette.color(failed ? QPalette::Disabled : QPalette::Active, QPalette::Text));
    QFont font = option.font;
    const QString name = index.data().toString().simplified();  // names of files may have several lines
    if (option.fontMetrics.horizontalAdvance(name) > line.width()) font.setPointSizeF(kSmallFont * font.pointSizeF());
    painter->setFont(font);
    painter->drawText(line, Qt::AlignCenter,
                      painter->fontMetrics().elidedText(name, Qt::ElideMiddle, static_cast<int>(line.width())));
    painter->restore();
}

}  // namespace kestrova::studio
