#include "kestrova/frame/memory_failure.h"

#include <gtest/gtest.h>

#include "tests/support/failures.h"
#include "tests/support/rooms.h"

namespace {

constexpr const char* kText = "ERROR - f - not enough memory";

TEST(OrFailWithoutMemory, GivesWhatTheWorkReturns) {
    EXPECT_EQ(orFailWithoutMemory(kText, [] { return 7; }), 7);
}

TEST(OrFailWithoutMemory, TurnsWhatAllocatorsThrowIntoTheText) {
    EXPECT_FAILURE(orFailWithoutMemory(kText, [] { throw std::bad_alloc(); }), kText);
    EXPECT_FAILURE(orFailWithoutMemory(kText, [] { throw cv::Exception(cv::Error::StsNoMem, "", "", "", 1); }), kText);
}

TEST(OrFailWithoutMemory, PassesOtherFailuresOn) {
    EXPECT_FAILURE(orFailWithoutMemory(kText, [] { fail("ERROR - g - x"); }), "ERROR - g - x");
    EXPECT_THROW(orFailWithoutMemory(kText, [] { throw cv::Exception(cv::Error::StsAssert, "", "", "", 1); }),
                 cv::Exception);
}

}  // namespace
