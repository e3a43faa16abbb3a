#include "studio/session.h"

#include <QCoreApplication>
#include <QFile>
#include <QSignalSpy>
#include <filesystem>

#include "photo/development.h"
#include "photo/error.h"
#include "tests/photo/pictures.h"
#include "tests/studio/session_fixture.h"

namespace kestrova::studio {

using photo::Settings;
using photo::slider;
namespace fs = std::filesystem;

namespace {

TEST_F(SessionTest, ASliderIsAStepThatUndoTakesBackAndRedoRepeats) {
    session->open(photograph());
    session->setValue(slider("brightness"), 0.5f);
    EXPECT_EQ(session->settings().light.brightness, 0.5f);
    session->undo();
    EXPECT_EQ(session->settings(), Settings());
    session->redo();
    EXPECT_EQ(session->settings().light.brightness, 0.5f);
    EXPECT_EQ(steps(), std::vector<std::string>{"Light: Brightness"});
}

TEST_F(SessionTest, AGestureIsOneStepAndOneThatChangesNothingIsNone) {
    session->open(photograph());
    session->beginGesture();
    for (int i = 1; i <= 20; ++i) session->setValue(slider("contrast"), 0.04f * static_cast<float>(i));
    session->endGesture();
    session->setValue(slider("contrast"), -0.5f);
    EXPECT_EQ(session->history()->count(), 2);
    session->beginGesture();
    session->setValue(slider("shadows"), 0.5f);
    session->setValue(slider("shadows"), 0.0f);
    session->endGesture();
    EXPECT_EQ(session->history()->count(), 2);
    session->undo();
    EXPECT_EQ(session->settings().light.contrast, 0.04f * 20.0f);
}

TEST_F(SessionTest, TheSidecarFollowsAndThePhotographIsNotTouched) {
    const std::string path = photograph();
    const auto before = photo::bytesOf(path);
    session->open(path);
    EXPECT_TRUE(session->saveNow());
    EXPECT_FALSE(fs::exists(Settings::sidecarOf(path))) << "nothing has been done yet";
    session->setValue(slider("vibrance"), 0.3f);
    ASSERT_TRUE(waitFor([&] { return fs::exists(Settings::sidecarOf(path)); }));
    session->m_saver.flush();
    EXPECT_EQ(Settings::load(Settings::sidecarOf(path)), session->settings());
    session->undo();
    EXPECT_TRUE(session->saveNow());
    EXPECT_EQ(Settings::load(Settings::sidecarOf(path)), Settings());
    EXPECT_EQ(photo::bytesOf(path), before);
}

TEST_F(SessionTest, LayersAreAddedMovedCopiedNamedAndRemovedAndAllOfItIsUndone) {
    session->open(photograph());
    ASSERT_TRUE(session->addLayer());
    EXPECT_EQ(session->target(), 0);
    session->setValue(slider("shadows"), 0.5f);
    EXPECT_EQ(session->settings().light.shadows, 0);
    EXPECT_EQ(session->settings().layers[0].adjustments.light.shadows, 0.5f);
    ASSERT_TRUE(session->addLayer());
    session->renameLayer(1, "Sky");
    session->moveLayer(1, 0);
    EXPECT_EQ(session->settings().layers[0].name, "Sky");
    EXPECT_EQ(session->target(), 0);
    ASSERT_TRUE(session->duplicateLayer(1));
    EXPECT_EQ(session->settings().layers.size(), 3u);
    EXPECT_EQ(session->settings().layers[2].adjustments, session->settings().layers[1].adjustments);
    session->fillLayer(2);
    session->invertLayer(2);
    session->clearLayer(2);
    session->removeLayer(2);
    EXPECT_EQ(session->target(), 1);
    while (session->history()->canUndo()) session->undo();
    EXPECT_EQ(session->settings(), Settings());
    EXPECT_EQ(session->target(), Session::kWhole);
}

TEST_F(SessionTest, ALayerThatIsBackIsTheTargetAgain) {
    session->open(photograph());
    ASSERT_TRUE(session->addLayer());
    ASSERT_TRUE(session->addLayer());
    session->undo();
    session->undo();
    ASSERT_EQ(session->target(), Session::kWhole);
    session->redo();
    EXPECT_EQ(session->target(), 0);
    session->redo();
    EXPECT_EQ(session->target(), 1);

    session->removeLayer(0);
    session->undo();
    EXPECT_EQ(session->target(), 0);

    session->setTarget(Session::kWhole);
    session->setValue(slider("shadows"), 0.5f);
    session->undo();
    session->redo();
    EXPECT_EQ(session->target(), Session::kWhole);
}

TEST_F(SessionTest, PastedLayersLeaveTheTarget) {
    session->open(photograph());
    Settings from;
    from.layers.resize(2);
    session->paste(from);
    EXPECT_EQ(session->target(), Session::kWhole);
}

TEST_F(SessionTest, ThereAreNoMoreThanSixteenLayers) {
    session->open(photograph());
    for (int i = 0; i < 16; ++i) EXPECT_TRUE(session->addLayer());
    EXPECT_FALSE(session->addLayer());
    EXPECT_FALSE(session->duplicateLayer(0));
    EXPECT_EQ(session->settings().layers.size(), 16u);
}

TEST_F(SessionTest, AStrokeOnTheWholePhotographMakesItsLayerInOneStep) {
    session->open(photograph());
    session->beginStroke({}, {0.25, 0.25});
    for (int i = 1; i < 30; ++i) session->extendStroke({0.25 + 0.01 * i, 0.25});
    session->endStroke();
    EXPECT_EQ(session->history()->count(), 1);
    ASSERT_EQ(session->settings().layers.size(), 1u);
    EXPECT_EQ(session->settings().layers[0].mask.strokes[0].points.size(), 30u);
    session->undo();
    EXPECT_EQ(session->settings(), Settings());
}

TEST_F(SessionTest, ABrushPaintsWhatIsSeenOnAnInvertedMaskToo) {
    session->open(photograph());
    session->addLayer();
    session->fillLayer(0);
    photo::Stroke erase;
    erase.erase = true;
    session->beginStroke(erase, {0.5, 0.5});
    session->endStroke();
    EXPECT_FALSE(session->settings().layers[0].mask.strokes[0].erase) << "adds to what the inversion takes away";
}

TEST_F(SessionTest, AnotherChangeEndsAStroke) {
    session->open(photograph());
    session->beginStroke({}, {0.5, 0.5});
    session->addLayer();
    session->extendStroke({0.6, 0.5});
    session->endStroke();
    EXPECT_EQ(session->history()->count(), 2);
    EXPECT_EQ(session->settings().layers.at(0).mask.strokes.at(0).points.size(), 1u);
    EXPECT_TRUE(session->settings().layers.at(1).mask.strokes.empty());
    session->beginStroke({}, {0.5, 0.5});
    session->history()->setIndex(0);
    session->extendStroke({0.6, 0.5});
    EXPECT_EQ(session->settings(), Settings());
}

TEST_F(SessionTest, ALighterPenPaintsThinner) {
    session->open(photograph());
    session->beginStroke({}, {0.2, 0.5}, 0.4);
    session->extendStroke({0.4, 0.5}, 0.4);
    session->extendStroke({0.6, 0.5}, 1);
    session->endStroke();
    const auto& strokes = session->settings().layers[0].mask.strokes;
    ASSERT_EQ(strokes.size(), 2u);
    EXPECT_NEAR(strokes[0].radius, 0.4 * photo::Stroke().radius, 1e-12);
    EXPECT_EQ(strokes[1].radius, photo::Stroke().radius);
    EXPECT_EQ(strokes[1].points.front(), strokes[0].points.back());
}

TEST_F(SessionTest, ARotationTakesTheCropAlong) {
    const cv::Mat pixels = photo::scene({90, 60});
    session->open(photograph());
    session->setCrop({0.1, 0.2, 0.5, 0.3});
    const cv::Mat upright = photo::rendered16(pixels, session->settings());
    session->rotate(1);
    cv::Mat turned;
    cv::rotate(upright, turned, cv::ROTATE_90_CLOCKWISE);
    EXPECT_TRUE(photo::sameValues(photo::rendered16(pixels, session->settings()), turned));
    session->rotate(-1);
    EXPECT_TRUE(photo::sameValues(photo::rendered16(pixels, session->settings()), upright));
}

TEST_F(SessionTest, PasteLeavesRotationAngleAndCrop) {
    session->open(photograph());
    session->setCrop({0.1, 0.2, 0.5, 0.3});
    Settings other;
    other.light.brightness = 0.5f;
    other.rotate = 90;
    other.straighten = 3;
    session->paste(other);
    EXPECT_EQ(session->settings().light.brightness, 0.5f);
    EXPECT_EQ(session->settings().rotate, 0);
    EXPECT_EQ(session->settings().straighten, 0);
    EXPECT_EQ(session->settings().crop, (photo::Crop{0.1, 0.2, 0.5, 0.3}));
}

TEST_F(SessionTest, RefusesWhatIsOutOfRangeWithAMessage) {
    session->open(photograph());
    Settings wrong;
    wrong.rotate = 45;
    const QSignalSpy said(session.get(), &Session::message);
    session->change("Wrong", wrong);
    EXPECT_EQ(said.count(), 1);
    EXPECT_EQ(session->settings(), Settings());
}

}  // namespace
}  // namespace kestrova::studio
