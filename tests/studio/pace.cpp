#include "tests/studio/pace.h"

#include <unistd.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <opencv2/imgproc.hpp>
#include <utility>

#include "photo/read.h"
#include "photo/write.h"
#include "studio/photo_view.h"
#include "studio/renderer.h"

namespace kestrova::studio {

PaceOptions& paceOptions() {
    static PaceOptions options;
    return options;
}

void startBusyProcess() {
    const pid_t parent = getpid();
    if (fork() != 0) return;
    while (getppid() == parent)
        for (volatile int i = 0; i < 100000; i = i + 1) continue;
    _exit(0);
}

double percentile(std::vector<double> values, double share) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

double processorTime(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return 1e3 * static_cast<double>(now.tv_sec) + 1e-6 * static_cast<double>(now.tv_nsec);
}

double peakBytes() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (word == "VmHWM:") {
            double kilobytes = 0;
            status >> kilobytes;
            return 1024 * kilobytes;
        }
    return 0;
}

void forgetPeak() { std::ofstream("/proc/self/clear_refs") << 5; }

namespace {

void print(const std::string& what, double figure, const char* unit, const char* bound, double goal, bool met) {
    std::printf("%-6s %7.1f %-11s %8s %-6g %s\n", met ? "" : "MISSED", figure, unit, bound, goal, what.c_str());
    if (paceOptions().check && !met) ADD_FAILURE() << what;
}

constexpr double kUnderCompetition = 3;

}  // namespace

void wantAtMost(double goal, double figure, const std::string& what, const char* unit) {
    if (paceOptions().busy) goal *= kUnderCompetition;
    print(what, figure, unit, "at most", goal, figure <= goal);
}

void wantAtLeast(double goal, double figure, const std::string& what, const char* unit) {
    if (paceOptions().busy) goal /= kUnderCompetition;
    print(what, figure, unit, "at least", goal, figure >= goal);
}

Stalls::Stalls() {
    m_tick.setTimerType(Qt::PreciseTimer);
    QObject::connect(&m_tick, &QTimer::timeout, [this] { take(); });
    m_tick.start(1);  // at 0 it would take a processor of its own
}

Stalls::Stall Stalls::now() {
    double running = 0, waiting = 0;  // nanoseconds
    std::ifstream("/proc/thread-self/schedstat") >> running >> waiting;
    return {processorTime(CLOCK_MONOTONIC), processorTime(CLOCK_THREAD_CPUTIME_ID), waiting / 1e6};
}

double Stalls::stolen() {
    constexpr int kColumn = 8;  // in hundredths of a second
    std::ifstream file("/proc/stat");
    std::string word;
    for (int i = 0; i <= kColumn; ++i) file >> word;
    return file ? 10 * std::stod(word) : 0;
}

void Stalls::take() {
    const Stall before = std::exchange(m_last, now());
    m_stalls.push_back({m_last.time - before.time, m_last.busy - before.busy, m_last.waited - before.waited});
}

void Stalls::report(const std::string& during) {
    take();
    const Stall worst = *std::max_element(m_stalls.begin(), m_stalls.end(),
                                          [](const Stall& a, const Stall& b) { return a.time < b.time; });
    m_stalls.clear();
    const double before = std::exchange(m_stolen, stolen());
    char causes[120];
    std::snprintf(causes, sizeof causes, ": busy %.1f, waiting for a processor %.1f; taken by the host meanwhile %.0f",
                  worst.busy, worst.waited, m_stolen - before);
    wantAtMost(16, worst.time, "worst stall " + during + causes);
}

Pace::Pace() {
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

void Pace::open() {
    window.openPaths({QString::fromStdString(path)});
    settle();
}

void Pace::settle() {
    QEventLoop loop;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &loop, [&] {
        if (window.isSettled()) loop.quit();
    });
    look.start(1);
    QTimer::singleShot(240000, &loop, &QEventLoop::quit);
    loop.exec();
    ASSERT_TRUE(window.isSettled());
}

void Pace::rest(int milliseconds) {
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

double Pace::untilPainted(const std::function<void()>& act, bool fine) {
    QEventLoop loop;
    quint64 wanted = 0;
    QObject::connect(window.view(), &PhotoView::framePainted, &loop, [&] {
        const Frame& frame = *window.view()->frame();
        if (frame.generation >= wanted && (frame.fine || !fine)) loop.quit();
    });
    QTimer::singleShot(10000, &loop, &QEventLoop::quit);
    QElapsedTimer timer;
    timer.start();
    act();
    wanted = window.renderer()->m_generation;
    loop.exec();
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

}  // namespace kestrova::studio
