#pragma once

#include <gtest/gtest.h>
#include <omp.h>
#include <pthread.h>

/// Runs `work`, on one OpenMP thread, in a thread whose stack has 64 KiB: some systems give no more. Under
/// AddressSanitizer, whose frames are larger, the stack has its usual size.
template <class Work>
void onSmallStack(const Work& work) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
#ifndef __SANITIZE_ADDRESS__
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 64 << 10), 0);
#endif
    const auto run = [](void* argument) -> void* {
        omp_set_num_threads(1);
        (*static_cast<const Work*>(argument))();
        return nullptr;
    };
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, run, const_cast<Work*>(&work)), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
}
