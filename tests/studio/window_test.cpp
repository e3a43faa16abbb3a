#include "studio/main_window.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QDropEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMimeData>
#include <QProcess>
#include <QStatusBar>
#include <QTabletEvent>
#include <QTest>
#include <QTimer>
#include <QUrl>
#include <QWheelEvent>
#include <filesystem>

#include "photo/read.h"
#include "studio/brush_tool.h"
#include "studio/crop_bar.h"
#include "studio/layer_panel.h"
#include "studio/message_bar.h"
#include "studio/photo_view.h"
#include "studio/renderer.h"
#include "studio/session.h"
#include "studio/slider_panel.h"
#include "studio/widgets/export_dialog.h"
#include "studio/widgets/export_queue.h"
#include "studio/widgets/film_strip.h"
#include "studio/widgets/pixels.h"
#include "studio/widgets/slider_row.h"
#include "studio/widgets/slider_track.h"
#include "tests/studio/window.h"

namespace kestrova::studio {
namespace {

namespace fs = std::filesystem;

TEST_F(WindowTest, HasARowForEverySliderWithTipAndAccessibleName) {
    for (const photo::Slider& slider : photo::sliders()) {
        ASSERT_TRUE(row(slider.name)) << slider.name;
        EXPECT_FALSE(row(slider.name)->toolTip().isEmpty());
        EXPECT_FALSE(row(slider.name)->accessibleName().isEmpty());
    }
}

TEST_F(WindowTest, TheFieldsOfTheCropBarHaveAccessibleNames) {
    EXPECT_EQ(window->m_cropBar->findChild<QComboBox*>()->accessibleName(), "Ratio");
    EXPECT_EQ(window->m_cropBar->findChild<QDoubleSpinBox*>()->accessibleName(), "Angle");
}

TEST_F(WindowTest, AKeyOnASliderChangesThePictureAndUndoBringsItBack) {
    open(photograph());
    const QImage untouched = picture();
    row("brightness")->track()->setFocus();
    QTest::keyClick(row("brightness")->track(), Qt::Key_PageUp);
    QTest::keyClick(row("brightness")->track(), Qt::Key_PageUp);
    settle();
    EXPECT_NE(picture(), untouched);
    EXPECT_NEAR(window->session()->settings().light.brightness, 0.2f, 1e-6);
    action("Undo")->trigger();
    settle();
    EXPECT_EQ(window->session()->settings().light.brightness, 0);
    EXPECT_EQ(row("brightness")->value(), 0);
    EXPECT_EQ(picture(), untouched);
}

TEST_F(WindowTest, TheWheelZoomsAboutThePointer) {
    open(photograph("dandelion_768x512.png"));
    PhotoView* view = window->view();
    const QPointF pointer = QPointF(middle()) + QPointF(60, -40);
    const QPointF place = view->transform().toPicture(pointer);
    for (int i = 0; i < 4; ++i) {
        QWheelEvent wheel(pointer, view->mapToGlobal(pointer), {}, {0, 120}, Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(view, &wheel);
    }
    EXPECT_GT(view->transform().zoom(), 1.5);
    const QPointF after = view->transform().toView(place);
    EXPECT_NEAR(after.x(), pointer.x(), 1e-6);
    EXPECT_NEAR(after.y(), pointer.y(), 1e-6);
    settle();
    EXPECT_TRUE(view->frame()->area.contains(view->transform().seen()));
}

TEST_F(WindowTest, ADragMovesThePhotographAndADoubleClickFits) {
    open(photograph("dandelion_768x512.png"));
    PhotoView* view = window->view();
    view->zoomAbout(middle(), 3);
    const QPointF place = view->transform().toPicture(middle());
    QTest::mousePress(view, Qt::LeftButton, {}, middle());
    moveMouse(middle() + QPoint(50, 30));
    QTest::mouseRelease(view, Qt::LeftButton, {}, middle() + QPoint(50, 30));
    EXPECT_NEAR(view->transform().toView(place).x(), middle().x() + 50, 1e-6);
    QTest::mouseDClick(view, Qt::LeftButton, {}, middle());
    EXPECT_TRUE(view->transform().isFit());
}

TEST_F(WindowTest, TheSplitShowsBeforeOnTheLeftAndCanBeDragged) {
    open(photograph());
    const QImage untouched = picture();
    window->session()->setValue(photo::slider("brightness"), -0.8f);
    action("Split")->trigger();
    settle();
    PhotoView* view = window->view();
    EXPECT_EQ(picture().pixel(middle() - QPoint(60, 60)), untouched.pixel(middle() - QPoint(60, 60)));
    EXPECT_NE(picture().pixel(middle() + QPoint(60, 60)), untouched.pixel(middle() + QPoint(60, 60)));
    const QPoint divider(view->width() / 2, 40);
    QTest::mousePress(view, Qt::LeftButton, {}, divider);
    moveMouse(divider + QPoint(120, 0));
    QTest::mouseRelease(view, Qt::LeftButton, {}, divider + QPoint(120, 0));
    EXPECT_EQ(picture().pixel(middle() + QPoint(60, 60)), untouched.pixel(middle() + QPoint(60, 60)));
}

TEST_F(WindowTest, TheValuesUnderThePointerFollowThePicture) {
    open(photograph());
    PhotoView* view = window->view();
    moveMouse(middle());
    QString shown;
    QObject::connect(view, &PhotoView::pointerMoved,
                     [&](const QPointF&, const QColor& colour) { shown = colour.name(); });
    window->session()->setValue(photo::slider("brightness"), -0.8f);
    settle();
    EXPECT_EQ(shown, QColor(picture().pixel(middle())).name());
    EXPECT_TRUE(window->m_pixel->text().contains(QString::number(view->colourAt(middle()).red())));
}

TEST_F(WindowTest, TheBrushPaintsUnderThePointerInATurnedAndCroppedPhotograph) {
    open(photograph());
    window->session()->rotate(1);
    window->session()->setCrop({0.1, 0.2, 0.8, 0.6});
    settle();
    action("Brush")->trigger();
    PhotoView* view = window->view();
    const QPoint from = middle() - QPoint(80, 20), to = middle() + QPoint(80, 30);
    QTest::mousePress(view, Qt::LeftButton, {}, from);
    for (int i = 1; i <= 8; ++i) moveMouse(from + (to - from) * i / 8);
    QTest::mouseRelease(view, Qt::LeftButton, {}, to);
    ASSERT_EQ(window->session()->settings().layers.size(), 1u);
    settle();
    const auto frame = view->frame();
    const auto covered = [&](const QPoint& p) {
        const QPointF at = (view->transform().toPicture(p) - frame->area.topLeft()) * frame->zoom;
        return qAlpha(frame->overlay.pixel(at.toPoint()));
    };
    EXPECT_GT(covered(from), 100);
    EXPECT_GT(covered(middle() + QPoint(0, 5)), 100);
    EXPECT_GT(covered(to), 100);
    EXPECT_EQ(covered(middle() - QPoint(100, 130)), 0);
}

TEST_F(WindowTest, APenPaintsWithItsPressure) {
    open(photograph());
    action("Brush")->trigger();
    PhotoView* view = window->view();
    const QPointingDevice pen("pen", 1, QInputDevice::DeviceType::Stylus, QPointingDevice::PointerType::Pen,
                              QInputDevice::Capability::Position | QInputDevice::Capability::Pressure, 1, 1);
    const auto send = [&](QEvent::Type type, const QPointF& at, double pressure) {
        QTabletEvent event(type, &pen, at, view->mapToGlobal(at), pressure, 0, 0, 0, 0, 0, {}, Qt::LeftButton,
                           Qt::LeftButton);
        QCoreApplication::sendEvent(view, &event);
    };
    send(QEvent::TabletPress, middle(), 0.3);
    send(QEvent::TabletMove, middle() + QPoint(60, 0), 1);
    send(QEvent::TabletRelease, middle() + QPoint(60, 0), 0);
    const auto& strokes = window->session()->settings().layers.at(0).mask.strokes;
    ASSERT_EQ(strokes.size(), 2u);
    EXPECT_LT(strokes[0].radius, 0.5 * strokes[1].radius);
}

TEST_F(WindowTest, TheCropToolShowsTheWholeAndCutsInOneStep) {
    open(photograph());
    action("Crop")->trigger();
    settle();
    PhotoView* view = window->view();
    const auto at = [&](double x, double y) { return view->transform().toView(QPointF(x, y)).toPoint(); };
    QTest::mousePress(view, Qt::LeftButton, {}, at(0, 0));
    moveMouse(at(100, 50));
    moveMouse(at(200, 100));
    QTest::mouseRelease(view, Qt::LeftButton, {}, at(200, 100));
    const photo::Crop crop = window->session()->settings().crop;
    EXPECT_NEAR(crop.x, 0.4, 0.01);
    EXPECT_NEAR(crop.y, 0.2, 0.01);
    EXPECT_EQ(window->session()->history()->count(), 1);
    EXPECT_EQ(view->transform().picture(), QSizeF(500, 500)) << "still the whole";
    QTest::keyClick(view, Qt::Key_Return);
    settle();
    EXPECT_NEAR(view->transform().picture().width(), 300, 3);
    EXPECT_NEAR(view->transform().picture().height(), 400, 3);
}

TEST_F(WindowTest, StraightenMakesADrawnLineLevel) {
    open(photograph());
    action("Straighten")->trigger();
    QTest::mousePress(window->view(), Qt::LeftButton, {}, middle() - QPoint(100, 10));
    moveMouse(middle() + QPoint(100, 10));
    QTest::mouseRelease(window->view(), Qt::LeftButton, {}, middle() + QPoint(100, 10));
    EXPECT_NEAR(window->session()->settings().straighten, -5.71, 0.1);
    settle();
}

TEST_F(WindowTest, SettingsAreCopiedToAnotherPhotograph) {
    open(photograph());
    window->session()->setValue(photo::slider("tint"), 0.4f);
    action("Copy settings")->trigger();
    open(photograph("u76c0g_bliznaca_srgb8.png"));
    action("Paste settings")->trigger();
    EXPECT_EQ(window->session()->settings().colour.tint, 0.4f);
    EXPECT_EQ(window->statusBar()->currentMessage(), "Settings pasted");
    QGuiApplication::clipboard()->setText("no settings");
    action("Paste settings")->trigger();
    EXPECT_EQ(window->session()->settings().colour.tint, 0.4f);
}

TEST_F(WindowTest, FilesAndFoldersCanBeDropped) {
    photograph();
    photograph("u76c0g_bliznaca_srgb8.png");
    QMimeData mime;
    mime.setUrls({QUrl::fromLocalFile(QString::fromStdString(scratch.path()))});
    QDragEnterEvent enter(middle(), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(window.get(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(middle(), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(window.get(), &drop);
    settle();
    EXPECT_EQ(window->strip()->model()->rowCount(), 2);
    window->strip()->goToNext();
    settle();
    EXPECT_EQ(fs::path(window->session()->path()).filename(), "u76c0g_bliznaca_srgb8.png");
}

TEST_F(WindowTest, BadFilesShowAMessageAndTheNextOneOpens) {
    photo::writeBytes(scratch / "bad.jpg", {0xff, 0xd8, 0xff, 1, 2, 3});
    window->openPaths({QString::fromStdString(scratch / "bad.jpg")});
    ASSERT_TRUE(waitFor([this] { return !window->messageText().isEmpty(); }));
    window->openPaths({QString::fromStdString(scratch / "not there.jpg")});
    ASSERT_TRUE(waitFor([this] { return window->messageText().contains("not there"); }));
    open(photograph());
    EXPECT_TRUE(window->messageText().isEmpty());
    EXPECT_TRUE(window->view()->frame());
}

TEST_F(WindowTest, ExportIsWhatTheCommandLineMakesOfTheSameSidecar) {
    const std::string path = photograph("dandelion_768x512.png");
    open(path);
    Session* session = window->session();
    session->setValue(photo::slider("shadows"), 0.5f);
    session->setValue(photo::slider("small-midtones"), 0.3f);
    session->setCrop({0.1, 0.1, 0.7, 0.8});
    session->setStraighten(2);
    session->beginStroke({}, {0.5, 0.5});
    session->endStroke();
    session->setValue(photo::slider("saturation"), -1);
    ASSERT_TRUE(session->saveNow());
    for (const char* name : {"jpg", "png", "tif", "webp"}) {
        ExportJob job;
        job.source = QString::fromStdString(path);
        job.target = QString::fromStdString(scratch / ("window." + std::string(name)));
        job.settings = session->settingsOf(path);
        window->exports()->add(job);
    }
    ASSERT_TRUE(waitFor([this] { return window->exports()->isIdle(); }));
    for (const char* name : {"jpg", "png", "tif", "webp"}) {
        const std::string mine = scratch / ("window." + std::string(name));
        const std::string other = scratch / ("command." + std::string(name));
        ASSERT_EQ(QProcess::execute(KESTROVA_DEVELOP, {"--sidecars", "--quiet", QString::fromStdString(path), "-o",
                                                       QString::fromStdString(other)}),
                  0);
        EXPECT_EQ(photo::bytesOf(mine), photo::bytesOf(other)) << name;
    }
}

TEST_F(WindowTest, TheStripShowsAPhotographAsItIsEdited) {
    open(photograph("dandelion_768x512.png"));
    const auto shown = [this] {
        return window->strip()->model()->index(0, 0).data(Qt::DecorationRole).value<QImage>();
    };
    ASSERT_TRUE(waitFor([&] { return !shown().isNull(); }));
    const QImage before = shown();
    window->session()->rotate(1);
    EXPECT_TRUE(waitFor([&] { return shown().size() == before.size().transposed(); }));
    window->session()->undo();
    EXPECT_TRUE(waitFor([&] { return shown() == before; }));
}

TEST_F(WindowTest, ASelectionIsExportedWithWhatIsSavedOfItUnlessThatCannotBeRead) {
    const std::string first = photograph("dandelion_768x512.png"), second = photograph("u76c0g_bliznaca_srgb8.png");
    photo::Settings settings;
    settings.rotate = 90;
    settings.save(photo::Settings::sidecarOf(second));
    open(first);
    const auto exportBoth = [&] {
        QTimer::singleShot(0, window.get(), [this] {
            auto* dialog = window->findChild<ExportDialog*>();
            dialog->m_folder->setText(fileName(scratch.path()));
            dialog->m_name->setText("{name} exported");
            dialog->m_replace->setChecked(true);
            dialog->accept();
        });
        window->exportPhotographs({fileName(first), fileName(second)});
    };
    exportBoth();
    ASSERT_TRUE(waitFor([this] { return window->exports()->rowCount() == 2 && window->exports()->isIdle(); }));
    for (int row = 0; row < 2; ++row) EXPECT_EQ(window->exports()->state(row), ExportQueue::State::done);
    const std::string exported = scratch / ("u76c0g_bliznaca_srgb8 exported." + std::string("jpg"));
    EXPECT_EQ(photo::readPhotograph(exported).pixels.size(),
              cv::Size(photo::readPhotograph(second).pixels.rows, photo::readPhotograph(second).pixels.cols));

    photo::writeBytes(photo::Settings::sidecarOf(second), {'{'});
    exportBoth();
    ASSERT_TRUE(waitFor([this] { return !window->messageText().isEmpty(); }));
    EXPECT_TRUE(window->messageText().contains("u76c0g_bliznaca_srgb8.png"));
    EXPECT_EQ(window->exports()->rowCount(), 2);
}

TEST_F(WindowTest, ClosesWhileAPhotographIsPreparedAndComesBackAsItWas) {
    const std::string path = photograph("dandelion_5312x2988.jpg");
    const auto isOpen = [this] { return window->session()->isOpen(); };
    window->openPaths({QString::fromStdString(path)});
    ASSERT_TRUE(waitFor(isOpen));
    window->session()->setValue(photo::slider("brightness"), 0.5f);
    EXPECT_TRUE(window->close());
    window = std::make_unique<MainWindow>();
    window->show();
    window->openPaths({QString::fromStdString(path)});
    ASSERT_TRUE(waitFor(isOpen));
    EXPECT_EQ(window->session()->settings().light.brightness, 0.5f);
    EXPECT_TRUE(action("Undo")->isEnabled());
}

TEST_F(WindowTest, TheProgramWritesAScreenshotAndSaysWhatItIs) {
    const QString studio = KESTROVA_STUDIO, shot = QString::fromStdString(scratch / "shot.png");
    QProcess run;
    run.start(studio, {"--screenshot", shot, "--size", "1000x700", QString::fromStdString(photograph())});
    ASSERT_TRUE(run.waitForFinished(-1));
    EXPECT_EQ(run.exitCode(), 0) << run.readAllStandardError().toStdString();
    EXPECT_EQ(QImage(shot).size(), QSize(1000, 700));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("QT_SCALE_FACTOR", "2");
    run.setProcessEnvironment(environment);
    run.start(studio, {"--screenshot", shot, "--size", "1000x700", QString::fromStdString(photograph())});
    ASSERT_TRUE(run.waitForFinished(-1));
    EXPECT_EQ(QImage(shot).size(), QSize(2000, 1400)) << "on a screen of high density";
    run.start(studio, {"--help"});
    ASSERT_TRUE(run.waitForFinished(-1));
    EXPECT_TRUE(run.readAllStandardOutput().contains("--screenshot"));
    run.start(studio, {"--version"});
    ASSERT_TRUE(run.waitForFinished(-1));
    EXPECT_TRUE(run.readAllStandardOutput().startsWith("kestrova-studio "));
    run.start(studio, {"--no-such-option"});
    ASSERT_TRUE(run.waitForFinished(-1));
    EXPECT_EQ(run.exitCode(), 2);
}

}  // namespace
}  // namespace kestrova::studio
