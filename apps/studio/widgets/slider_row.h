#pragma once

#include <QTimer>
#include <QWidget>

#include "photo/settings.h"

class QKeyEvent;
class QLabel;
class QSpinBox;
class QWheelEvent;

namespace kestrova::studio {

class SliderTrack;

/// A slider of the settings: label, track and value box, which shows hundredths.
///
/// A double click on label or track resets. Wheel and arrow keys move by 5 hundredths, with Shift by one, page keys by
/// 10; the wheel turns the slider that has the keyboard's focus, so that a panel of sliders scrolls under the pointer.
///
/// Everything that a hand does is a gesture: `gestureBegun`, one or more `valueChanged`, `gestureEnded`. A drag ends
/// when the button is released; steps of the wheel and of keys end when they rest for `kRest` milliseconds. Nothing is
/// signalled where nothing changes, and nothing of what `setValue` does.
class SliderRow : public QWidget {
    Q_OBJECT

public:
    static constexpr int kRest = 450;

    explicit SliderRow(const photo::Slider& slider, QWidget* parent = nullptr);
    /// A slider that is not one of the settings, such as a brush's radius.
    SliderRow(const QString& label, const QString& tip, float least, float greatest, float rest,
              QWidget* parent = nullptr);

    float value() const { return m_value; }
    /// Shows a value, as it is: it is rounded to hundredths on the screen alone.
    void setValue(float value);
    bool inGesture() const { return m_inGesture; }
    /// Ends the gesture that is open, if there is one, and takes what is typed in the box: to be called before undo.
    void finishGesture();
    /// Resets, as a gesture.
    void reset();

    /// The label's width, for a column of rows with one edge.
    int labelWidth() const;
    void setLabelWidth(int width);

    SliderTrack* track() const { return m_track; }
    QSpinBox* box() const { return m_box; }

signals:
    void gestureBegun();
    void valueChanged(float value);
    void gestureEnded();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void change(float value);
    void show(float value);
    void step(int hundredths);
    bool turnWheel(QWheelEvent* event, bool focused);
    bool pressKey(QKeyEvent* event, bool onTrack);
    bool claimKey(QKeyEvent* event, bool onTrack) const;

    float m_least, m_greatest, m_rest;
    float m_value;
    bool m_inGesture = false;
    int m_wheel = 0;  // eighths of a degree that make no step yet
    QTimer m_atRest;
    QLabel* m_label;
    SliderTrack* m_track;
    QSpinBox* m_box;
};

}  // namespace kestrova::studio
