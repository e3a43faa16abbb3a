#include "studio/renderer.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <cstring>
#include <filesystem>
#include <random>

#include "photo/development.h"
#include "photo/error.h"
#include "photo/read.h"
#include "studio/session.h"
#include "tests/studio/home.h"

namespace kestrova::studio {
namespace {

using photo::slider;

testing::AssertionResult sameImage(const QImage& a, const QImage& b) {
    if (a.size() != b.size() || a.format() != b.format()) return testing::AssertionFailure() << "another kind or size";
    for (int y = 0; y < a.height(); ++y)
        if (std::memcmp(a.constScanLine(y), b.constScanLine(y), static_cast<std::size_t>(4 * a.width())) != 0)
            for (int x = 0; x < a.width(); ++x)
                if (a.pixel(x, y) != b.pixel(x, y))
                    return testing::AssertionFailure() << "first difference at " << x << ", " << y << ": " << std::hex
                                                       << a.pixel(x, y) << " and " << b.pixel(x, y);
    return testing::AssertionSuccess();
}

QImage rendered(const std::string& path, const photo::Settings& settings, const cv::Rect& view, int step) {
    photo::Development development(photo::readPhotograph(path));
    development.set(settings);
    photo::Development::Output output;
    output.profile = photo::Profile::srgb();
    return imageOf(development.render(view, step, output).pixels, false).copy();
}

class RendererTest : public Home {
protected:
    RendererTest() {
        QObject::connect(&renderer, &Renderer::frameReady, [this](const std::shared_ptr<const Frame>& frame) {
            (frame->before ? before : after) = frame;
            frames.push_back(frame);
        });
        QObject::connect(&session, &Session::settingsChanged,
                         [this](bool held) { renderer.setSettings(session.settingsPtr(), held); });
    }
    void open(const std::string& path) {
        session.open(path);
        renderer.open(path, session.settingsPtr(), stateOf(path));
        ASSERT_TRUE(waitFor([this] { return !renderer.photographSize().isEmpty(); }));
        view.area = QRectF({0, 0}, renderer.whole());
        renderer.setView(view, false);
        settle();
    }
    void settle() {
        ASSERT_TRUE(waitFor([this] { return renderer.isSettled(); }));
    }
    void show(const ViewState& state) {
        view = state;
        renderer.setView(view, false);
        settle();
    }

