#include "kestrova/frame/geometry.h"

#include <cstdlib>

TSize::TSize(int width, int height) : width(width), height(height) {}
bool TSize::operator==(const TSize& other) const { return width == other.width && height == other.height; }
bool TSize::operator!=(const TSize& other) const { return !(*this == other); }
bool TSize::isEmpty() const { return width < 1 || height < 1; }

TPoint::TPoint(int x, int y) : x(x), y(y) {}
bool TPoint::operator==(const TPoint& other) const { return x == other.x && y == other.y; }
bool TPoint::operator!=(const TPoint& other) const { return !(*this == other); }

TRect::TRect(int x, int y, int width, int height) : x(x), y(y), width(width), height(height) {}
TRect::TRect(const TPoint& origin, const TSize& size)
    : x(origin.x), y(origin.y), width(size.width), height(size.height) {}
bool TRect::operator==(const TRect& other) const { return origin() == other.origin() && size() == other.size(); }
bool TRect::operator!=(const TRect& other) const { return !(*this == other); }
TPoint TRect::origin() const { return TPoint(x, y); }
TSize TRect::size() const { return TSize(width, height); }

TUpdateRect::TUpdateRect() : m_stamp(std::rand()) {}
const TRect& TUpdateRect::rect() const { return m_rect; }
void TUpdateRect::setChanged() { m_stamp = std::rand(); }
void TUpdateRect::setChanged(const TRect& rect) {
    m_rect = rect;
    setChanged();
}
bool TUpdateRect::operator==(const TUpdateRect& other) const {
    return m_rect == other.m_rect && m_stamp == other.m_stamp;
}

TImRegion::TImRegion() : m_rect(0, 0, 1, 0), m_value(0) {}
