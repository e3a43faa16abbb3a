#pragma once

#include <QPointF>
#include <QRectF>

namespace kestrova::studio {

/// Which sides of a crop are dragged.
enum CropSide { kNoSide = 0, kLeftSide = 1, kRightSide = 2, kTopSide = 4, kBottomSide = 8 };

/// The box with the given sides moved to `to`, inside of `bounds` and no smaller than `least`. `ratio` is that of width
/// to height, 0 for any: then the side or corner across stays where it is.
QRectF draggedBox(const QRectF& box, int sides, const QPointF& to, double ratio, const QRectF& bounds, double least);

/// The box moved as far as `bounds` let it.
QRectF movedBox(const QRectF& box, const QPointF& by, const QRectF& bounds);

/// The largest box of that ratio inside of `bounds`, around the middle of `box`, no larger than it needs to hold it.
QRectF boxOfRatio(const QRectF& box, double ratio, const QRectF& bounds);

}  // namespace kestrova::studio
