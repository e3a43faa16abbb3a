#include <gtest/gtest.h>

#include <time.h>
#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTest>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <opencv2/imgproc.hpp>
#include <utility>

#include "photo/read.h"
#include "photo/write.h"
#include "studio/main_window.h"
#include "studio/photo_view.h"
#include "studio/renderer.h"
#include "studio/session.h"
#include "tests/studio/home.h"

// Measured on a quiet machine, by running these from the program: --gtest_filter='Pace*'
namespace kestrova::studio {
namespace {

double percentile(std::vector<double> values, double share) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

double peakMegabytes() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (word == "VmHWM:") {
            double kilobytes = 0;
            status >> kilobytes;
            return kilobytes / 1024;
        }
    return 0;
}

/// Of the thread or of the process, in milliseconds: unlike time it does not grow where others keep the machine busy.
double processorTime(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return 1e3 * static_cast<double>(now.tv_sec) + 1e-6 * static_cast<double>(now.tv_nsec);
}

/// For how long the widgets' thread answers nothing, and why: it is busy, or waits for a processor.
class Stalls {
public:
    Stalls() {
        m_tick.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_tick, &QTimer::timeout, [this] { take(); });
        m_tick.start(1);  // at 0 it would take a processor of its own
    }
    void print() const {
        if (m_stalls.empty()) return;
        const auto worst = std::max_element(m_stalls.begin(), m_stalls.end(),
                                            [](const Stall& a, const Stall& b) { return a.time < b.time; });
        const auto over = [this](double limit) {
            return std::count_if(m_stalls.begin(), m_stalls.end(), [=](const Stall& s) { return s.time > limit; });
        };
        std::printf(
            "worst stall %.1f ms, of which busy %.1f, waiting for a processor %.1f; over 16 ms %td, over 8 ms %td\n",
            worst->time, worst->busy, worst->waited, over(16), over(8));
    }

private:
    struct Stall {
        double time = 0, busy = 0, waited = 0;  // milliseconds
    };
    /// Since the thread began.
    static Stall now() {
        double running = 0, waiting = 0;  // nanoseconds
        std::ifstream("/proc/thread-self/schedstat") >> running >> waiting;
        return {processorTime(CLOCK_MONOTONIC), processorTime(CLOCK_THREAD_CPUTIME_ID), waiting / 1e6};
    }
    void take() {
        const Stall before = std::exchange(m_last, now());
        m_stalls.push_back({m_last.time - before.time, m_last.busy - before.busy, m_last.waited - before.waited});
    }

    QTimer m_tick;
    Stall m_last = now();
    std::vector<Stall> m_stalls;
};

class Pace : public Home {
protected:
    Pace() {
        photo::Photograph photograph = photo::readPhotograph(KESTROVA_PHOTOS "/dandelion_5312x2988.jpg");
        cv::resize(photograph.pixels, photograph.pixels, cv::Size(6000, 4000), 0, 0, cv::INTER_LINEAR);
        path = scratch / "photograph.jpg";
        photo::writePhotograph(photograph, path);
        window.resize(2400, 1400);
        window.show();
        QCoreApplication::processEvents();
        window.resize(QSize(1920, 1080) + window.size() - window.view()->size());
        QCoreApplication::processEvents();
    }
    /// Milliseconds until the next frame is painted.
    double untilPainted(const std::function<void()>& act) {
        QEventLoop loop;  // which sleeps between events, as a window does
        QObject::connect(window.view(), &PhotoView::framePainted, &loop, &QEventLoop::quit);
        QTimer::singleShot(10000, &loop, &QEventLoop::quit);
        QElapsedTimer timer;
        timer.start();
        act();
        loop.exec();
        return static_cast<double>(timer.nsecsElapsed()) / 1e6;
    }
    void settle() {
        QEventLoop loop;  // which sleeps until there is an event, where QTest sleeps for 10 ms
        QTimer look;
        QObject::connect(&look, &QTimer::timeout, &loop, [&] {
            if (window.isSettled()) loop.quit();
        });
        look.start(1);
        QTimer::singleShot(240000, &loop, &QEventLoop::quit);
        loop.exec();
        ASSERT_TRUE(window.isSettled());
    }
    void open() {
        window.openPaths({QString::fromStdString(path)});
        settle();
    }
    void sliders(const char* where) {
        std::vector<double> all;
        for (const photo::Slider& slider : photo::sliders()) {
            std::vector<double> times;
            window.session()->beginGesture();
            const double busySince = processorTime(CLOCK_PROCESS_CPUTIME_ID);
            for (int i = 1; i <= 20; ++i)
                times.push_back(
                    untilPainted([&] { window.session()->setValue(slider, 0.03f * static_cast<float>(i)); }));
            const double busy = processorTime(CLOCK_PROCESS_CPUTIME_ID) - busySince;
            QElapsedTimer rest;
            rest.start();
            window.session()->endGesture();
            settle();
            std::printf("%-28s %s  least %5.1f  median %5.1f  95th %5.1f ms  busy %5.1f  fine after %4lld ms\n",
                        slider.name, where, percentile(times, 0), percentile(times, 0.5), percentile(times, 0.95),
                        busy / static_cast<double>(times.size()), static_cast<long long>(rest.elapsed()));
            all.insert(all.end(), times.begin(), times.end());
            window.session()->undo();
            settle();
        }
        std::printf("all sliders %s: median %.1f ms, 95th %.1f ms\n", where, percentile(all, 0.5),
                    percentile(all, 0.95));
    }

