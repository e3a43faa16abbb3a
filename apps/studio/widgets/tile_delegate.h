#pragma once

#include <QStyledItemDelegate>

namespace kestrova::studio {

/// What a tile shows besides `Qt::DecorationRole`, a QImage, and its name.
enum TileRole {
    PathRole = Qt::UserRole,  ///< QString
    FailedRole,               ///< bool: there is no picture, the tooltip says why
    EditedRole,               ///< bool: marked with a dot
};

/// Draws a picture with its name below it, for lists of photographs and of presets.
class TileDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    /// Room for a picture of that size.
    TileDelegate(const QSize& picture, QObject* parent) : QStyledItemDelegate(parent), m_picture(picture) {}

    void setPicture(const QSize& picture) { m_picture = picture; }

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    /// The size of every tile with names in that font.
    QSize tileSize(const QFontMetrics& metrics) const;
    /// What a tile has around its picture, left and right together.
    static int frameWidth();
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

private:
    QSize m_picture;
};

}  // namespace kestrova::studio
