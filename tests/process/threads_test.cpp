#include <gtest/gtest.h>
#include <kestrova/kestrova.h>
#include <omp.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <thread>

namespace {

constexpr int kSide = 600;  // enough pixels for a team of threads

/// Luminance of a picture with some structure, prepared and rendered.
cv::Mat render() {
    TPImage picture(kSide, kSide);
    for (int y = 0; y < kSide; ++y)
        for (int x = 0; x < kSide; ++x) picture.m_Y.at<ushort>(y, x) = static_cast<ushort>(100 * (x % 300) + 50 * y);
    picture.m_Dr.setTo(40000);
    picture.m_Db.setTo(30000);
    const cv::Mat none(kSide, kSide, CV_16UC1, cv::Scalar(32768));
    TVelline engine;
    engine.setup(picture.m_Y, none, none, none, picture.m_Dr, picture.m_Db, nullptr);
    engine.m_light[3] = 0.5f;
    engine.m_bChangedY = true;
    engine.proc(cv::Rect(0, 0, kSide, kSide), 1, cv::Mat());
    return engine.getRoiY().clone();
}

/// Runs `work` in a forked child; expects that it comes to an end, within a minute.
template <class Work>
void expectEndsInForkedChild(const Work& work) {
    std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        alarm(60);
        work();
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

class ForkTest : public testing::Test {
protected:
    ForkTest() { omp_set_num_threads(4); }

    void renderAsBefore() const {
        if (cv::countNonZero(render() != m_rendered) > 0) std::abort();
    }

    const cv::Mat m_rendered = render();
};

TEST_F(ForkTest, AThreadOfTheChildThatHasNotUsedTheLibraryBeforeMayUseIt) {
    expectEndsInForkedChild([&] { std::thread([&] { renderAsBefore(); }).join(); });
}

TEST_F(ForkTest, AThreadThatForksBeforeItsFirstUseMayUseItInTheChild) {
    std::thread([&] { expectEndsInForkedChild([&] { renderAsBefore(); }); }).join();
}

TEST_F(ForkTest, AThreadThatHasReleasedItsTeamBeforeTheForkMayUseItInTheChild) {
    ASSERT_EQ(omp_pause_resource_all(omp_pause_soft), 0);
    expectEndsInForkedChild([&] { renderAsBefore(); });
    renderAsBefore();
}

TEST_F(ForkTest, TheParentGoesOnUsingIt) {
    expectEndsInForkedChild([] {});
    renderAsBefore();
}

TEST(ThreadSettingsTest, PreparingAPictureSetsThoseOfTheCallingThread) {
    omp_set_num_threads(1);
    omp_set_dynamic(1);
    std::thread([] {
        omp_set_num_threads(1);
        render();
        EXPECT_EQ(omp_get_max_threads(), omp_get_num_procs());
        EXPECT_EQ(omp_get_dynamic(), 0);
    }).join();
    EXPECT_EQ(omp_get_max_threads(), 1);
    EXPECT_EQ(omp_get_dynamic(), 1);
    omp_set_dynamic(0);
}

#ifndef __SANITIZE_ADDRESS__  // whose own address space leaves no limit to set
/// Takes all address space away but for `bytes` more.
void allowMore(std::size_t bytes) {
    long pages = 0;
    std::FILE* statm = std::fopen("/proc/self/statm", "r");
    if (!statm || std::fscanf(statm, "%ld", &pages) != 1) std::exit(2);
    std::fclose(statm);
    const rlim_t limit = static_cast<rlim_t>(pages) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + bytes;
    rlimit limits{};
    getrlimit(RLIMIT_AS, &limits);
    limits.rlim_cur = limit;
    if (setrlimit(RLIMIT_AS, &limits) != 0) std::exit(3);
}

constexpr std::size_t kMegabyte = 1 << 20, kLessThanAStack = 2 * kMegabyte;

/// How many threads there are after an operation on some pixels.
int threadsAfterSharpening() {
    const cv::Mat in(512, 512, CV_16UC1, cv::Scalar(1));
    cv::Mat out;
    extremeSharpen(in, out);
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<int>(std::distance(begin(tasks), end(tasks)));
}

class FewThreadsDeathTest : public testing::Test {
protected:
    FewThreadsDeathTest() {
        testing::FLAGS_gtest_death_test_style = "threadsafe";
        omp_set_num_threads(64);
    }
    ~FewThreadsDeathTest() override { omp_set_num_threads(omp_get_num_procs()); }
};

TEST_F(FewThreadsDeathTest, WhereNoneCanBeStartedTheCallerWorksAlone) {
    const auto child = [] {
        allowMore(kLessThanAStack);
        std::exit(threadsAfterSharpening() == 1 ? 0 : 4);
    };
    EXPECT_EXIT(child(), testing::ExitedWithCode(0), "");
}

TEST_F(FewThreadsDeathTest, WhereNotAllCanBeStartedTheTeamIsSmaller) {
    const auto child = [] {
        allowMore(100 * kMegabyte);
        const int threads = threadsAfterSharpening();
        std::exit(threads > 1 && threads < 64 ? 0 : 4);
    };
    EXPECT_EXIT(child(), testing::ExitedWithCode(0), "");
}

TEST_F(FewThreadsDeathTest, TheWholeTeamIsTriedAgainAfterASecond) {
    const auto child = [] {
        allowMore(100 * kMegabyte);
        const int few = threadsAfterSharpening();
        rlimit limits{};
        getrlimit(RLIMIT_AS, &limits);
        limits.rlim_cur = limits.rlim_max;
        setrlimit(RLIMIT_AS, &limits);
        const int soon = threadsAfterSharpening();
        std::this_thread::sleep_for(std::chrono::milliseconds(1100));
        std::exit(few < 64 && soon == few && threadsAfterSharpening() == 64 ? 0 : 4);
    };
    EXPECT_EXIT(child(), testing::ExitedWithCode(0), "");
}

TEST_F(FewThreadsDeathTest, OneThreadIsTheCallersOwn) {
    const auto child = [] {
        omp_set_num_threads(1);
        allowMore(kLessThanAStack);
        std::exit(threadsAfterSharpening() == 1 ? 0 : 4);
    };
    EXPECT_EXIT(child(), testing::ExitedWithCode(0), "");
}
#endif

}  // namespace
