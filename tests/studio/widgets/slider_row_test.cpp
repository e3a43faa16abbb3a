#include "studio/widgets/slider_row.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>
#include <QVBoxLayout>

#include "studio/widgets/slider_texts.h"
#include "studio/widgets/slider_track.h"
#include "tests/studio/widgets/hand.h"

namespace kestrova::studio {
namespace {

using Log = QStringList;

// A row in a window that has the focus, and what it signals.
class SliderRowTest : public testing::Test {
protected:
    explicit SliderRowTest(const char* name = "brightness") : row(photo::slider(name)) {
        auto* layout = new QVBoxLayout(&window);
        layout->addWidget(&row);
        layout->addWidget(&other);
        QObject::connect(&row, &SliderRow::gestureBegun, [this] { log << "begun"; });
        QObject::connect(&row, &SliderRow::valueChanged, [this](float value) { log << QString::number(value); });
        QObject::connect(&row, &SliderRow::gestureEnded, [this] { log << "ended"; });
        window.resize(400, 80);
        window.show();
        window.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&window, 240000));
        other.setFocus();
    }

    // Where the handle stands at a value.
    QPointF at(double value) const { return {row.track()->xOf(100 * value), row.track()->height() / 2.0}; }
    bool waitForEnd() {
        return waitUntil([this] { return !log.isEmpty() && log.last() == "ended"; });
    }

    QWidget window;
    SliderRow row;
    QLineEdit other;
    Log log;
};

TEST_F(SliderRowTest, TrackAndBoxShowTheValueThatIsSet) {
    for (const float value : {-1.0f, -0.37f, 0.0f, 0.005f, 0.29f, 0.999f, 1.0f}) {
        row.setValue(value);
        EXPECT_EQ(row.value(), value);
        EXPECT_EQ(row.track()->value(), std::lround(100 * value));
        EXPECT_EQ(row.box()->value(), std::lround(100 * value));
    }
    EXPECT_EQ(log, Log());
}

TEST_F(SliderRowTest, EverySliderHasItsRangeItsTextsAndItsName) {
    QStringList names;
    for (const photo::Slider& slider : photo::sliders()) {
        const SliderRow one(slider);
        EXPECT_EQ(one.box()->minimum(), std::lround(100 * slider.least));
        EXPECT_EQ(one.box()->maximum(), std::lround(100 * slider.greatest));
        EXPECT_EQ(one.track()->minimum(), one.box()->minimum());
        EXPECT_EQ(one.track()->maximum(), one.box()->maximum());
        EXPECT_EQ(one.toolTip(), slider.tip);
        EXPECT_FALSE(one.accessibleName().isEmpty());
        EXPECT_EQ(one.track()->accessibleName(), one.accessibleName());
        EXPECT_EQ(one.box()->accessibleName(), one.accessibleName());
        EXPECT_EQ(one.track()->accessibleDescription(), slider.tip);
        EXPECT_FALSE(names.contains(one.accessibleName())) << one.accessibleName().toStdString();
        names << one.accessibleName();
        EXPECT_EQ(one.objectName(), slider.name);
    }
    EXPECT_EQ(sliderLabel(photo::slider("small-midtones-threshold")), "Midtones threshold");
    EXPECT_EQ(sliderRowLabel(photo::slider("small-midtones-threshold")).trimmed(), "threshold");
    EXPECT_EQ(sliderRowLabel(photo::slider("small-midtones")), "Midtones");
    EXPECT_EQ(sliderFullName(photo::slider("mix-red")), "Brightness of colours: Red");
}

TEST_F(SliderRowTest, ADragIsOneGestureThatEndsWithTheButton) {
    press(row.track(), at(0));
    EXPECT_EQ(log, Log());
    move(row.track(), at(0.2));
    move(row.track(), at(0.35));
    EXPECT_TRUE(row.inGesture());
    EXPECT_EQ(log, Log({"begun", "0.2", "0.35"}));
    release(row.track(), at(0.35));
    EXPECT_EQ(log, Log({"begun", "0.2", "0.35", "ended"}));
    EXPECT_EQ(row.value(), 0.35f);
    EXPECT_EQ(row.box()->value(), 35);
}

