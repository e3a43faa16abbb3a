#pragma once

#include "kestrova/export.h"

/// The plain value classes of the interface: 32-bit signed pixels, fields open to the host.

class KESTROVA_EXPORT TSize {
public:
    TSize(int width = 0, int height = 0);
    bool operator==(const TSize& other) const;
    bool operator!=(const TSize& other) const;
    /// True if either side is below 1.
    bool isEmpty() const;

    int width;
    int height;
};

class KESTROVA_EXPORT TPoint {
public:
    TPoint(int x = 0, int y = 0);
    bool operator==(const TPoint& other) const;
    bool operator!=(const TPoint& other) const;

    int x;
    int y;
};

class KESTROVA_EXPORT TRect {
public:
    TRect(int x = 0, int y = 0, int width = 0, int height = 0);
    TRect(const TPoint& origin, const TSize& size);
    bool operator==(const TRect& other) const;
    bool operator!=(const TRect& other) const;
    TPoint origin() const;
    TSize size() const;

    int x;
    int y;
    int width;
    int height;
};

/// How a host learns that an image has changed: it keeps a copy and compares. Another stamp means a change since, the
/// rectangle says where. A stamp is a plain `rand()`; that two may collide is accepted.
class KESTROVA_EXPORT TUpdateRect {
public:
    TUpdateRect();
    const TRect& rect() const;
    /// A new stamp; the rectangle stays.
    void setChanged();
    /// A new stamp and a new rectangle.
    void setChanged(const TRect& rect);
    /// Compares rectangle and stamp.
    bool operator==(const TUpdateRect& other) const;

    int m_stamp;
    TRect m_rect;
};

/// Five words that an image carries along and that nothing in the library reads.
class KESTROVA_EXPORT TImRegion {
public:
    TImRegion();

    TRect m_rect;
    int m_value;
};
