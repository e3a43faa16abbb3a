#include "studio/widgets/slider_row.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "studio/widgets/slider_texts.h"
#include "studio/widgets/slider_track.h"

namespace kestrova::studio {

namespace {

constexpr int kStep = 5, kFineStep = 1, kPage = 10;
constexpr int kNotch = 120;  // of a wheel, in eighths of a degree

int hundredths(float value) { return static_cast<int>(std::lround(100 * value)); }

}  // namespace

SliderRow::SliderRow(const photo::Slider& slider, QWidget* parent)
    : SliderRow(sliderRowLabel(slider), sliderTip(slider), slider.least, slider.greatest, 0, parent) {
    for (QWidget* part : {static_cast<QWidget*>(this), static_cast<QWidget*>(m_track), static_cast<QWidget*>(m_box)})
        part->setAccessibleName(sliderFullName(slider));
    setObjectName(slider.name);
}

SliderRow::SliderRow(const QString& label, const QString& tip, float least, float greatest, float rest, QWidget* parent)
    : QWidget(parent),
      m_least(least),
      m_greatest(greatest),
      m_rest(rest),
      m_value(rest),
      m_label(new QLabel(label)),
      m_track(new SliderTrack(hundredths(least), hundredths(greatest), hundredths(rest))),
      m_box(new QSpinBox) {
    m_box->setRange(hundredths(least), hundredths(greatest));
    m_box->setButtonSymbols(QAbstractSpinBox::NoButtons);
    m_box->setKeyboardTracking(false);
    m_box->setAlignment(Qt::AlignRight);
    m_box->setFocusPolicy(Qt::StrongFocus);
    m_box->setFixedWidth(m_box->fontMetrics().horizontalAdvance("-100") + 22);
    for (QWidget* part : {static_cast<QWidget*>(m_label), static_cast<QWidget*>(m_track), static_cast<QWidget*>(m_box)})
        part->installEventFilter(this);
    for (QWidget* part : {static_cast<QWidget*>(this), static_cast<QWidget*>(m_track), static_cast<QWidget*>(m_box)}) {
        part->setAccessibleName(label);
        part->setAccessibleDescription(tip);
    }
    setToolTip(tip);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);
    layout->addWidget(m_label);
    layout->addWidget(m_track, 1);
    layout->addWidget(m_box);
    setFocusProxy(m_track);
    show(m_value);

    m_atRest.setSingleShot(true);
    m_atRest.setInterval(kRest);
    connect(&m_atRest, &QTimer::timeout, this, &SliderRow::finishGesture);
    connect(m_track, &SliderTrack::dragged, this, [this](int value) {
        m_atRest.stop();
        if (value != hundredths(m_value)) change(static_cast<float>(value) / 100);
    });
    // After a press in one place a double click may follow, which is the same gesture.
    connect(m_track, &SliderTrack::released, this, [this](bool afterDrag) {
        if (afterDrag)
            finishGesture();
        else if (m_inGesture)
            m_atRest.start();
    });
    connect(m_track, &SliderTrack::doubleClicked, this, &SliderRow::reset);
    // From assistive technology, which sets the slider itself.
    connect(m_track, &QSlider::valueChanged, this, [this](int value) {
        if (value == hundredths(m_value)) return;
        change(static_cast<float>(value) / 100);
        finishGesture();
    });
    // Enter gives the keyboard back to the window's shortcuts.
    connect(m_box->findChild<QLineEdit*>(), &QLineEdit::returnPressed, m_track, qOverload<>(&QWidget::setFocus));
    connect(m_box, &QSpinBox::valueChanged, this, [this](int value) {
        change(static_cast<float>(value) / 100);
        finishGesture();
    });
}

void SliderRow::setValue(float value) {
    m_value = value;
    show(value);
}

void SliderRow::show(float value) {
    const QSignalBlocker box(m_box);
    m_box->setValue(hundredths(value));
    m_track->setValue(hundredths(value));
}

void SliderRow::change(float value) {
    value = std::clamp(value, m_least, m_greatest);
    if (value == m_value) return;
    if (!m_inGesture) {
        m_inGesture = true;
        emit gestureBegun();
    }
    m_value = value;
    show(value);
    emit valueChanged(value);
}

