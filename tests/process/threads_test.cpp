#include <gtest/gtest.h>
#include <kestrova/kestrova.h>
#include <omp.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
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
/// Takes all address space away but for what a small picture needs, which is less than the stack of a thread.
void allowNoThread() {
    long pages = 0;
    std::FILE* statm = std::fopen("/proc/self/statm", "r");
    if (!statm || std::fscanf(statm, "%ld", &pages) != 1) std::exit(2);
    std::fclose(statm);
    const rlim_t limit = static_cast<rlim_t>(pages) * sysconf(_SC_PAGESIZE) + (2 << 20);
    const rlimit limits{limit, limit};
    if (setrlimit(RLIMIT_AS, &limits) != 0) std::exit(3);
}

void sharpenWithoutThreads(int wanted) {
    const cv::Mat in(512, 512, CV_16UC1, cv::Scalar(1));
    cv::Mat out;
    omp_set_num_threads(wanted);
    allowNoThread();
    extremeSharpen(in, out);
    std::exit(0);
}

TEST(NoThreadDeathTest, TheOpenMPRuntimeEndsAProcessWhereNoThreadCanBeMade) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(sharpenWithoutThreads(4), testing::ExitedWithCode(1), "Thread creation failed");
}

TEST(NoThreadDeathTest, OneThreadIsTheCallersOwn) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(sharpenWithoutThreads(1), testing::ExitedWithCode(0), "");
}
#endif

}  // namespace
