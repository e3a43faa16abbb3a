#include "studio/session.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>

#include "photo/development.h"
#include "photo/error.h"
#include "tests/photo/pictures.h"
#include "tests/studio/child.h"
#include "tests/studio/home.h"

namespace kestrova::studio {

using photo::Settings;
using photo::slider;
namespace fs = std::filesystem;

int editUntilKilled(const std::string& photograph, const std::string& dataFolder) {
    Session session(dataFolder);
    session.open(photograph);
    session.setValue(slider("brightness"), 0.25f);
    session.beginStroke({}, {0.5, 0.5});
    session.extendStroke({0.6, 0.5});
    session.endStroke();
    session.setValue(slider("saturation"), -0.5f);
    session.setValue(slider("contrast"), 0.125f);
    session.undo();
    waitFor([&] { return !session.m_saveTimer.isActive(); });
    session.m_saver.flush();
    QFile(QString::fromStdString(dataFolder + "/ready")).open(QIODevice::WriteOnly);
    QCoreApplication::exec();
    return 0;
}

namespace {

/// For as long as it lives, no byte more can be written.
class FullDisk {
public:
    FullDisk() {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_before);
        rlimit none = m_before;
        none.rlim_cur = 0;
        setrlimit(RLIMIT_FSIZE, &none);
    }
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &m_before); }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit m_before{};
};

class SessionTest : public Home {
protected:
    SessionTest() { session = std::make_unique<Session>(dataFolder()); }
    void reopen() {
        const std::string path = session->path();
        session = std::make_unique<Session>(dataFolder());
        session->open(path);
    }
    std::vector<std::string> steps() const {
        std::vector<std::string> texts;
        for (int i = 0; i < session->history()->count(); ++i)
            texts.push_back(session->history()->text(i).toStdString());
        return texts;
    }

    std::unique_ptr<Session> session;
};

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

TEST_F(SessionTest, ComesBackWithItsHistory) {
    session->open(photograph());
    session->setValue(slider("brightness"), 0.25f);
    session->setValue(slider("tint"), -0.1f);
    session->addLayer();
    session->undo();
    const Settings before = session->settings();
    const auto texts = steps();
    reopen();
    EXPECT_EQ(session->settings(), before);
    EXPECT_EQ(steps(), texts);
    EXPECT_TRUE(session->history()->canRedo());
    session->redo();
    EXPECT_EQ(session->settings().layers.size(), 1u);
    session->undo();
    session->undo();
    session->setValue(slider("contrast"), 0.5f);
    reopen();
    EXPECT_EQ(steps(), (std::vector<std::string>{"Light: Brightness", "Light: Contrast"}));
}

TEST_F(SessionTest, AnotherPhotographHasAnotherHistory) {
    const std::string first = photograph(), second = photograph("u76c0g_bliznaca_srgb8.png");
    session->open(first);
    session->setValue(slider("brightness"), 0.25f);
    session->open(second);
    EXPECT_EQ(session->settings(), Settings());
    EXPECT_EQ(session->history()->count(), 0);
    session->open(first);
    EXPECT_EQ(session->settings().light.brightness, 0.25f);
    EXPECT_EQ(session->history()->count(), 1);
    EXPECT_EQ(session->settingsOf(second), Settings());
}

TEST_F(SessionTest, AKilledProcessComesBackWithItsHistory) {
    const std::string path = photograph();
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(),
                {"edit-until-killed", QString::fromStdString(path), QString::fromStdString(dataFolder())});
    ASSERT_TRUE(waitFor([&] { return fs::exists(dataFolder() + "/ready"); }));
    child.kill();
    ASSERT_TRUE(child.waitForFinished(-1));
    session->open(path);
    EXPECT_EQ(session->settings().light.brightness, 0.25f);
    EXPECT_EQ(session->settings().layers.at(0).mask.strokes.at(0).points.size(), 2u);
    EXPECT_EQ(session->settings().layers.at(0).adjustments.colour.saturation, -0.5f);
    EXPECT_EQ(session->history()->count(), 4);
    EXPECT_EQ(session->history()->index(), 3);
    while (session->history()->canUndo()) session->undo();
    EXPECT_EQ(session->settings(), Settings());
}

TEST_F(SessionTest, WhatAnotherProgramWroteIsAStepOfItsOwn) {
    const std::string path = photograph();
    session->open(path);
    session->setValue(slider("brightness"), 0.25f);
    ASSERT_TRUE(session->saveNow());
    session->close();
    Settings other;
    other.colour.saturation = -1;
    other.save(Settings::sidecarOf(path));
    session->open(path);
    EXPECT_EQ(session->settings(), other);
    session->undo();
    EXPECT_EQ(session->settings().light.brightness, 0.25f);
}

TEST_F(SessionTest, ASidecarThatCannotBeReadIsSaidAndKept) {
    const std::string path = photograph(), sidecar = Settings::sidecarOf(path);
    photo::writeBytes(sidecar, {'{', '"', 'x'});
    const QSignalSpy said(session.get(), &Session::message);
    session->open(path);
    EXPECT_EQ(said.count(), 1);
    EXPECT_EQ(session->settings(), Settings());
    EXPECT_TRUE(session->saveNow());
    EXPECT_EQ(photo::bytesOf(sidecar).size(), 3u) << "it stays until there is something to save";
    session->setValue(slider("brightness"), 0.25f);
    EXPECT_TRUE(session->saveNow());
    EXPECT_EQ(photo::bytesOf(sidecar + ".broken").size(), 3u);
    EXPECT_EQ(Settings::load(sidecar), session->settings());
}

