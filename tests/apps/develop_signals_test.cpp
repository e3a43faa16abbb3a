#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "photo/read.h"
#include "photo/write.h"
#include "tests/apps/program.h"
#include "tests/photo/files.h"

namespace kestrova::photo {
namespace {

using Names = std::vector<std::string>;

// Until the program has come to its first line, a signal ends it as it ends any program.
void waitUntilBegun(pid_t pid) {
    const std::string status = "/proc/" + std::to_string(pid) + "/status";
    for (int tries = 0; tries < 2000; ++tries) {
        std::ifstream file(status);
        for (std::string line; std::getline(file, line);)
            // It waits for SIGUSR1 of its own; while a process forks, all signals are blocked.
            if (line.rfind("SigBlk:", 0) == 0) {
                const unsigned long blocked = std::stoul(line.substr(7), nullptr, 16);
                if ((blocked >> (SIGUSR1 - 1) & 1) && !(blocked >> (SIGUSR2 - 1) & 1)) return;
            }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    FAIL() << "the program does not begin";
}

class DevelopSignals : public testing::TestWithParam<std::tuple<int, std::string>> {};

TEST_P(DevelopSignals, LeaveTheOriginalIntactAndNoLitterAtAnyTime) {
    const auto& [number, format] = GetParam();
    const Scratch scratch;
    const std::string in = scratch / ("a." + format);
    writePhotograph(colourful(2400, 1800, 8), in);
    const auto original = bytesOf(in);
    int stopped = 0, late = 0, answers = 0;
    // What a process takes to begin and end on this machine as it is now.
    const double idle = runDevelop({"--version"}).seconds;
    for (const int delay : {0, 30, 60, 120, 250, 400, 600, 800}) {
        writeBytes(in, original);
        // Who runs the tests in the background ignores SIGINT, and so would the program.
        Running running(KESTROVA_DEVELOP, {in, "--in-place", "--contrast", "0.3", "--medium", "0.4", "--threads", "1"},
                        {}, [] { ::signal(SIGINT, SIG_DFL); });
        waitUntilBegun(running.pid());
        std::this_thread::sleep_for(std::chrono::milliseconds(delay));
        ::kill(running.pid(), number);
        const ProgramRun run = running.wait();
        EXPECT_EQ(scratch.names(), Names{"a." + format});
        // It may have come to its end at that moment.
        const bool intact = bytesOf(in) == original;
        if (!intact) {
            EXPECT_EQ(readPhotograph(in).pixels.size(), cv::Size(2400, 1800)) << delay;
            continue;
        }
        ++stopped;
        if (number != SIGKILL) {
            EXPECT_EQ(run.code, number == SIGINT ? 130 : 75);
            ++answers;
            late += run.seconds > 0.2 + idle;
        }
    }
    EXPECT_GT(stopped, 0);
    // A machine that does something else for a while delays one or two.
    EXPECT_LE(2 * late, answers);
}

INSTANTIATE_TEST_SUITE_P(Signals, DevelopSignals,
                         testing::Combine(testing::Values(SIGINT, SIGTERM, SIGKILL),
                                          testing::Values("jpg", "png", "webp")));

}  // namespace
}  // namespace kestrova::photo
