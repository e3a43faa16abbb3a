#include <gtest/gtest.h>
#include <omp.h>

#include <exception>
#include <opencv2/core/utility.hpp>
#include <optional>
#include <string>

#include "tests/memory/operation.h"
#include "tests/memory/refusal.h"

/// Read by LeakSanitizer: the blocks that OpenCV loses, see `refuse`.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
    return "leak:cv::Mat::create\nleak:add_to_global_resize\n";  // the latter the loader's own
}

/// Every operation in turn, every allocation in turn: refused alone, and with all that come after it.

namespace {

enum class Outcome { kDone, kText, kAllocator, kZero, kOther };

struct Result {
    Outcome outcome;
    std::string what;
};

Result callOf(const Attempt& attempt) {
    try {
        attempt.call();
        Refusal::end();
        return {Outcome::kDone, "no failure"};
    } catch (const char* text) {
        Refusal::end();
        return {Outcome::kText, text};
    } catch (const std::bad_alloc& e) {
        Refusal::end();
        return {Outcome::kAllocator, e.what()};
    } catch (const cv::Exception& e) {
        Refusal::end();
        return {e.code == cv::Error::StsNoMem ? Outcome::kAllocator : Outcome::kOther, e.what()};
    } catch (const std::exception& e) {
        Refusal::end();
        return {Outcome::kOther, std::string("an exception: ") + e.what()};
    } catch (int number) {
        Refusal::end();
        return {number == 0 ? Outcome::kZero : Outcome::kOther, "the integer " + std::to_string(number)};
    }
}

/// Whether a text is one of those about memory, and not that of a check that fails because memory ran out before it.
bool isAboutMemory(const std::string& text) {
    for (const char* part :
         {"not enough memory", "ippsMalloc_8u(pBufferSize)", "BilateralFilter::alloc()", "TWLSFilter::realloc - failed",
          "TImage - plane==NULL", "!m_remap_p", "!m_table_p", "!m_tables_p[0]"})
        if (text.find(part) != std::string::npos) return true;
    return false;
}

/// OpenCV keeps what its first failure on a thread makes.
void failOnce() {
    const Refusal refusal(0, Refusal::kAllFromThere);
    try {
        cv::Mat(1, 1, CV_8UC1);
    } catch (const std::exception&) {
    }
}

class RefusedAllocations : public testing::TestWithParam<Operation> {
protected:
    /// Refuses allocation `n`; false if the operation does not make so many.
    bool refuse(int n, Refusal::Extent extent) {
        const Operation& operation = GetParam();
        SCOPED_TRACE("allocation " + std::to_string(n) + (extent == Refusal::kOne ? ", alone" : ", and all after it"));
        const LiveBlocks blocks;
        bool happened = false;
        {
            const Attempt attempt = operation.prepare();
            const Seen before = attempt.seen();
            std::optional<Result> result;
            {
                const Refusal refusal(n, extent);
                result = callOf(attempt);
                happened = refusal.happened();
            }
            if (happened) check(attempt, before, *result);
        }
        if (HasFailure()) return true;  // what a failed check notes down is kept
        // Where OpenCV gets no memory for the header of a plane, it loses the block of its pixels.
        const bool byOpenCV = happened && Refusal::bytes() == sizeof(cv::UMatData);
        EXPECT_TRUE(byOpenCV || blocks.count() == 0) << blocks.count() << " blocks leaked";
        return happened;
    }

    void check(const Attempt& attempt, const Seen& before, const Result& result) {
        const Promise promise = GetParam().promise;
        const Seen after = attempt.seen();
        if (result.outcome == Outcome::kDone) {
            const bool excused = promise == Promise::kDoneOrUntouched && after == before;
            EXPECT_TRUE(excused || after == m_fresh) << "no failure, and part " << Seen::firstDifference(after, m_fresh)
                                                     << " of what it leaves differs from the whole result";
        } else {
            EXPECT_TRUE(isDocumented(result.outcome)) << "not a text, but " << result.what;
            EXPECT_TRUE(result.outcome != Outcome::kText || isAboutMemory(result.what)) << result.what;
            if (!GetParam().text.empty()) {
                EXPECT_EQ(result.what, GetParam().text);
            }
            EXPECT_TRUE(promise == Promise::kOutputsMayChange || after == before)
                << "part " << Seen::firstDifference(after, before) << " of outputs and objects has changed, though the "
                << "operation fails: " << result.what;
            const Result retry = callOf(attempt);
            EXPECT_TRUE(retry.outcome == Outcome::kDone) << "with memory again it fails: " << retry.what;
            const Seen retried = attempt.seen();
            EXPECT_TRUE(retried == m_fresh) << "with memory again, part " << Seen::firstDifference(retried, m_fresh)
                                            << " differs from the result of a fresh object";
        }
    }

    static bool isDocumented(Outcome outcome) {
        const Thrown thrown = GetParam().thrown;
        if (outcome == Outcome::kAllocator) return thrown == Thrown::kTextOrAllocators;
        if (outcome == Outcome::kZero) return thrown == Thrown::kTextOrZero;
        return outcome == Outcome::kText;
    }

    Seen m_fresh;
};

TEST_P(RefusedAllocations, AreFailuresThatLeaveAllAsItWas) {
    constexpr int kManyAllocations = 20000;
    omp_set_num_threads(1);
    cv::setNumThreads(1);  // threads of its own keep what they first allocate
    failOnce();
    {
        const Attempt fresh = GetParam().prepare();
        fresh.call();
        m_fresh = fresh.seen();
    }
    for (Refusal::Extent extent : {Refusal::kOne, Refusal::kAllFromThere}) {
        int n = 0, failing = 0;
        while (refuse(n, extent) && failing < 3) {
            ASSERT_LT(++n, kManyAllocations);
            failing += HasFailure();
        }
    }
}

const auto kName = [](const testing::TestParamInfo<Operation>& operation) { return operation.param.name; };

INSTANTIATE_TEST_SUITE_P(Image, RefusedAllocations, testing::ValuesIn(imageOperations()), kName);
INSTANTIATE_TEST_SUITE_P(ThinImage, RefusedAllocations, testing::ValuesIn(thinImageOperations()), kName);
INSTANTIATE_TEST_SUITE_P(Curves, RefusedAllocations, testing::ValuesIn(curvesOperations()), kName);
INSTANTIATE_TEST_SUITE_P(Resample, RefusedAllocations, testing::ValuesIn(resampleOperations()), kName);
INSTANTIATE_TEST_SUITE_P(Filters, RefusedAllocations, testing::ValuesIn(filtersOperations()), kName);
INSTANTIATE_TEST_SUITE_P(Detail, RefusedAllocations, testing::ValuesIn(detailOperations()), kName);
INSTANTIATE_TEST_SUITE_P(Mask, RefusedAllocations, testing::ValuesIn(maskOperations()), kName);
INSTANTIATE_TEST_SUITE_P(Frame, RefusedAllocations, testing::ValuesIn(frameOperations()), kName);

}  // namespace
