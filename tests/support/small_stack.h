#pragma once

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>

/// Runs `work` on a thread of its own that has `bytes` of stack.
template <class Work>
void withStack(std::size_t bytes, const Work& work) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, bytes), 0);
    const auto run = [](void* argument) -> void* {
        (*static_cast<const Work*>(argument))();
        return nullptr;
    };
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, run, const_cast<Work*>(&work)), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}
