#pragma once

#include <gtest/gtest.h>

#include <string>

/// What `work` writes to standard output.
template <class Work>
std::string printed(const Work& work) {
    testing::internal::CaptureStdout();
    work();
    return testing::internal::GetCapturedStdout();
}
