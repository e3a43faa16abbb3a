#include "kestrova/frame/kestrova.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/trace_text.h"
#include "tests/support/failures.h"
#include "tests/support/rooms.h"

namespace {

std::string received;
int calls = 0;

void hook(const char* text) {
    received = text;
    ++calls;
}

void throwingHook(const char*) { throw std::runtime_error("hook"); }

class KestrovaTest : public testing::Test {
protected:
    void SetUp() override {
        received.clear();
        calls = 0;
    }
    void TearDown() override { Kestrova::setQDebugFunc(nullptr); }
    char where[8] = "somewhr";
};

TEST_F(KestrovaTest, TraceMsgPutsTimeLinePlaceAndTextInOrder) {
    const std::string text = Kestrova::traceMsg("upSize2X", 103, "out2X is not allocated");
    ASSERT_GE(text.size(), 9u);
    EXPECT_EQ(text.substr(text.find(' ')), " - 103 - upSize2X : out2X is not allocated - ");
}

TEST_F(KestrovaTest, TimeIsSecondsWithThreeDecimalsZeroPaddedToNine) {
    const std::string time = Kestrova::traceMsg("", 1, "").substr(0, 9);
    EXPECT_EQ(time.find_first_not_of("0123456789."), std::string::npos) << time;
    EXPECT_EQ(time[5], '.');
}

TEST_F(KestrovaTest, TraceTextIsTheDocumentedOne) {
    EXPECT_EQ(traceText(12.345, "upSize2X", 103, "out2X is not allocated"),
              "00012.345 - 103 - upSize2X : out2X is not allocated - ");
    EXPECT_EQ(traceText(0, "w", 1, "m"), "00000.000 - 1 - w : m - ");
}

TEST_F(KestrovaTest, TimeFromHundredThousandSecondsOnWidensTheFirstField) {
    EXPECT_EQ(traceText(99999.999, "w", 1, "m"), "99999.999 - 1 - w : m - ");
    EXPECT_EQ(traceText(100000, "w", 1, "m"), "100000.000 - 1 - w : m - ");
    EXPECT_EQ(traceText(12345678.25, "w", 1, "m"), "12345678.250 - 1 - w : m - ");
}

TEST_F(KestrovaTest, TimeBeforeZeroHasItsSignWithinTheWidth) {
    EXPECT_EQ(traceText(-1.25, "w", 1, "m"), "-0001.250 - 1 - w : m - ");
    EXPECT_EQ(traceText(-0.001, "w", 1, "m"), "-0000.001 - 1 - w : m - ");
}

/// `clock()` as whole milliseconds.
long long clockMilliseconds() { return static_cast<long long>(std::clock()) * 1000 / CLOCKS_PER_SEC; }

TEST_F(KestrovaTest, TimeIsThatOfTheClockScaledToMilliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(60));  // which no processor time passes in
    for (const std::clock_t start = std::clock(); std::clock() - start < CLOCKS_PER_SEC / 50;) continue;
    const long long before = clockMilliseconds();
    const double time = std::stod(Kestrova::traceMsg("", 1, ""));
    const long long after = clockMilliseconds();
    EXPECT_GE(std::llround(time * 1000), before);
    EXPECT_LE(std::llround(time * 1000), after);
}

TEST_F(KestrovaTest, TimeNeedsNoFileDescriptor) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer itself needs descriptors to look at a type";
#endif
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto child = [] {
        for (const std::clock_t start = std::clock(); std::clock() - start < CLOCKS_PER_SEC / 20;) continue;
        const rlimit none{0, 0};
        if (setrlimit(RLIMIT_NOFILE, &none) != 0) std::exit(2);
        const double time = std::stod(Kestrova::traceMsg("", 1, ""));
        std::exit(std::llround(time * 1000) >= 50 ? 0 : 1);
    };
    EXPECT_EXIT(child(), testing::ExitedWithCode(0), "");
}

