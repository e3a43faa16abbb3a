#pragma once

#include <gtest/gtest.h>
#include <omp.h>
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <opencv2/core/utility.hpp>

/// Runs `work` in a child process that may take `bytes` of address space more than it has, on one thread; success is
/// that `work` answers true.
template <class Work>
void withLittleMemory(std::size_t bytes, const Work& work) {
#ifdef __SANITIZE_ADDRESS__
    (void)bytes, (void)work;
    GTEST_SKIP() << "the sanitizer's own address space leaves no limit to set";
#else
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto child = [&] {
        omp_set_num_threads(1);
        cv::setNumThreads(1);
        long pages = 0;
        std::FILE* statm = std::fopen("/proc/self/statm", "r");
        if (!statm || std::fscanf(statm, "%ld", &pages) != 1) std::exit(2);
        std::fclose(statm);
        const rlim_t limit = static_cast<rlim_t>(pages) * 4096 + bytes;
        const rlimit limits{limit, limit};
        if (setrlimit(RLIMIT_AS, &limits) != 0) std::exit(3);
        std::exit(work() ? 0 : 1);
    };
    EXPECT_EXIT(child(), testing::ExitedWithCode(0), "");
#endif
}