TEST_F(SliderRowTest, ADragBeyondTheEndsStaysAtThemAndFollowsTheHandBack) {
    press(row.track(), at(0));
    move(row.track(), at(3));
    EXPECT_EQ(row.value(), 1);
    move(row.track(), at(0.5));
    EXPECT_EQ(row.value(), 0.5f);
    release(row.track(), at(0.5));
}

TEST_F(SliderRowTest, AFineDragMovesByAFifth) {
    press(row.track(), at(0), Qt::ShiftModifier);
    move(row.track(), at(0.5), Qt::ShiftModifier);
    EXPECT_EQ(row.value(), 0.1f);
    release(row.track(), at(0.5));
}

TEST_F(SliderRowTest, APressOnTheGrooveMovesTheHandleThere) {
    press(row.track(), at(0.6));
    EXPECT_EQ(log, Log({"begun", "0.6"}));
    release(row.track(), at(0.6));
    EXPECT_TRUE(waitForEnd());
    EXPECT_EQ(log, Log({"begun", "0.6", "ended"}));
}

TEST_F(SliderRowTest, ADoubleClickResetsInOneGesture) {
    row.setValue(0.4f);
    doubleClick(row.track(), at(0.4));
    EXPECT_EQ(log, Log({"begun", "0", "ended"}));
    EXPECT_EQ(row.value(), 0);

    log.clear();
    row.setValue(0.4f);
    doubleClick(row.findChild<QLabel*>(), {3, 3});
    EXPECT_EQ(log, Log({"begun", "0", "ended"}));

    log.clear();
    row.setValue(0.4f);
    doubleClick(row.track(), at(-0.8));
    EXPECT_EQ(log, Log({"begun", "-0.8", "0", "ended"}));
}

TEST_F(SliderRowTest, ADoubleClickAtRestSignalsNothing) {
    doubleClick(row.track(), at(0));
    EXPECT_EQ(log, Log());
}

TEST_F(SliderRowTest, ArrowKeysStepFinelyWithShiftAndOneGestureLastsUntilTheyRest) {
    row.track()->setFocus();
    QTest::keyClick(row.track(), Qt::Key_Right);
    QTest::keyClick(row.track(), Qt::Key_Up, Qt::ShiftModifier);
    QTest::keyClick(row.track(), Qt::Key_PageDown);
    QTest::keyClick(row.track(), Qt::Key_Left);
    EXPECT_EQ(log, Log({"begun", "0.05", "0.06", "-0.04", "-0.09"}));
    EXPECT_TRUE(waitForEnd());
    EXPECT_EQ(log.count("ended"), 1);
    QTest::keyClick(row.track(), Qt::Key_End);
    EXPECT_EQ(row.value(), 1);
    QTest::keyClick(row.track(), Qt::Key_Home);
    EXPECT_EQ(row.value(), -1);
}

TEST_F(SliderRowTest, AKeyThatIsHeldIsOneGesture) {
    row.track()->setFocus();
    QTest::keyPress(row.track(), Qt::Key_Right);
    QTest::qWait(SliderRow::kRest + 100);
    EXPECT_EQ(log, Log({"begun", "0.05"}));
    QTest::keyPress(row.track(), Qt::Key_Right);
    QTest::keyRelease(row.track(), Qt::Key_Right);
    EXPECT_TRUE(waitForEnd());
    EXPECT_EQ(log, Log({"begun", "0.05", "0.1", "ended"}));
}

TEST_F(SliderRowTest, TheWheelTurnsTheSliderWithTheFocusAlone) {
    EXPECT_FALSE(turnWheel(row.track(), 1));
    EXPECT_FALSE(turnWheel(row.box(), 1));
    EXPECT_EQ(log, Log());
    row.track()->setFocus();
    EXPECT_TRUE(turnWheel(row.track(), 2));
    EXPECT_TRUE(turnWheel(row.track(), -1, Qt::ShiftModifier));
    EXPECT_EQ(log, Log({"begun", "0.1", "0.09"}));
    EXPECT_TRUE(waitForEnd());
    EXPECT_EQ(log.count("ended"), 1);
}

TEST_F(SliderRowTest, PartsOfANotchAddUp) {
    row.track()->setFocus();
    for (int i = 0; i < 4; ++i) turnWheel(row.track(), 0.25);
    EXPECT_EQ(row.value(), 0.05f);
}