TEST_F(KestrovaTest, TraceMsgOfEmptyTextsKeepsItsFrame) {
    EXPECT_EQ(Kestrova::traceMsg("", 5, "").substr(9), " - 5 -  :  - ");
}

TEST_F(KestrovaTest, NullTextsCountAsEmpty) {
    EXPECT_EQ(Kestrova::traceMsg(nullptr, 5, nullptr).substr(9), " - 5 -  :  - ");
}

TEST_F(KestrovaTest, NegativeLineKeepsItsSign) {
    EXPECT_EQ(Kestrova::traceMsg("w", -3, "m").substr(9), " - -3 - w : m - ");
}

TEST_F(KestrovaTest, HookGetsTheTraceTextOnce) {
    Kestrova::setQDebugFunc(hook);
    Kestrova::toQDebug(where, 42, "hello");
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(received.substr(9), " - 42 - somewhr : hello - ");
}

TEST_F(KestrovaTest, NoHookMeansNoWork) {
    EXPECT_EQ(Kestrova::m_tDebug_p, nullptr);
    char* const unreadable = reinterpret_cast<char*>(8);  // not even the texts are looked at
    Kestrova::toQDebug(unreadable, 1, unreadable);
    Kestrova::setQDebugFunc(hook);
    Kestrova::setQDebugFunc(nullptr);
    Kestrova::toQDebug(where, 1, "m");
    EXPECT_EQ(calls, 0);
}

TEST_F(KestrovaTest, LaterHookReplacesTheEarlier) {
    Kestrova::setQDebugFunc(throwingHook);
    Kestrova::setQDebugFunc(hook);
    Kestrova::toQDebug(where, 1, "m");
    EXPECT_EQ(calls, 1);
}

TEST_F(KestrovaTest, WhatTheHookThrowsReachesTheHost) {
    Kestrova::setQDebugFunc(throwingHook);
    EXPECT_THROW(Kestrova::toQDebug(where, 1, "m"), std::runtime_error);
}

TEST_F(KestrovaTest, FailureIsACharPointerAndPassesTheHookBy) {
    Kestrova::setQDebugFunc(hook);
    EXPECT_FAILURE(fail("ERROR - some text"), "ERROR - some text");
    EXPECT_EQ(calls, 0);
}

TEST_F(KestrovaTest, EveryDocumentedCatchClauseReceivesAFailure) {
    EXPECT_THROW(fail("x"), char*);
    EXPECT_THROW(fail("x"), const char*);
    EXPECT_THROW(fail("x"), void*);
    EXPECT_THROW(fail("x"), const void*);
}

TEST_F(KestrovaTest, TracedFailureIsAConstCharPointerAndPassesTheHookBy) {
    Kestrova::setQDebugFunc(hook);
    EXPECT_TRACED_FAILURE(failTraced("place", 7, "bad"), " - 7 - place : bad - ");
    EXPECT_THROW(failTraced("place", 7, "bad"), const char*);
    EXPECT_THROW(failTraced("place", 7, "bad"), const void*);
    EXPECT_EQ(calls, 0);
}

TEST_F(KestrovaTest, TextOfATracedFailureOutlivesTheUnwindingAndFailuresOfOtherThreads) {
    const char* text = nullptr;
    try {
        failTraced("place", 7, "bad");
    } catch (const char* thrown) {
        text = thrown;
    }
    std::thread([] { EXPECT_TRACED_FAILURE(failTraced("elsewhere", 8, "worse"), "worse - "); }).join();
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(std::string(text).substr(9), " - 7 - place : bad - ");
}

TEST_F(KestrovaTest, ObjectsHoldNothing) {
    static_assert(std::is_empty_v<Kestrova>);
    Kestrova::setQDebugFunc(hook);
    Kestrova one;
    const Kestrova other(one);
    one = other;
    EXPECT_EQ(Kestrova::m_tDebug_p, hook);
    EXPECT_EQ(calls, 0);
}

}  // namespace
