#include <gtest/gtest.h>

#include <QComboBox>
#include <QDockWidget>
#include <QPainter>
#include <QScreen>
#include <QScrollBar>
#include <QSettings>
#include <QStatusBar>
#include <QToolButton>
#include <QUndoView>

#include "studio/crop_bar.h"
#include "studio/crop_box.h"
#include "studio/crop_tool.h"
#include "studio/message_bar.h"
#include "studio/renderer.h"
#include "studio/session.h"
#include "studio/widgets/film_strip.h"
#include "studio/widgets/preset_strip.h"
#include "studio/widgets/slider_track.h"
#include "studio/widgets/thumbnail_model.h"
#include "studio/widgets/tile_delegate.h"
#include "tests/studio/window.h"

namespace kestrova::studio {
namespace {

TEST_F(WindowTest, SettingsArePastedToAllPhotographsThatAreSelected) {
    const std::string first = photograph(), second = photograph("u76c0g_bliznaca_srgb8.png"),
                      third = photograph("dandelion_768x512.png");
    photo::writeBytes(photo::Settings::sidecarOf(third), {'{'});
    open(first);
    window->session()->setValue(photo::slider("tint"), 0.4f);
    action("Copy settings")->trigger();
    action("Undo")->trigger();
    window->strip()->selectAll();
    action("Paste settings")->trigger();
    ASSERT_TRUE(waitFor([this] { return !window->messageText().isEmpty(); }));
    EXPECT_TRUE(window->messageText().contains("dandelion_768x512.png"));
    EXPECT_TRUE(window->statusBar()->currentMessage().contains("2 photographs"))
        << window->statusBar()->currentMessage().toStdString();
    EXPECT_EQ(window->session()->settings().colour.tint, 0.4f);
    const int row = window->m_thumbnails->rowOf(QString::fromStdString(second));
    EXPECT_TRUE(window->strip()->model()->index(row, 0).data(EditedRole).toBool());
    ASSERT_TRUE(window->session()->saveNow());
    EXPECT_EQ(photo::Settings::load(photo::Settings::sidecarOf(second)).colour.tint, 0.4f);
    EXPECT_EQ(photo::bytesOf(photo::Settings::sidecarOf(third)).size(), 1u) << "what cannot be read is left";
}

TEST_F(WindowTest, AllPhotographsOfTheStripAreSelectedByKey) {
    const std::string first = photograph();
    photograph("u76c0g_bliznaca_srgb8.png");
    open(first);
    EXPECT_EQ(action("Select all")->shortcut(), QKeySequence(QKeySequence::SelectAll));
    action("Select all")->trigger();
    EXPECT_EQ(window->strip()->selectedPaths().size(), 2);
    EXPECT_EQ(window->session()->path(), first) << "stays open";
}

TEST_F(WindowTest, ASidecarThatCannotBeReadIsExplainedWithDetailsOnDemand) {
    const std::string path = photograph();
    photo::writeBytes(photo::Settings::sidecarOf(path), {'{', '"', 'x'});
    open(path);
    MessageBar* messages = window->messages();
    EXPECT_TRUE(messages->text().contains("damaged"));
    EXPECT_TRUE(messages->text().contains(".broken"));
    EXPECT_FALSE(messages->text().contains("parse"));
    EXPECT_EQ(messages->details(), QString());
    QToolButton* more = messages->findChild<QToolButton*>();
    EXPECT_EQ(more->text(), "Show details");
    more->click();
    EXPECT_TRUE(messages->details().contains("parse")) << messages->details().toStdString();
    EXPECT_EQ(more->text(), "Hide details");
    messages->say("Another one");
    EXPECT_EQ(messages->details(), QString());
    EXPECT_TRUE(more->isHidden());
}

TEST_F(WindowTest, TheBrushShowsTheMaskForAsLongAsItIsTaken) {
    open(photograph());
    action("Brush")->trigger();
    EXPECT_TRUE(action("Mask")->isChecked());
    action("Hand")->trigger();
    EXPECT_FALSE(action("Mask")->isChecked());
    action("Mask")->trigger();
    action("Brush")->trigger();
    action("Hand")->trigger();
    EXPECT_TRUE(action("Mask")->isChecked()) << "that was shown before";
}

TEST_F(WindowTest, ASliderHidesTheMaskOfTheBrushUntilTheNextStroke) {
    open(photograph());
    action("Brush")->trigger();
    const auto paint = [this] { QTest::mouseClick(window->view(), Qt::LeftButton, {}, middle()); };
    const auto slide = [this] { QTest::keyClick(row("brightness")->track(), Qt::Key_PageUp); };
    paint();
    EXPECT_TRUE(action("Mask")->isChecked());
    slide();
    EXPECT_FALSE(action("Mask")->isChecked());
    paint();
    EXPECT_TRUE(action("Mask")->isChecked());
    action("Mask")->trigger();
    action("Mask")->trigger();
    slide();
    EXPECT_TRUE(action("Mask")->isChecked()) << "a person wants to see it";
}

TEST_F(WindowTest, ThePresetsHaveTheCropOfThePhotograph) {
    open(photograph());
    const auto sizeOf = [this] { return window->m_presets->item(0)->data(Qt::DecorationRole).value<QImage>().size(); };
    ASSERT_TRUE(waitFor([&] { return !sizeOf().isEmpty(); }));
    const QSize whole = sizeOf();
    window->session()->setCrop({0, 0, 0.5, 1});
    EXPECT_TRUE(waitFor([&] { return sizeOf().width() < sizeOf().height(); }));
    action("Rotate right")->trigger();
    EXPECT_TRUE(waitFor([&] { return sizeOf().width() > sizeOf().height(); }));
    action("Undo")->trigger();
    action("Undo")->trigger();
    EXPECT_TRUE(waitFor([&] { return sizeOf() == whole; }));
}

TEST_F(WindowTest, TheCropsHandlesAreWholeAndAsLargeAndNearOnADenseScreen) {
    open(photograph());
    const CropTool& tool = *window->m_crop;
    const double side = window->renderer()->photographSize().width();
    for (const int ratio : {1, 2}) {
        ViewTransform transform;
        transform.setPixelRatio(ratio);
        transform.setViewport(QSizeF(400, 400) * ratio);
        transform.setMargin(tool.margin());
        transform.setPicture({side, side});
        QImage seen(transform.viewport().toSize(), QImage::Format_RGB32);
        seen.fill(Qt::black);
        QPainter painter(&seen);
        tool.paint(painter, transform, nullptr);
        const double corner = tool.margin() * ratio;
        EXPECT_EQ(seen.pixelColor(QPointF(corner - 3 * ratio, corner - 3 * ratio).toPoint()), Qt::white) << ratio;
        EXPECT_EQ(tool.sidesAt(transform.toPicture({corner - 10 * ratio, 200.0 * ratio}), transform), kLeftSide);
        EXPECT_EQ(tool.sidesAt(transform.toPicture({corner + 14 * ratio, 200.0 * ratio}), transform), kNoSide);
    }
    action("Crop")->trigger();
    settle();
    EXPECT_GE(window->view()->transform().toView(QPointF(0, 0)).y(), tool.margin());
}

TEST_F(WindowTest, TheOriginalRatioIsThatOfThePhotographThatIsOpenAsItIsTurned) {
    open(photograph());
    action("Crop")->trigger();
    QComboBox* ratios = window->m_cropBar->ratios();
    ratios->setCurrentIndex(ratios->findText("Original"));
    emit ratios->activated(ratios->currentIndex());
    EXPECT_EQ(window->m_crop->ratio(), 1);
    open(photograph("dandelion_768x512.png"));
    EXPECT_EQ(window->m_crop->ratio(), 1.5);
    action("Rotate right")->trigger();
    EXPECT_EQ(window->m_crop->ratio(), 1 / 1.5);
    EXPECT_EQ(window->session()->settings().crop, photo::Crop()) << "what is cropped stays";
}

TEST_F(WindowTest, AStepBackEndsADragOfTheCrop) {
    open(photograph());
    action("Crop")->trigger();
    settle();
    PhotoView* view = window->view();
    const auto at = [&](double x, double y) { return view->transform().toView(QPointF(x, y)).toPoint(); };
    QTest::mousePress(view, Qt::LeftButton, {}, at(0, 0));
    moveMouse(at(100, 50));
    action("Undo")->trigger();
    moveMouse(at(150, 80));
    moveMouse(at(200, 100));
    QTest::mouseRelease(view, Qt::LeftButton, {}, at(200, 100));
    EXPECT_EQ(window->session()->settings(), photo::Settings());
    EXPECT_EQ(window->session()->history()->count(), 1) << "which can be redone";
}

TEST_F(WindowTest, ALineThatIsDrawnWhileAnotherPhotographIsOpenedStraightensNothing) {
    open(photograph());
    action("Straighten")->trigger();
    QTest::mousePress(window->view(), Qt::LeftButton, {}, middle() - QPoint(100, 10));
    moveMouse(middle() + QPoint(100, 10));
    open(photograph("u76c0g_bliznaca_srgb8.png"));
    QTest::mouseRelease(window->view(), Qt::LeftButton, {}, middle() + QPoint(100, 10));
    EXPECT_EQ(window->session()->settings(), photo::Settings());
}

TEST_F(WindowTest, AnotherButtonOfTheMouseEndsNoStroke) {
    open(photograph());
    action("Brush")->trigger();
    PhotoView* view = window->view();
    const auto release = [&](Qt::MouseButton button, Qt::MouseButtons left) {
        QMouseEvent event(QEvent::MouseButtonRelease, middle(), view->mapToGlobal(QPointF(middle())), button, left, {});
        QCoreApplication::sendEvent(view, &event);
    };
    QTest::mousePress(view, Qt::LeftButton, {}, middle());
    release(Qt::RightButton, Qt::LeftButton);
    moveMouse(middle() + QPoint(60, 0));
    release(Qt::LeftButton, Qt::NoButton);
    moveMouse(middle() + QPoint(120, 0));
    EXPECT_EQ(window->session()->settings().layers.at(0).mask.strokes.at(0).points.size(), 2u);
}

TEST_F(WindowTest, FullScreenEndsInTheWindowThatWasThereAndIsNotRemembered) {
    window->showMaximized();
    action("Full screen")->trigger();
    EXPECT_TRUE(window->isFullScreen());
    action("Full screen")->trigger();
    EXPECT_FALSE(window->isFullScreen());
    EXPECT_TRUE(window->isMaximized());
    action("Full screen")->trigger();
    ASSERT_TRUE(window->close());
    window = std::make_unique<MainWindow>();
    window->show();
    EXPECT_FALSE(window->isFullScreen());
}

TEST_F(WindowTest, TheFirstTimeItFitsOnTheScreen) {
    QSettings().remove("window/geometry");
    const MainWindow first;
    EXPECT_LT(first.width(), first.screen()->availableSize().width());
    EXPECT_LT(first.height(), first.screen()->availableSize().height());
}

TEST_F(WindowTest, LongNamesOfStepsAreReadInFull) {
    open(photograph());
    QUndoView* history = window->findChild<QUndoView*>();
    window->findChild<QDockWidget*>("history")->raise();
    window->session()->change("Short", photo::presets()[0].settings);
    window->session()->change("A step whose name is longer than the panel that shows it is wide, and more than that",
                              photo::presets()[1].settings);
    QCoreApplication::processEvents();
    const auto rectOf = [&](int row) { return history->visualRect(history->model()->index(row, 0)); };
    EXPECT_EQ(history->horizontalScrollBar()->maximum(), 0);
    EXPECT_GE(rectOf(2).height(), 3 * rectOf(1).height() / 2) << "in several lines";
    EXPECT_LE(rectOf(2).width(), history->viewport()->width());
}

TEST_F(WindowTest, StepsOnALayerNameIt) {
    open(photograph());
    window->session()->addLayer();
    window->session()->setValue(photo::slider("brightness"), 0.5f);
    EXPECT_EQ(action("Undo")->text().remove('&'), "Undo: Layer 1, Light: Brightness");
}

}  // namespace
}  // namespace kestrova::studio