TEST_F(SessionTest, WhatCannotBeSavedIsSaidAndSavedLater) {
    const std::string path = photograph(), sidecar = Settings::sidecarOf(path);
    fs::create_directories(sidecar);  // in the way
    const QSignalSpy said(session.get(), &Session::message);
    session->open(path);
    session->setValue(slider("brightness"), 0.25f);
    session->m_sidecarBroken = false;
    EXPECT_FALSE(session->saveNow());
    EXPECT_TRUE(said.last()[0].toString().contains("could not be saved"));
    fs::remove(sidecar);
    EXPECT_TRUE(session->saveNow());
    EXPECT_EQ(said.last()[0].toString(), "The settings are saved.");
    EXPECT_EQ(Settings::load(sidecar), session->settings());
}

TEST_F(SessionTest, AFullDiskLosesNothing) {
    const std::string path = photograph(), sidecar = Settings::sidecarOf(path);
    session->open(path);
    session->setValue(slider("brightness"), 0.25f);
    ASSERT_TRUE(session->saveNow());
    const auto old = photo::bytesOf(sidecar);

    std::optional<FullDisk> full(std::in_place);
    const QSignalSpy said(session.get(), &Session::message);
    session->setValue(slider("contrast"), 0.5f);
    EXPECT_FALSE(session->saveNow());
    full.reset();
    EXPECT_EQ(said.count(), 1);
    EXPECT_EQ(photo::bytesOf(sidecar), old);
    EXPECT_TRUE(session->saveNow());
    reopen();
    EXPECT_EQ(session->settings().light.contrast, 0.5f);
    EXPECT_EQ(session->history()->count(), 2);
}

TEST_F(SessionTest, WhatCouldNotBeSavedIsKeptWhileAnotherPhotographIsOpen) {
    const std::string first = photograph(), second = photograph("u76c0g_bliznaca_srgb8.png");
    const std::string inTheWay = Settings::sidecarOf(first);
    session->open(first);
    fs::create_directories(inTheWay);
    session->setValue(slider("brightness"), 0.25f);
    session->open(second);
    session->setValue(slider("tint"), 0.5f);
    EXPECT_FALSE(session->saveNow());
    EXPECT_EQ(Settings::load(Settings::sidecarOf(second)), session->settings());
    EXPECT_EQ(session->settingsOf(first).light.brightness, 0.25f);
    session->open(first);
    EXPECT_EQ(session->settings().light.brightness, 0.25f);
    EXPECT_EQ(session->history()->count(), 1);
    session->open(second);
    fs::remove(inTheWay);
    EXPECT_TRUE(session->saveNow());
    EXPECT_EQ(Settings::load(inTheWay).light.brightness, 0.25f);
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

StatePtr withBrightness(float v) {
    Settings settings;
    settings.light.brightness = v;
    return std::make_shared<const State>(settings);
}

TEST_F(SessionTest, AJournalIsReadUpToItsDamage) {
    const std::string path = scratch / "a.journal";
    Journal journal(path);
    History history{{withBrightness(0), withBrightness(0.5f)}, {"one"}, 1};
    journal.write(history, {});
    history.states.push_back(withBrightness(0.75f));
    history.texts << "two";
    history.index = 2;
    journal.write(history, {});
    EXPECT_EQ(Journal(path).read().texts, history.texts);
    fs::resize_file(path, fs::file_size(path) - 20);
    const History read = Journal(path).read();
    EXPECT_EQ(*read.states.at(1), *history.states[1]);
    EXPECT_TRUE(Journal(scratch / "none").read().empty());
}

TEST_F(SessionTest, AJournalIsAppendedToAndForgetsNothingOfALongHistory) {
    const std::string path = scratch / "a.journal";
    Journal journal(path);
    History history{{withBrightness(0)}, {}, 0};
    for (int i = 1; i <= 40; ++i) {
        history.states.push_back(withBrightness(0.01f * static_cast<float>(i)));
        history.texts << QString::number(i);
        history.index = static_cast<int>(history.texts.size());
        if (history.states.size() > 10) {  // as an undo stack drops its first steps
            history.states.erase(history.states.begin());
            history.texts.removeFirst();
            --history.index;
        }
        const auto size = fs::exists(path) ? fs::file_size(path) : 0;
        journal.write(history, {});
        EXPECT_LT(fs::file_size(path), size + 400);
    }
    const History read = Journal(path).read();
    EXPECT_EQ(read.texts.size(), 40);
    EXPECT_EQ(read.index, 40);
    EXPECT_EQ(*read.states.back(), *history.states.back());
}

TEST_F(SessionTest, AJournalThatAFullDiskStopsFromBeingWrittenAnewStaysAsItWas) {
    const std::string path = scratch / "a.journal";
    const History history{{withBrightness(0), withBrightness(0.5f)}, {"one"}, 1};
    Journal(path).write(history, {});
    Journal ofAnotherProcess(path);
    const FullDisk full;
    EXPECT_THROW(ofAnotherProcess.write({{withBrightness(0.25f)}, {}, 0}, {}), photo::Error);
    EXPECT_EQ(Journal(path).read().texts, history.texts);
}

}  // namespace
}  // namespace kestrova::studio