    std::string path;
    MainWindow window;
};

TEST_F(Pace, FromOpeningToPixelsAndMemory) {
    for (int i = 1; i <= 8; ++i) {  // the first one loads what the others find in memory
        const std::string folder = scratch / std::to_string(i);
        std::filesystem::create_directory(folder);
        std::filesystem::create_hard_link(path, folder + "/photograph.jpg");
        QElapsedTimer timer;
        timer.start();
        const Stalls stalls;
        const double first =
            untilPainted([&] { window.openPaths({QString::fromStdString(folder + "/photograph.jpg")}); });
        settle();
        std::printf("first pixels %.0f ms, prepared %lld ms; ", first, static_cast<long long>(timer.elapsed()));
        stalls.print();
        QTest::qWait(300);
    }
    std::printf("peak %.1f bytes a pixel in all\n", peakMegabytes() * 1048576 / 24e6);
}

TEST_F(Pace, FromASliderToThePaintedFrame) {
    open();
    sliders("fit");
    window.view()->zoomTo(1);
    settle();
    sliders("1:1");
}

/// A hand may be there before what it needs has been read ahead.
TEST_F(Pace, OfTheFirstMoveAtOnceAfterOpening) {
    for (const char* slider : {"brightness", "small-midtones", "saturation", "noise-colour"}) {
        open();
        window.session()->beginGesture();
        const auto move = [&](int i) {
            return untilPainted(
                [&] { window.session()->setValue(photo::slider(slider), 0.03f * static_cast<float>(i)); });
        };
        const double first = move(1), second = move(2), third = move(3);
        window.session()->endGesture();
        settle();
        std::printf("%-16s at once: %.1f, %.1f, %.1f ms\n", slider, first, second, third);
        window.session()->undo();
        settle();
    }
}

TEST_F(Pace, OfTheBrush) {
    open();
    window.session()->addLayer();
    window.session()->setValue(photo::slider("brightness"), 0.5f);
    settle();
    for (double zoom : {0.0, 1.0}) {
        if (zoom > 0) window.view()->zoomTo(zoom);
        settle();
        photo::Stroke brush;
        brush.radius = 0.03;
        std::vector<double> times;
        times.push_back(untilPainted([&] { window.session()->beginStroke(brush, {0.4, 0.5}); }));
        for (int i = 1; i <= 60; ++i)
            times.push_back(untilPainted([&] { window.session()->extendStroke({0.4 + 0.004 * i, 0.5}); }));
        window.session()->endStroke();
        settle();
        double sum = 0;
        for (double t : times) sum += t;
        std::printf("brush at %s: %.0f dots a second, least %.1f ms, median %.1f ms, 95th %.1f ms\n",
                    zoom > 0 ? "1:1" : "fit", 1000 * static_cast<double>(times.size()) / sum, percentile(times, 0),
                    percentile(times, 0.5), percentile(times, 0.95));
    }
}

TEST_F(Pace, OfPanning) {
    open();
    window.view()->zoomTo(1);
    settle();
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
    std::printf("pan: median %.1f ms, 95th %.1f ms a step\n", percentile(times, 0.5), percentile(times, 0.95));
    stalls.print();
}

}  // namespace
}  // namespace kestrova::studio