void SliderRow::finishGesture() {
    m_box->interpretText();  // what has been typed and not been entered
    m_atRest.stop();
    if (!m_inGesture) return;
    m_inGesture = false;
    emit gestureEnded();
}

void SliderRow::reset() {
    change(m_rest);
    finishGesture();
}

int SliderRow::labelWidth() const { return m_label->sizeHint().width(); }

void SliderRow::setLabelWidth(int width) { m_label->setFixedWidth(width); }

void SliderRow::step(int steps) {
    m_atRest.stop();
    change(static_cast<float>(hundredths(m_value) + steps) / 100);
}

bool SliderRow::turnWheel(QWheelEvent* event, bool focused) {
    if (!focused) {
        event->ignore();  // for the panel to scroll
        return true;
    }
    const QPoint turned = event->angleDelta();
    m_wheel += turned.y() ? turned.y() : turned.x();  // some platforms turn the wheel sideways with Shift
    const int notches = m_wheel / kNotch;
    m_wheel -= notches * kNotch;
    if (notches) step(notches * (event->modifiers() & Qt::ShiftModifier ? kFineStep : kStep));
    if (m_inGesture) m_atRest.start();
    event->accept();
    return true;
}

bool SliderRow::pressKey(QKeyEvent* event, bool onTrack) {
    const int arrow = event->modifiers() & Qt::ShiftModifier ? kFineStep : kStep;
    const auto stepBy = [&](int steps) {
        if (!onTrack) m_box->interpretText();  // what has been typed so far
        step(steps);
        return true;
    };
    switch (event->key()) {
        case Qt::Key_Up: return stepBy(arrow);
        case Qt::Key_Down: return stepBy(-arrow);
        case Qt::Key_PageUp: return stepBy(kPage);
        case Qt::Key_PageDown: return stepBy(-kPage);
        default: break;
    }
    if (!onTrack) return false;
    switch (event->key()) {
        case Qt::Key_Right: return stepBy(arrow);
        case Qt::Key_Left: return stepBy(-arrow);
        case Qt::Key_Home: return stepBy(hundredths(m_least) - hundredths(m_value));
        case Qt::Key_End: return stepBy(hundredths(m_greatest) - hundredths(m_value));
        default: return false;
    }
}

// Keys of the slider that the window has as shortcuts, too, are the slider's; the window's undo is not the box's while
// nothing is typed.
bool SliderRow::claimKey(QKeyEvent* event, bool onTrack) const {
    const auto* edit = m_box->findChild<QLineEdit*>();
    if (!onTrack && (event->matches(QKeySequence::Undo) || event->matches(QKeySequence::Redo)) &&
        !edit->isUndoAvailable() && !edit->isRedoAvailable()) {
        event->ignore();
        return true;
    }
    if (event->modifiers() & ~(Qt::ShiftModifier | Qt::KeypadModifier)) return false;
    switch (event->key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
            if (onTrack) return false;
            break;
        case Qt::Key_Up:
        case Qt::Key_Down:
        case Qt::Key_Left:
        case Qt::Key_Right:
        case Qt::Key_PageUp:
        case Qt::Key_PageDown:
        case Qt::Key_Home:
        case Qt::Key_End: break;
        default: return false;
    }
    event->accept();
    return true;
}

bool SliderRow::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
        case QEvent::MouseButtonDblClick:
            if (watched != m_label) break;
            reset();
            return true;
        case QEvent::Wheel:
            if (watched == m_label) break;
            return turnWheel(static_cast<QWheelEvent*>(event), static_cast<QWidget*>(watched)->hasFocus());
        case QEvent::ShortcutOverride:
            if (watched == m_label) break;
            if (claimKey(static_cast<QKeyEvent*>(event), watched == m_track)) return true;
            break;
        case QEvent::KeyPress:
            if (pressKey(static_cast<QKeyEvent*>(event), watched == m_track)) return true;
            break;
        case QEvent::KeyRelease:
            if (m_inGesture && !m_track->isSliderDown() && !static_cast<QKeyEvent*>(event)->isAutoRepeat())
                m_atRest.start();
            break;
        case QEvent::FocusOut: finishGesture(); break;
        default: break;
    }
    return QWidget::eventFilter(watched, event);
}

}  // namespace kestrova::studio
