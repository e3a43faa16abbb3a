#include <gtest/gtest.h>

#ifdef __linux__
#include <sys/resource.h>
#endif

#include <QDockWidget>
#include <QLabel>
#include <QNativeGestureEvent>
#include <QSignalSpy>
#include <QTabWidget>
#include <QThread>
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

#include "studio/brush_tool.h"
#include "studio/layer_panel.h"
#include "studio/message_bar.h"
#include "studio/renderer.h"
#include "studio/session.h"
#include "studio/widgets/background.h"
#include "studio/widgets/film_strip.h"
#include "studio/widgets/histogram_view.h"
#include "studio/widgets/preset_strip.h"
#include "studio/widgets/tile_delegate.h"
#include "tests/studio/window.h"

namespace kestrova::studio {
namespace {

TEST_F(WindowTest, APinchZoomsAboutTheFingers) {
    open(photograph("dandelion_768x512.png"));
    PhotoView* view = window->view();
    const QPointF fingers = QPointF(middle()) - QPointF(70, 30);
    const QPointF place = view->transform().toPicture(fingers);
    const double before = view->transform().zoom();
    for (int i = 0; i < 3; ++i) {
        QNativeGestureEvent pinch(Qt::ZoomNativeGesture, QPointingDevice::primaryPointingDevice(), 2, fingers, fingers,
                                  view->mapToGlobal(fingers), 0.2, {});
        QCoreApplication::sendEvent(view, &pinch);
    }
    EXPECT_NEAR(view->transform().zoom(), before * std::pow(1.2, 3), 1e-9);
    EXPECT_NEAR(view->transform().toView(place).x(), fingers.x(), 1e-6);
    EXPECT_NEAR(view->transform().toView(place).y(), fingers.y(), 1e-6);
}

TEST_F(WindowTest, KeysZoomAndMoveThePhotograph) {
    open(photograph("dandelion_768x512.png"));
    const ViewTransform& transform = window->view()->transform();
    action("1 : 1")->trigger();
    EXPECT_EQ(transform.zoom(), 1);
    action("Zoom in")->trigger();
    action("Zoom in")->trigger();
    EXPECT_NEAR(transform.zoom(), 1.25 * 1.25, 1e-9);
    window->view()->zoomTo(4);
    const QPointF place = transform.toPicture(middle());
    QTest::keyClick(window->view(), Qt::Key_Right);
    EXPECT_GT(transform.toPicture(middle()).x(), place.x());
    action("Fit")->trigger();
    EXPECT_TRUE(transform.isFit());
}

TEST_F(WindowTest, BracketKeysResizeTheBrushAndItsOutlineIsAtThePointer) {
    open(photograph());
    action("Brush")->trigger();
    const double before = window->m_brush->radiusInPicture();
    action("Larger brush")->trigger();
    EXPECT_GT(window->m_brush->radiusInPicture(), before);
    action("Smaller brush")->trigger();
    EXPECT_NEAR(window->m_brush->radiusInPicture(), before, 1e-6);
    EXPECT_EQ(action("Larger brush")->shortcut(), QKeySequence("]"));
    EXPECT_EQ(action("Smaller brush")->shortcut(), QKeySequence("["));
    settle();
    const QImage without = picture();
    moveMouse(middle());
    const double radius = before * window->view()->transform().zoom();
    const QPoint outline = middle() + QPoint(static_cast<int>(radius), 0);
    const QImage with = picture();
    EXPECT_NE(with.copy(outline.x() - 2, outline.y() - 2, 5, 5), without.copy(outline.x() - 2, outline.y() - 2, 5, 5));
    EXPECT_EQ(with.pixel(middle() + QPoint(0, 20 + static_cast<int>(radius))),
              without.pixel(middle() + QPoint(0, 20 + static_cast<int>(radius))));
}

TEST_F(WindowTest, BeforeAndClippingAreShownByKey) {
    open(photograph());
    const QImage untouched = picture();
    window->session()->setValue(photo::slider("whites"), 1);
    settle();
    const QImage bright = picture();
    action("Before")->trigger();
    settle();
    EXPECT_EQ(picture(), untouched);
    action("Before")->trigger();
    settle();
    EXPECT_EQ(picture(), bright);
    action("Clipping")->trigger();
    settle();
    EXPECT_NE(picture(), bright);
    EXPECT_TRUE(waitFor([this] { return window->m_histogram->histogram().bright > 0; }));
}

TEST_F(WindowTest, PresetsHavePicturesAndReplaceTheAdjustmentsInOneStep) {
    open(photograph());
    PresetStrip* presets = window->m_presets;
    for (int row = 0; row < presets->count(); ++row)
        EXPECT_TRUE(waitFor([&] { return !presets->item(row)->data(Qt::DecorationRole).isNull(); })) << row;
    QTest::mouseClick(presets->viewport(), Qt::LeftButton, {}, presets->visualItemRect(presets->item(1)).center());
    photo::Settings settings;
    static_cast<photo::Adjustments&>(settings) = photo::presets()[0].settings;
    EXPECT_EQ(window->session()->settings(), settings);
    EXPECT_EQ(window->session()->history()->count(), 1);
    EXPECT_EQ(presets->currentRow(), 1);
    action("Undo")->trigger();
    EXPECT_EQ(presets->currentRow(), 0) << "None";
    window->session()->setValue(photo::slider("tint"), 0.4f);
    EXPECT_TRUE(presets->selectedItems().isEmpty());
}

TEST_F(WindowTest, TheStripMarksAPhotographForAsLongAsItIsEdited) {
    open(photograph());
    const auto isMarked = [&] { return window->strip()->model()->index(0, 0).data(EditedRole).toBool(); };
    EXPECT_FALSE(isMarked());
    window->session()->setValue(photo::slider("tint"), 0.4f);
    EXPECT_TRUE(isMarked());
    window->session()->undo();
    EXPECT_FALSE(isMarked());
    window->session()->redo();
    EXPECT_TRUE(isMarked());
    action("Reset all")->trigger();
    EXPECT_FALSE(isMarked());
}

TEST_F(WindowTest, OfFoldersAndFilesTheLatestThatWereAskedForAreOpened) {
    std::filesystem::create_directory(scratch / "many");
    const std::string one = photograph("u76c0g_bliznaca_srgb8.png");
    for (int i = 0; i < 300; ++i)
        photo::writeBytes(scratch / ("many/" + std::to_string(i) + ".jpg"), {0xff, 0xd8, 0xff});
    window->openPaths({QString::fromStdString(scratch / "many")});
    EXPECT_FALSE(window->session()->isOpen()) << "the folder is read in the background";
    open(one);
    EXPECT_EQ(window->session()->path(), one);
    EXPECT_EQ(window->strip()->model()->rowCount(), 1);
}

TEST_F(WindowTest, APhotographThatAnotherProgramReplacesIsShownAsItThenIs) {
    const std::string path = photograph();
    open(path);
    window->session()->setValue(photo::slider("tint"), 0.4f);
    settle();
    std::filesystem::create_hard_link(path, scratch / "old.png");  // the file that is replaced lives on
    for (int i = 0; i < 2; ++i) {                                  // the second time, too, and by another file
        const QImage old = picture();
        const char* other = i == 0 ? "u76c0g_bliznaca_srgb8.png" : "dandelion_768x512.png";
        std::filesystem::copy_file(std::string(KESTROVA_PHOTOS "/") + other, scratch / "new.png",
                                   std::filesystem::copy_options::overwrite_existing);
        std::filesystem::rename(scratch / "new.png", path);
        EXPECT_TRUE(waitFor([&] { return window->isSettled() && picture() != old; }));
    }
    EXPECT_EQ(window->renderer()->photographSize(), QSize(768, 512));
    EXPECT_EQ(window->session()->settings().colour.tint, 0.4f);
    EXPECT_EQ(window->session()->history()->count(), 1);
    EXPECT_TRUE(window->messageText().contains("Its settings are kept")) << "which may be those of another photograph";
}

TEST_F(WindowTest, APhotographThatIsReplacedTogetherWithItsSidecarIsOpenedWithoutSettings) {
    const std::string path = photograph(), sidecar = photo::Settings::sidecarOf(path);
    open(path);
    window->session()->setValue(photo::slider("tint"), 0.4f);
    ASSERT_TRUE(window->session()->saveNow());
    settle();
    std::filesystem::copy_file(path, scratch / "old.png");
    std::filesystem::remove(sidecar);
    std::filesystem::copy_file(KESTROVA_PHOTOS "/dandelion_768x512.png", scratch / "new.png");
    std::filesystem::rename(scratch / "new.png", path);
    EXPECT_TRUE(
        waitFor([&] { return window->isSettled() && window->renderer()->photographSize() == QSize(768, 512); }));
    EXPECT_EQ(window->session()->settings(), photo::Settings());
    EXPECT_EQ(window->session()->history()->count(), 0);
    EXPECT_TRUE(window->messageText().contains("without settings"));
    EXPECT_FALSE(std::filesystem::exists(sidecar));
    std::filesystem::rename(scratch / "old.png", path);
    open(path);
    EXPECT_EQ(window->session()->history()->text(0), "Colour: Tint") << "the history comes back with its photograph";
}

TEST_F(WindowTest, APhotographThatIsTakenAwayStaysSeen) {
    const std::string path = photograph();
    open(path);
    const QImage before = picture();
    const QSignalSpy looked(&window->m_reload, &QTimer::timeout);
    std::filesystem::remove(path);
    ASSERT_TRUE(waitFor([&] { return looked.count() >= 2; })) << "it looks for the photograph again and again";
    settle();
    EXPECT_EQ(picture(), before);
    photograph("u76c0g_bliznaca_srgb8.png");
    std::filesystem::rename(scratch / "u76c0g_bliznaca_srgb8.png", path);
    EXPECT_TRUE(waitFor([&] { return window->isSettled() && picture() != before; })) << "once there is one again";
}

TEST_F(WindowTest, APhotographThatIsWrittenInPartsIsShownOnceItIsWhole) {
    const std::string path = photograph();
    open(path);
    const auto seen = window->view()->frame();
    photo::writeBytes(path, {0x89, 'P', 'N', 'G'});
    ASSERT_TRUE(waitFor([this] { return !window->messageText().isEmpty(); }));
    EXPECT_EQ(window->view()->frame(), seen) << "what was seen stays";
    std::filesystem::copy_file(KESTROVA_PHOTOS "/u76c0g_bliznaca_srgb8.png", path,
                               std::filesystem::copy_options::overwrite_existing);
    EXPECT_TRUE(waitFor([this] { return window->isSettled(); }));
    EXPECT_TRUE(window->messageText().isEmpty());
}

TEST_F(WindowTest, ASliderThatMovesDuringAReloadKeepsThePlaceThatIsSeen) {
    const std::string path = photograph("dandelion_768x512.png");
    open(path);
    PhotoView* view = window->view();
    view->zoomAbout(middle() + QPoint(60, 40), 3);
    settle();
    const QRectF seen = view->transform().seen();
    window->renderer()->open(path, window->session()->settingsPtr(), stateOf(path));
    ASSERT_TRUE(window->renderer()->photographSize().isEmpty());
    window->session()->setValue(photo::slider("brightness"), 0.5f);
    EXPECT_EQ(view->transform().seen(), seen);
    settle();
    EXPECT_EQ(view->transform().seen(), seen);
    EXPECT_TRUE(view->frame()->area.contains(seen));
}

TEST_F(WindowTest, NamesOfFilesAreShownAsTheyAreAndInOneLine) {
    photo::writeBytes(scratch / "two\nlines <b>bold.jpg", {0xff, 0xd8, 0xff, 1, 2, 3});
    window->openPaths({QString::fromStdString(scratch / "two\nlines <b>bold.jpg")});
    ASSERT_TRUE(waitFor([this] { return !window->messageText().isEmpty(); }));
    EXPECT_EQ(window->windowTitle(), "two lines <b>bold.jpg - Kestrova Studio");
    EXPECT_EQ(window->messages()->findChild<QLabel*>()->textFormat(), Qt::PlainText);
}

TEST_F(WindowTest, AFolderWithoutPhotographsSaysSoAndKeepsWhatIsOpen) {
    const std::string path = photograph();
    open(path);
    std::filesystem::create_directory(scratch / "empty");
    window->openPaths({QString::fromStdString(scratch / "empty")});
    settle();
    EXPECT_TRUE(window->messageText().contains("empty"));
    EXPECT_EQ(window->session()->path(), path);
    EXPECT_EQ(window->strip()->model()->rowCount(), 1);
}

TEST_F(WindowTest, AFileThatCannotBeOpenedSaysWhyThoughItsFolderHasNoPhotographs) {
    std::filesystem::create_directory(scratch / "empty");
    photo::writeBytes(scratch / "empty/notes.txt", {1, 2, 3});
    for (const char* name : {"empty/notes.txt", "empty/missing.jpg"}) {
        window->openPaths({QString::fromStdString(scratch / name)});
        ASSERT_TRUE(
            waitFor([this] { return window->m_listed == window->m_listings && !window->messageText().isEmpty(); }));
        EXPECT_TRUE(window->messageText().contains(std::filesystem::path(name).filename().c_str()))
            << window->messageText().toStdString();
    }
}

TEST_F(WindowTest, OfAnEmptyAndAFullFolderTheEmptyOneIsNamedAndTheOtherOpened) {
    const std::string path = photograph();
    std::filesystem::create_directory(scratch / "empty");
    window->openPaths({QString::fromStdString(scratch / "empty"), QString::fromStdString(scratch.path())});
    settle();
    EXPECT_EQ(std::filesystem::path(window->session()->path()).filename(), std::filesystem::path(path).filename());
    EXPECT_TRUE(window->messageText().contains("empty"));
}

TEST_F(WindowTest, TheMaskIsShownInTheColourOfChoice) {
    open(photograph());
    window->session()->addLayer();
    window->session()->fillLayer(0);
    action("Mask")->setChecked(true);
    window->layers()->setMaskColour(Qt::blue);
    settle();
    const QColor shown = window->view()->frame()->overlay.pixelColor(100, 100);
    EXPECT_GT(shown.blue(), 200);
    EXPECT_EQ(shown.red(), 0);
}

TEST_F(WindowTest, ItsLayoutThemeAndMaskColourAreRemembered) {
    window->resize(1111, 777);
    window->showPanel("colour");
    window->layers()->setMaskColour(Qt::green);
    window->findChild<QDockWidget*>("strip")->hide();
    ASSERT_TRUE(window->close());
    window = std::make_unique<MainWindow>();
    window->show();
    EXPECT_EQ(window->size(), QSize(1111, 777));
    EXPECT_EQ(window->m_tabs->currentIndex(), 2);
    EXPECT_EQ(window->layers()->maskColour(), QColor(Qt::green));
    EXPECT_TRUE(window->findChild<QDockWidget*>("strip")->isHidden());
}

#ifdef __linux__
TEST_F(WindowTest, AWorkerAndItsTeamStandBackBehindTheWindow) {
    const auto niceness = [](const std::filesystem::path& task) -> std::optional<int> {
        std::ifstream file(task / "stat");
        const std::string stat{std::istreambuf_iterator<char>(file), {}};
        if (stat.empty()) return {};  // the thread has ended
        std::istringstream fields(stat.substr(stat.rfind(')') + 2));
        std::string word;
        for (int i = 0; i < 17; ++i) fields >> word;
        return std::stoi(word);
    };
    open(photograph());
    const int own = niceness("/proc/thread-self").value();
    EXPECT_EQ(own, getpriority(PRIO_PROCESS, 0));
    int others = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::ifstream(task.path() / "comm") >> name;
        if (name.rfind("kestrova::", 0) != 0) continue;  // the name of its class, which its team inherits
        const std::optional<int> found = niceness(task.path());
        if (!found) continue;
        EXPECT_EQ(*found, std::min(19, own + static_cast<int>(Background::view)));
        ++others;
    }
    EXPECT_GE(others, QThread::idealThreadCount());
}
#endif

}  // namespace
}  // namespace kestrova::studio
