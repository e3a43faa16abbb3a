#include "studio/crop_box.h"

#include <algorithm>
#include <cmath>

namespace kestrova::studio {

namespace {

/// As std::clamp, where rounding may bring `low` above `high`.
double within(double v, double low, double high) { return std::max(low, std::min(v, high)); }

QRectF draggedFreely(QRectF box, int sides, const QPointF& to, const QRectF& bounds, double least) {
    if (sides & kLeftSide) box.setLeft(within(to.x(), bounds.left(), box.right() - least));
    if (sides & kRightSide) box.setRight(within(to.x(), box.left() + least, bounds.right()));
    if (sides & kTopSide) box.setTop(within(to.y(), bounds.top(), box.bottom() - least));
    if (sides & kBottomSide) box.setBottom(within(to.y(), box.top() + least, bounds.bottom()));
    return box;
}

/// Room on one axis for a box that is anchored at its low side, its high side or its middle.
double room(bool low, bool high, double from, double to, double first, double last) {
    if (low) return to - first;    // the high side stays
    if (high) return last - from;  // the low side stays
    const double middle = (from + to) / 2;
    return 2 * std::min(middle - first, last - middle);
}

double placed(bool low, bool high, double from, double to, double length) {
    if (low) return to - length;
    if (high) return from;
    return (from + to - length) / 2;
}

}  // namespace

QRectF draggedBox(const QRectF& box, int sides, const QPointF& to, double ratio, const QRectF& bounds, double least) {
    const QRectF dragged = draggedFreely(box, sides, to, bounds, least);
    if (ratio <= 0) return dragged;
    const bool left = sides & kLeftSide, right = sides & kRightSide;
    const bool top = sides & kTopSide, bottom = sides & kBottomSide;
    double width = left || right ? dragged.width() : 0;
    if (top || bottom) width = std::max(width, dragged.height() * ratio);
    width = std::max({width, least, least * ratio});
    width = std::min({width, room(left, right, box.left(), box.right(), bounds.left(), bounds.right()),
                      ratio * room(top, bottom, box.top(), box.bottom(), bounds.top(), bounds.bottom())});
    const double height = width / ratio;
    return {placed(left, right, box.left(), box.right(), width), placed(top, bottom, box.top(), box.bottom(), height),
            width, height};
}

QRectF movedBox(const QRectF& box, const QPointF& by, const QRectF& bounds) {
    const double x = std::clamp(box.x() + by.x(), bounds.left(), std::max(bounds.left(), bounds.right() - box.width()));
    const double y = std::clamp(box.y() + by.y(), bounds.top(), std::max(bounds.top(), bounds.bottom() - box.height()));
    return {x, y, box.width(), box.height()};
}

QRectF boxOfRatio(const QRectF& box, double ratio, const QRectF& bounds) {
    if (ratio <= 0) return box;
    double width = std::max(box.width(), box.height() * ratio);
    width = std::min({width, bounds.width(), bounds.height() * ratio});
    const QSizeF size(width, width / ratio);
    const QPointF corner = box.center() - QPointF(size.width() / 2, size.height() / 2);
    return movedBox({corner, size}, {0, 0}, bounds);
}

}  // namespace kestrova::studio
