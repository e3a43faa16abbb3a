#include "photo/engine.h"

#include <gtest/gtest.h>
#include <kestrova/kestrova.h>
#include <omp.h>

#include <atomic>
#include <chrono>
#include <new>
#include <stdexcept>
#include <thread>

#include "photo/error.h"
#include "tests/support/printed.h"
#include "tests/support/threads.h"

namespace kestrova::photo {
namespace {

template <class Work>
Error caught(const Work& work) {
    try {
        translated(work);
    } catch (const Error& error) {
        return error;
    }
    ADD_FAILURE() << "nothing was thrown";
    return Error(Error::Kind::input, "");
}

TEST(Engine, FailuresOfTheCoreBecomeErrors) {
    char text[] = "ERROR - somewhere - w<1";
    EXPECT_EQ(caught([&] { throw text; }).kind(), Error::Kind::programming);
    EXPECT_NE(std::string(caught([&] { throw text; }).what()).find("w<1"), std::string::npos);
    EXPECT_EQ(caught([] { throw static_cast<const char*>("traced"); }).kind(), Error::Kind::programming);
    EXPECT_EQ(caught([] { throw 0; }).kind(), Error::Kind::programming);
    EXPECT_EQ(caught([] { throw 1.5; }).kind(), Error::Kind::programming);
    EXPECT_EQ(caught([] { throw std::runtime_error("x"); }).kind(), Error::Kind::programming);
    EXPECT_EQ(caught([] { cv::Mat(3, 3, CV_8UC1).reshape(7); }).kind(), Error::Kind::programming);
    EXPECT_EQ(caught([] { TDrawMask().undo(); }).kind(), Error::Kind::programming);
}

TEST(Engine, LackOfMemoryIsSaidAsSuch) {
    EXPECT_EQ(caught([] { throw std::bad_alloc(); }).kind(), Error::Kind::memory);
    EXPECT_EQ(caught([] { CV_Error(cv::Error::StsNoMem, "no"); }).kind(), Error::Kind::memory);
    for (const char* text :
         {"ERROR - BilateralFilter::alloc()", "TWLSFilter::realloc - failed",
          "ERROR - LocalLaplacian::LocalLaplacian - !m_remap_p", "ERROR - TGuidedFilter::stripProc - not enough memory",
          "ERROR - down2X - ippsMalloc_8u(pBufferSize)"})
        EXPECT_EQ(caught([&] { throw text; }).kind(), Error::Kind::memory) << text;
}

TEST(Engine, ErrorsPassAsTheyAre) {
    const Error error = caught([] { throw Error(Error::Kind::file, "disk full"); });
    EXPECT_EQ(error.kind(), Error::Kind::file);
    EXPECT_STREQ(error.what(), "disk full");
}

TEST(Engine, ScopeBoundsThreadsAndPutsTheHostsSettingsBack) {
    const KeepThreadSettings keep;
    omp_set_num_threads(5);
    omp_set_dynamic(1);
    omp_set_max_active_levels(3);
    {
        const CoreScope scope(2);
        EXPECT_EQ(omp_get_max_threads(), 2);
        EXPECT_FALSE(Kestrova::printing());
        std::thread([] { EXPECT_TRUE(Kestrova::printing()); }).join();
    }
    EXPECT_EQ(omp_get_max_threads(), 5);
    EXPECT_EQ(omp_get_dynamic(), 1);
    EXPECT_EQ(omp_get_max_active_levels(), 3);
    EXPECT_TRUE(Kestrova::printing());
}

TEST(Engine, StepsRunOnNoMoreThreadsThanTheScopeAllows) {
    for (int threads : {1, 2, 3}) {
        const CoreScope scope(threads);
        std::atomic<int> now{0}, most{0};
        Steps steps(nullptr, 1);
        steps.parallel(40, 0.025, [&](int) {
            const int running = ++now;
            for (int seen = most; seen < running && !most.compare_exchange_weak(seen, running);) {
            }
            EXPECT_FALSE(Kestrova::printing());
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            --now;
        });
        EXPECT_LE(most, threads);
        EXPECT_GE(most, threads > 1 ? 2 : 1);
    }
}

TEST(Engine, FirstFailureOfAStepEndsTheRest) {
    const CoreScope scope(2);
    std::atomic<int> ran{0};
    Steps steps(nullptr, 1);
    const Error error = caught([&] {
        steps.parallel(1000, 0.001, [&](int i) {
            ++ran;
            if (i == 3) throw Error(Error::Kind::file, "third");
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        });
    });
    EXPECT_STREQ(error.what(), "third");
    EXPECT_LT(ran, 1000);
}

TEST(Engine, CancelFromAnotherThreadEndsTheSteps) {
    const CoreScope scope(2);
    Control control;
    std::thread host([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        control.cancel();
    });
    Steps steps(&control, 1);
    const auto work = [&] {
        steps.parallel(100000, 1e-5, [](int) { std::this_thread::sleep_for(std::chrono::milliseconds(1)); });
    };
    EXPECT_EQ(caught(work).kind(), Error::Kind::cancelled);
    EXPECT_EQ(caught([&] { steps.check(); }).kind(), Error::Kind::cancelled);
    host.join();
}

}  // namespace
}  // namespace kestrova::photo
