#pragma once

#include "kestrova/export.h"

/// \file
/// The plain value classes of the interface: 32-bit signed pixels, fields open to the host. They check nothing.

/// The size of an image or of a rectangle.
class KESTROVA_EXPORT TSize {
public:
    /// That size, 0 by 0 by default.
    TSize(int width = 0, int height = 0);
    /// Whether both sides are equal.
    bool operator==(const TSize& other) const;
    /// Whether a side differs.
    bool operator!=(const TSize& other) const;
    /// True if either side is below 1.
    bool isEmpty() const;

    int width;   ///< columns
    int height;  ///< rows
};

/// A point of an image, counted from its top left.
class KESTROVA_EXPORT TPoint {
public:
    /// That point, the top left by default.
    TPoint(int x = 0, int y = 0);
    /// Whether both coordinates are equal.
    bool operator==(const TPoint& other) const;
    /// Whether a coordinate differs.
    bool operator!=(const TPoint& other) const;

    int x;  ///< column
    int y;  ///< row
};

/// A rectangle of an image.
class KESTROVA_EXPORT TRect {
public:
    /// From its top left and its size in pixels; empty by default.
    TRect(int x = 0, int y = 0, int width = 0, int height = 0);
    /// From its top left and its size.
    TRect(const TPoint& origin, const TSize& size);
    /// Whether all four fields are equal.
    bool operator==(const TRect& other) const;
    /// Whether a field differs.
    bool operator!=(const TRect& other) const;
    /// The top left.
    TPoint origin() const;
    /// The size.
    TSize size() const;

    int x;       ///< first column
    int y;       ///< first row
    int width;   ///< columns
    int height;  ///< rows
};

/// How a host learns that an image has changed: it keeps a copy and compares. Another stamp means a change since, the
/// rectangle says where. A stamp is a plain `rand()`; that two may collide is accepted.
class KESTROVA_EXPORT TUpdateRect {
public:
    /// An empty rectangle with a new stamp.
    TUpdateRect();
    /// Where the last change was; empty until `setChanged` has been given a rectangle.
    const TRect& rect() const;
    /// A new stamp; the rectangle stays.
    void setChanged();
    /// A new stamp and a new rectangle.
    void setChanged(const TRect& rect);
    /// Whether rectangle and stamp are equal: no change since one was copied from the other.
    bool operator==(const TUpdateRect& other) const;

    int m_stamp;   ///< of the last change
    TRect m_rect;  ///< where it was
};

/// Five words that an image carries along and that nothing in the library reads.
class KESTROVA_EXPORT TImRegion {
public:
    /// The words 0, 0, 1, 0 and 0.
    TImRegion();

    TRect m_rect;  ///< the first four words, 0, 0, 1, 0 by default
    int m_value;   ///< the fifth word, 0 by default
};
