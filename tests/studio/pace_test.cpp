#include "tests/studio/pace.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QMouseEvent>
#include <filesystem>
#include <numeric>

#include "studio/photo_view.h"
#include "studio/renderer.h"
#include "studio/session.h"
#include "studio/slider_panel.h"
#include "studio/widgets/slider_row.h"
#include "studio/widgets/slider_track.h"

// Measured on a quiet machine, by running these from the program: --gtest_filter='Pace*'
namespace kestrova::studio {
namespace {

constexpr double kPixels = 24e6;
constexpr double kMove = 25;  // milliseconds, of a slider

void wantLittleMemory(const std::string& what) {
    if (!paceOptions().busy) wantAtMost(45, peakBytes() / kPixels, what, "bytes/pixel");
}

/// A drag of a slider in its panel, by the mouse.
class Drag {
public:
    Drag(MainWindow& window, const photo::Slider& slider) {
        for (SliderPanel* panel : window.sliderPanels())
            if (panel->rows().count(slider.name)) m_track = panel->row(slider.name)->findChild<SliderTrack*>();
        const std::string group = slider.group;
        const bool isColour = group == "colour" || group == "mix";
        window.showPanel(group == "light" ? "light" : isColour ? "colour" : "detail");
        QCoreApplication::processEvents();
        m_x = m_track->xOf(0);
        send(QEvent::MouseButtonPress);
    }
    ~Drag() { send(QEvent::MouseButtonRelease); }
    void move() {
        constexpr double kHundredths = 3;
        m_x += kHundredths * m_track->pixelsPerStep();
        send(QEvent::MouseMove);
    }

private:
    void send(QEvent::Type type) {
        const QPointF at(m_x, m_track->height() / 2.0);
        const Qt::MouseButtons down = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
        QMouseEvent event(type, at, m_track->mapToGlobal(at), type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton,
                          down, Qt::NoModifier);
        QCoreApplication::sendEvent(m_track, &event);
    }

