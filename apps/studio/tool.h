#pragma once

#include <QCursor>
#include <QObject>
#include <QPointF>

class QPainter;

namespace kestrova::studio {

class ViewTransform;

/// What the pointer does in the view. Places are in pixels of the picture.
class Tool : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    struct Pointer {
        QPointF place;
        double pressure = 1;  ///< of a pen, 0 to 1
        Qt::KeyboardModifiers modifiers;
    };
    /// What it needs around a picture that fits, in logical pixels.
    virtual double margin() const { return 0; }
    virtual QCursor cursor(const QPointF& place, const ViewTransform& transform) const = 0;
    virtual void press(const Pointer& pointer, const ViewTransform& transform) = 0;
    virtual void drag(const Pointer& pointer, const ViewTransform& transform) = 0;
    virtual void release() = 0;
    /// In device pixels of the view; `pointer` is null while there is none over it.
    virtual void paint(QPainter& painter, const ViewTransform& transform, const QPointF* pointer) const = 0;

signals:
    void changed();  ///< what it paints
};

}  // namespace kestrova::studio
