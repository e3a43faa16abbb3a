#pragma once

#include <time.h>

#include <QTimer>
#include <functional>
#include <string>
#include <vector>

#include "studio/main_window.h"
#include "tests/studio/home.h"

namespace kestrova::studio {

/// From the command line: --check fails a test that misses a goal, --busy lets another process compete for a
/// processor, under which figures may be three times as bad.
struct PaceOptions {
    bool check = false, busy = false;
};
PaceOptions& paceOptions();
/// Keeps a processor busy from a process of its own until this one ends.
void startBusyProcess();

double percentile(std::vector<double> values, double share);
inline double median(const std::vector<double>& values) { return percentile(values, 0.5); }
/// Of the thread or of the process, in milliseconds: unlike time it does not grow where others keep the machine busy.
double processorTime(clockid_t clock);
/// Of this process since the latest call of `forgetPeak`.
double peakBytes();
void forgetPeak();

/// Prints a figure beside its goal. `unit` is part of what is printed.
void wantAtMost(double goal, double figure, const std::string& what, const char* unit = "ms");
void wantAtLeast(double goal, double figure, const std::string& what, const char* unit);

/// For how long the widgets' thread answers nothing, and why: it is busy, or waits for a processor.
class Stalls {
public:
    Stalls();
    /// Prints the worst since the latest call beside the goal, and for how long a host took processors away meanwhile.
    void report(const std::string& during);

private:
    struct Stall {
        double time = 0, busy = 0, waited = 0;  ///< milliseconds
    };
    static Stall now();
    static double stolen();  ///< milliseconds for which a host has taken processors away from this machine
    void take();

    QTimer m_tick;
    Stall m_last = now();
    double m_stolen = stolen();
    std::vector<Stall> m_stalls;
};

/// The window with a view of 1920x1080 and a photograph of 24 megapixels.
class Pace : public Home {
protected:
    Pace();
    void open();
    /// Runs the event loop until the newest request has been answered by a fine frame.
    void settle();
    void rest(int milliseconds);  ///< with an event loop that sleeps between events only, where QTest's sleeps for 10
    /// Milliseconds from `act` until a frame that shows what it did is painted, a fine one if `fine`.
    double untilPainted(const std::function<void()>& act, bool fine = false);

    std::string path;
    MainWindow window;
};

}  // namespace kestrova::studio