    SliderTrack* m_track = nullptr;
    double m_x = 0;
};

class PaceOfEdits : public Pace {
protected:
    const char* show(double zoom) {
        if (zoom > 0) window.view()->zoomTo(zoom);
        settle();
        return zoom > 0 ? " at 1:1" : " at fit";
    }
    void dragEverySlider(const std::string& where) {
        constexpr double kAtRest = 100;
        std::vector<double> all, rests;
        Stalls stalls;
        for (const photo::Slider& slider : photo::sliders()) {
            std::vector<double> times;
            {
                Drag drag(window, slider);
                for (int i = 0; i < 20; ++i) times.push_back(untilPainted([&] { drag.move(); }));
                rests.push_back(untilPainted([&] { drag.move(); }, true));
            }
            settle();
            wantAtMost(kMove, percentile(times, 0.95), "95th percentile of " + (slider.name + where));
            all.insert(all.end(), times.begin(), times.end());
            window.session()->undo();
            settle();
        }
        wantAtMost(kMove, median(all), "median of all sliders" + where);
        wantAtMost(kMove, percentile(all, 0.95), "95th percentile of all sliders" + where);
        wantAtMost(kAtRest, percentile(rests, 1), "latest fine frame after a slider's last move" + where);
        stalls.report("under sliders" + where);
    }
    void addBrightLayer() {
        window.session()->addLayer();
        window.session()->setValue(photo::slider("brightness"), 0.5f);
        settle();
    }
};

TEST_F(Pace, FromOpeningToPixelsAndMemory) {
    forgetPeak();
    for (int i = 1; i <= 16; ++i) {  // the first one loads what the others find in memory
        const std::string folder = scratch / std::to_string(i);
        std::filesystem::create_directory(folder);
        std::filesystem::create_hard_link(path, folder + "/photograph.jpg");
        QElapsedTimer timer;
        timer.start();
        Stalls stalls;
        wantAtMost(600, untilPainted([&] { window.openPaths({QString::fromStdString(folder + "/photograph.jpg")}); }),
                   "first pixels");
        settle();
        wantAtMost(2500, static_cast<double>(timer.elapsed()), "prepared");
        rest(500);
        stalls.report("at opening");
        if (i == 1) wantLittleMemory("peak of one photograph");
    }
    wantLittleMemory("peak of one photograph after the other");
}

TEST_F(PaceOfEdits, FromASliderToThePaintedFrame) {
    open();
    for (double zoom : {0.0, 1.0}) dragEverySlider(show(zoom));
}

/// A hand may be there before what it needs has been read ahead.
TEST_F(PaceOfEdits, OfTheFirstMoveAtOnceAfterOpening) {
    for (const char* name : {"brightness", "small-midtones", "saturation", "noise-colour"}) {
        open();
        {
            Drag drag(window, photo::slider(name));
            for (const char* which : {"first", "second", "third"})
                wantAtMost(kMove, untilPainted([&] { drag.move(); }), std::string(which) + " move at once of " + name);
        }
        settle();
        window.session()->undo();
        settle();
    }
}

TEST_F(PaceOfEdits, OfTheBrush) {
    open();
    addBrightLayer();
    Stalls stalls;
    for (double zoom : {0.0, 1.0}) {
        const std::string where = show(zoom);
        photo::Stroke brush;
        brush.radius = 0.03;
        std::vector<double> times;
        times.push_back(untilPainted([&] { window.session()->beginStroke(brush, {0.4, 0.5}); }));
        for (int i = 1; i <= 60; ++i)
            times.push_back(untilPainted([&] { window.session()->extendStroke({0.4 + 0.004 * i, 0.5}); }));
        window.session()->endStroke();
        settle();
        const double sum = std::accumulate(times.begin(), times.end(), 0.0);
        wantAtLeast(60, 1000 * static_cast<double>(times.size()) / sum, "brush" + where, "dots/s");
    }
    stalls.report("under the brush");
}

TEST_F(PaceOfEdits, OfUndoAmongManyStrokes) {
    forgetPeak();
    open();
    addBrightLayer();
    constexpr int kStrokes = 30;
    photo::Stroke brush;
    brush.radius = 0.04;
    for (int i = 0; i < kStrokes; ++i) {
        const photo::Point from{0.2 + 0.01 * i, 0.3 + 0.05 * (i % 8)};
        window.session()->beginStroke(brush, from);
        for (int k = 1; k <= 60; ++k) window.session()->extendStroke({from.x + 0.005 * k, from.y + 0.002 * k});
        window.session()->endStroke();
        settle();
    }
    Stalls stalls;
    for (double zoom : {0.0, 1.0}) {
        const std::string where = show(zoom);
        std::vector<double> undos, redos;
        for (int i = 0; i < kStrokes; ++i) {
            undos.push_back(untilPainted([&] { window.session()->undo(); }));
            settle();
        }
        for (int i = 0; i < kStrokes; ++i) {
            redos.push_back(untilPainted([&] { window.session()->redo(); }));
            settle();
        }
        wantAtMost(60, median(undos), "median of undone strokes" + where);
        wantAtMost(60, percentile(undos, 0.95), "95th percentile of undone strokes" + where);
        wantAtMost(60, median(redos), "median of strokes done again" + where);
    }
    stalls.report("under undo and redo");
    wantLittleMemory("peak with a layer");
}

TEST_F(PaceOfEdits, OfPanning) {
    open();
    show(1);
    Stalls stalls;
    std::vector<double> times;
    for (int i = 0; i < 240; ++i) {
        QElapsedTimer timer;
        timer.start();
        window.view()->panBy({i % 120 < 60 ? -12.0 : 12.0, 5});
        window.view()->repaint();
        times.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
        QCoreApplication::processEvents();
    }
    wantAtMost(1000.0 / 60, percentile(times, 0.95), "95th percentile of a step of the pan");
    stalls.report("under the pan");
}

}  // namespace
}  // namespace kestrova::studio
