#pragma once

#include <gtest/gtest.h>
#include <omp.h>
#include <pthread.h>

/// Runs `work`, on one OpenMP thread, in a thread whose stack has 64 KiB: some systems give no more.
template <class Work>
void onSmallStack(const Work& work) {
#ifdef __SANITIZE_ADDRESS__
    (void)work;
    GTEST_SKIP() << "frames are larger under the sanitizer";
#else
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 64 << 10), 0);
    const auto run = [](void* argument) -> void* {
        omp_set_num_threads(1);
        (*static_cast<const Work*>(argument))();
        return nullptr;
    };
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, run, const_cast<Work*>(&work)), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
#endif
}
