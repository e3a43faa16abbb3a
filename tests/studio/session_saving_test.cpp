#include "studio/session.h"

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
#include "tests/studio/session_fixture.h"

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

TEST_F(SessionTest, AHostileSidecarIsSaidAndEndsNothing) {
    const std::string path = photograph(), sidecar = Settings::sidecarOf(path);
    for (const char byte : {'[', ','}) {
        photo::writeBytes(sidecar, std::vector<unsigned char>(64 << 20, static_cast<unsigned char>(byte)));
        const QSignalSpy said(session.get(), &Session::message);
        session->open(path);
        EXPECT_EQ(said.count(), 1);
        EXPECT_EQ(session->settings(), Settings());
    }
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