TEST_F(SliderRowTest, ATypedValueIsOneGesture) {
    row.box()->setFocus();
    row.box()->selectAll();
    QTest::keyClicks(row.box(), "-42");
    EXPECT_EQ(log, Log());
    QTest::keyClick(row.box(), Qt::Key_Return);
    EXPECT_EQ(log, Log({"begun", "-0.42", "ended"}));
    EXPECT_EQ(row.track()->value(), -42);
    EXPECT_TRUE(row.track()->hasFocus());
}

TEST_F(SliderRowTest, ItsKeysAreItsOwnWhereTheWindowHasThemToo) {
    QAction done("Done"), back("Back"), undo("Undo");
    done.setShortcut(Qt::Key_Return);
    back.setShortcut(Qt::Key_Left);
    undo.setShortcut(QKeySequence::Undo);
    QStringList triggered;
    for (QAction* action : {&done, &back, &undo}) {
        window.addAction(action);
        QObject::connect(action, &QAction::triggered, [&triggered, action] { triggered << action->text(); });
    }
    row.box()->setFocus();
    row.box()->selectAll();
    QTest::keyClicks(row.box(), "7");
    QTest::keyClick(row.box(), Qt::Key_Return);
    EXPECT_EQ(row.value(), 0.07f);
    QTest::keyClick(row.track(), Qt::Key_Left);
    EXPECT_EQ(row.value(), 0.02f);
    EXPECT_EQ(triggered, QStringList());
    QTest::keyClick(row.track(), Qt::Key_Return);
    EXPECT_EQ(triggered, QStringList{"Done"});
    row.box()->setFocus();
    QTest::keyClick(row.box(), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(triggered, QStringList({"Done", "Undo"}));
}

TEST_F(SliderRowTest, KeysInTheBoxStepFromWhatIsTyped) {
    row.box()->setFocus();
    row.box()->selectAll();
    QTest::keyClicks(row.box(), "20");
    QTest::keyClick(row.box(), Qt::Key_Up);
    EXPECT_EQ(row.value(), 0.25f);
    EXPECT_EQ(row.box()->value(), 25);
}

TEST_F(SliderRowTest, LeavingTheSliderEndsItsGesture) {
    row.track()->setFocus();
    QTest::keyClick(row.track(), Qt::Key_Right);
    other.setFocus();
    EXPECT_EQ(log, Log({"begun", "0.05", "ended"}));
}

TEST_F(SliderRowTest, AnOpenGestureCanBeEndedOnce) {
    row.track()->setFocus();
    turnWheel(row.track(), 1);
    row.finishGesture();
    row.finishGesture();
    QTest::qWait(SliderRow::kRest + 100);
    EXPECT_EQ(log, Log({"begun", "0.05", "ended"}));
}

TEST_F(SliderRowTest, AValueSetByAssistiveTechnologyIsOneGesture) {
    row.track()->QSlider::setValue(30);
    EXPECT_EQ(log, Log({"begun", "0.3", "ended"}));
    EXPECT_EQ(row.box()->value(), 30);
}

TEST_F(SliderRowTest, StepsAtTheEndSignalNothing) {
    row.setValue(1);
    row.track()->setFocus();
    QTest::keyClick(row.track(), Qt::Key_Right);
    turnWheel(row.track(), 1);
    EXPECT_EQ(log, Log());
}

class NoiseSliderRowTest : public SliderRowTest {
protected:
    NoiseSliderRowTest() : SliderRowTest("noise-colour") {}
};

TEST_F(NoiseSliderRowTest, ASliderFromZeroStaysWithinItsRange) {
    row.track()->setFocus();
    QTest::keyClick(row.track(), Qt::Key_Left);
    EXPECT_EQ(row.value(), 0);
    QTest::keyClick(row.track(), Qt::Key_End);
    EXPECT_EQ(row.value(), 1);
}

TEST_F(SliderRowTest, WhatIsTypedAndNotEnteredIsTakenWhenItsGestureIsFinished) {
    row.box()->setFocus();
    row.box()->selectAll();
    QTest::keyClicks(row.box(), "50");
    EXPECT_EQ(log, Log());
    row.finishGesture();
    EXPECT_EQ(log, Log({"begun", "0.5", "ended"}));
}

}  // namespace
}  // namespace kestrova::studio