    Session session{scratch / "history"};
    Renderer renderer{Renderer::Options()};
    ViewState view;
    std::shared_ptr<const Frame> after, before;
    std::vector<std::shared_ptr<const Frame>> frames;
};

TEST_F(RendererTest, ShowsWhatADevelopmentRendersAtOneToOne) {
    const std::string path = photograph();
    open(path);
    session.setValue(slider("brightness"), 0.5f);
    session.setValue(slider("medium-midtones"), 0.5f);
    view.area = QRectF(40, 60, 300, 200);
    show(view);
    EXPECT_EQ(after->area, view.area);
    EXPECT_TRUE(sameImage(after->image, rendered(path, session.settings(), {40, 60, 300, 200}, 1)));
}

TEST_F(RendererTest, APreparedPhotographIsReadyForASlider) {
    bool isRead = false;
    QObject::connect(&renderer, &Renderer::prepared, [&] { isRead = renderer.m_full->m_heldStep.m_isRead; });
    open(photograph("dandelion_5312x2988.jpg"));
    EXPECT_TRUE(isRead) << "at the step of the frames that follow it";
}

TEST_F(RendererTest, ShowsColoursInTheProfileOfTheScreen) {
    const std::string path = photograph();
    open(path);
    renderer.setScreen(photo::Profile::displayP3());
    settle();
    photo::Development development(photo::readPhotograph(path));
    photo::Development::Output output;
    output.profile = photo::Profile::displayP3();
    EXPECT_TRUE(sameImage(after->image, imageOf(development.render(output).pixels, false)));
    EXPECT_FALSE(sameImage(after->image, rendered(path, {}, {0, 0, 500, 500}, 1)));
}

TEST_F(RendererTest, EverySliderChangesThePictureAndItsUndoGivesTheSamePixelsBack) {
    open(photograph());
    const QImage untouched = after->image;
    for (const photo::Slider& s : photo::sliders()) {
        session.setValue(s, s.least < 0 ? -0.8f : 1.0f);
        settle();
        EXPECT_FALSE(sameImage(after->image, untouched)) << s.name;
        session.undo();
        settle();
        EXPECT_TRUE(sameImage(after->image, untouched)) << s.name;
    }
}

TEST_F(RendererTest, TheNewestOfManyRequestsIsTheOneThatStays) {
    const std::string path = photograph();
    open(path);
    session.beginGesture();
    for (int i = 0; i <= 200; ++i) session.setValue(slider("contrast"), 0.005f * static_cast<float>(i) - 0.5f);
    session.endGesture();
    settle();
    EXPECT_TRUE(sameImage(after->image, rendered(path, session.settings(), {0, 0, 500, 500}, 1)));
}

TEST_F(RendererTest, AHeldSliderIsFollowedAndTheFineFrameComesWhenItRests) {
    open(photograph());
    frames.clear();
    session.beginGesture();
    for (int i = 1; i <= 10; ++i) {
        session.setValue(slider("shadows"), 0.05f * static_cast<float>(i));
        ASSERT_TRUE(waitFor([&] { return frames.size() >= static_cast<std::size_t>(i); }));
    }
    ASSERT_TRUE(waitFor([&] { return frames.back()->fine; })) << "without the end of the gesture";
    session.endGesture();
    settle();
    EXPECT_TRUE(after->fine);
}

TEST_F(RendererTest, BeforeIsThePhotographWithItsCropAndIsRenderedOnceAView) {
    const std::string path = photograph();
    open(path);
    session.setValue(slider("brightness"), 0.5f);
    session.setCrop({0.1, 0.1, 0.5, 0.5});
    settle();
    view.before = true;
    view.area = QRectF({0, 0}, renderer.whole());
    show(view);
    ASSERT_TRUE(before);
    photo::Settings cropped;
    cropped.crop = session.settings().crop;
    EXPECT_TRUE(sameImage(before->image, rendered(path, cropped, {0, 0, 250, 250}, 1)));
    EXPECT_FALSE(sameImage(after->image, before->image));
    frames.clear();
    session.setValue(slider("contrast"), 0.5f);
    settle();
    for (const auto& frame : frames) EXPECT_FALSE(frame->before);
}

TEST_F(RendererTest, AStrokeIsSeenInTheOverlayAtOnceAndItsAdjustmentUnderIt) {
    open(photograph());
    const QImage untouched = after->image;
    session.addLayer();
    session.setValue(slider("brightness"), -0.9f);
    settle();
    EXPECT_TRUE(sameImage(after->image, untouched)) << "a layer without strokes acts nowhere";
    view.maskOfLayer = 0;
    photo::Stroke brush;
    brush.radius = 0.1;
    session.beginStroke(brush, {0.5, 0.5});
    show(view);
    EXPECT_GT(qAlpha(after->overlay.pixel(250, 250)), 100);
    EXPECT_EQ(qAlpha(after->overlay.pixel(20, 20)), 0);
    EXPECT_EQ(qAlpha(after->overlay.pixel(400, 250)), 0);
    session.extendStroke({0.8, 0.5});
    session.endStroke();
    settle();
    EXPECT_GT(qAlpha(after->overlay.pixel(400, 250)), 100);
    EXPECT_LT(qGray(after->image.pixel(400, 250)), qGray(untouched.pixel(400, 250)));
    EXPECT_EQ(after->image.pixel(20, 20), untouched.pixel(20, 20));
    while (session.history()->canUndo()) session.undo();
    view.maskOfLayer = -1;
    show(view);
    EXPECT_TRUE(sameImage(after->image, untouched));
}

TEST_F(RendererTest, ClippingIsMarkedWhereAChannelIsAtItsEndWhichRaisedWhitesHaveLower) {
    open(photograph());
    view.brightClipping = true;
    for (const auto& [name, end] : {std::pair("saturation", 255), std::pair("whites", 251)}) {
        session.setValue(slider(name), 1);
        show(view);
        int marked = 0, belowTheHighest = 0;
        for (int y = 0; y < 500; ++y)
            for (int x = 0; x < 500; ++x) {
                const QRgb p = after->image.pixel(x, y);
                const int most = std::max({qRed(p), qGreen(p), qBlue(p)});
                EXPECT_EQ(qAlpha(after->overlay.pixel(x, y)) == 255, most >= end) << name;
                marked += most >= end;
                belowTheHighest += most >= end && most < 255;
            }
        EXPECT_GT(marked, 0) << name;
        EXPECT_EQ(belowTheHighest > 0, end < 255) << name;
        session.undo();
    }
}

TEST_F(RendererTest, APreviewIsShownAtTheSizeOfThePreparedPhotograph) {
    const std::string path = photograph("dandelion_5312x2988.jpg");
    QSignalSpy prepared(&renderer, &Renderer::prepared), failed(&renderer, &Renderer::failed);
    view.zoom = 0.2;
    for (const bool preview : {true, false}) {
        renderer.open(path, session.settingsPtr(), stateOf(path));
        if (preview) renderer.cancelPreparation();
        ASSERT_TRUE(waitFor([this] { return !renderer.photographSize().isEmpty(); }));
        EXPECT_EQ(renderer.photographSize(), QSize(5312, 2988));
        view.area = QRectF({0, 0}, renderer.whole());
        after.reset();
        renderer.setView(view, false);
        ASSERT_TRUE(waitFor([&] { return preview ? after && after->fine : renderer.isSettled(); }));
        EXPECT_EQ(after->image.size(), QSize(1062, 598));
        EXPECT_EQ(after->whole, QSizeF(5312, 2988));
        EXPECT_EQ(prepared.count(), preview ? 0 : 1);
        ASSERT_TRUE(waitFor([&] { return failed.count() == 1; })) << "the one that was cancelled";
        EXPECT_EQ(failed[0][0].toInt(), static_cast<int>(photo::Error::Kind::cancelled));
        EXPECT_EQ(renderer.isPrepared(), !preview);
    }
}

TEST_F(RendererTest, ClosesDuringReadingAndPreparation) {
    const std::string path = photograph("dandelion_5312x2988.jpg");
    for (int delay : {0, 30, 120, 300, 700}) {
        Renderer other{Renderer::Options()};
        other.open(path, std::make_shared<const photo::Settings>(), stateOf(path));
        waitFor([] { return false; }, delay);
        other.close();
        EXPECT_TRUE(other.photographSize().isEmpty());
    }
}

TEST_F(RendererTest, NothingComesFromAPhotographThatWasClosed) {
    const std::string first = photograph(), second = photograph("u76c0g_bliznaca_srgb8.png");
    open(first);
    view.area = QRectF(0, 0, 400, 400);
    QSignalSpy progress(&renderer, &Renderer::progress);
    for (int i = 0; i < 5; ++i) {
        renderer.setView(view, false);
        renderer.m_full->wait(50);  // for a frame, without the event loop
        renderer.open(second, session.settingsPtr(), stateOf(second));
        frames.clear();
        settle();
        for (const auto& frame : frames) EXPECT_EQ(frame->whole, renderer.whole());
        EXPECT_TRUE(waitFor([&] { return progress.last()[0].toDouble() == 1; }));
        renderer.open(first, session.settingsPtr(), stateOf(first));
        settle();
    }
}

TEST_F(RendererTest, TheNextPhotographIsPreparedAheadUnlessItIsTooLarge) {
    const std::string next = photograph("u76c0g_bliznaca_srgb8.png");
    renderer.prefetch(next);
    open(photograph());
    renderer.prefetch(next);
    ASSERT_TRUE(waitFor([this] { return renderer.m_next && renderer.m_next->isPrepared(); }));
    QSignalSpy prepared(&renderer, &Renderer::prepared);
    renderer.open(next, session.settingsPtr(), stateOf(next));
    EXPECT_EQ(prepared.count(), 1) << "at once";

    Renderer::Options small;
    small.prefetchMemory = 1 << 20;
    Renderer bounded(small);
    QObject::connect(&bounded, &Renderer::failed, [](int, const QString&) { FAIL() << "nobody has asked for it yet"; });
    bounded.open(photograph(), session.settingsPtr(), {});
    ASSERT_TRUE(waitFor([&] { return bounded.isPrepared(); }));
    bounded.prefetch(photograph("dandelion_5312x2988.jpg"));
    bounded.setView(view, false);
    ASSERT_TRUE(waitFor([&] { return bounded.isSettled(); }));
    EXPECT_TRUE(waitFor([&] { return !bounded.m_next; }));
}

TEST_F(RendererTest, TheBoundOfWhatIsPreparedAheadEndsWhenItIsOpened) {
    const std::string next = photograph("u76c0g_bliznaca_srgb8.png");
    const photo::Photograph read = photo::readPhotograph(next, {});
    photo::Settings needed;
    needed.light.brightness = needed.noise.colour = 0.01f;
    Renderer::Options justEnough;
    justEnough.prefetchMemory = read.pixels.total() * read.pixels.elemSize() +
                                photo::Development::memoryFor(read.pixels.size(), needed, {}, {});
    Renderer bounded(justEnough);
    QObject::connect(&bounded, &Renderer::failed, [](int, const QString& text) { FAIL() << qPrintable(text); });
    bounded.open(photograph(), session.settingsPtr(), {});
    view.area = QRectF(0, 0, 100, 100);
    bounded.setView(view, false);
    bounded.prefetch(next);
    ASSERT_TRUE(waitFor([&] { return bounded.m_next && bounded.m_next->isPrepared(); }));
    auto layered = std::make_shared<photo::Settings>();
    for (int i = 0; i < 8; ++i) layered->layers.emplace_back().adjustments.light.brightness = 0.5f;
    bounded.open(next, layered, stateOf(next));
    view.area = QRectF({0, 0}, bounded.whole());
    bounded.setView(view, false);
    EXPECT_TRUE(waitFor([&] { return bounded.isSettled(); }));
}

TEST_F(RendererTest, APhotographThatIsOpenedWhileItIsReadAheadIsShownThoughItIsTooLargeForThat) {
    Renderer::Options small;
    small.prefetchMemory = 1 << 20;
    Renderer bounded(small);
    QObject::connect(&bounded, &Renderer::failed, [](int, const QString& text) { FAIL() << qPrintable(text); });
    bounded.open(photograph(), session.settingsPtr(), {});
    view.area = QRectF(0, 0, 100, 100);
    bounded.setView(view, false);
    ASSERT_TRUE(waitFor([&] { return bounded.isSettled(); }));
    const std::string next = photograph("dandelion_5312x2988.jpg");
    bounded.prefetch(next);
    ASSERT_TRUE(bounded.m_next);
    bounded.open(next, session.settingsPtr(), stateOf(next));
    ASSERT_TRUE(bounded.m_full->options().memory) << "the same worker goes on";
    EXPECT_TRUE(waitFor([&] { return bounded.isPrepared(); }));
}

TEST_F(RendererTest, APhotographOf24MegapixelsIsPreparedAhead) {
    photo::Settings needed;
    needed.light.brightness = needed.noise.colour = 0.01f;
    const cv::Size size(6000, 4000);
    EXPECT_LT(photo::Development::memoryFor(size, needed, {}, {}) + std::size_t{8} * 6000 * 4000,
              Renderer::Options().prefetchMemory);
}

TEST_F(RendererTest, APhotographThatIsReplacedAfterItWasPreparedAheadIsReadAnew) {
    const std::string next = scratch / "next.png";
    std::filesystem::copy_file(photograph("u76c0g_bliznaca_srgb8.png"), next);
    open(photograph());
    renderer.prefetch(next);
    ASSERT_TRUE(waitFor([this] { return renderer.m_next && renderer.m_next->isPrepared(); }));
    std::filesystem::rename(photograph("dandelion_768x512.png"), next);
    renderer.open(next, session.settingsPtr(), stateOf(next));
    settle();
    EXPECT_EQ(renderer.photographSize(), QSize(768, 512));
}

TEST_F(RendererTest, WhatWasPreparedOrFailedAheadIsSeenThoughTheWindowWasBusy) {
    QSignalSpy failed(&renderer, &Renderer::failed);
    photo::writeBytes(scratch / "bad.jpg", {1, 2, 3});
    for (const std::string& next : {photograph("u76c0g_bliznaca_srgb8.png"), scratch / "bad.jpg"}) {
        open(photograph());
        renderer.prefetch(next);
        ASSERT_TRUE(renderer.m_next);
        renderer.m_next->wait(1000);  // without the event loop
        renderer.open(next, session.settingsPtr(), stateOf(next));
        EXPECT_TRUE(waitFor([&] { return renderer.isSettled() || failed.count() == 1; })) << next;
    }
    EXPECT_EQ(failed.count(), 1);
}

TEST_F(RendererTest, AFileThatIsNoPhotographIsAFailureAndNothingElse) {
    photo::writeBytes(scratch / "a.jpg", {1, 2, 3});
    QSignalSpy failed(&renderer, &Renderer::failed);
    for (const std::string& path : {scratch / "a.jpg", scratch / "none.jpg", scratch.path()}) {
        renderer.open(path, session.settingsPtr(), stateOf(path));
        ASSERT_TRUE(waitFor([&] { return failed.count() == 1; })) << path;
        EXPECT_FALSE(failed.takeFirst()[1].toString().isEmpty());
    }
    open(photograph());
    EXPECT_TRUE(after);
}

}  // namespace
}  // namespace kestrova::studio
