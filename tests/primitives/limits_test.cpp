#include <sys/mman.h>
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "kestrova/primitives/primitives.h"
#include "tests/primitives/region.h"

namespace {

/// Three rows of which the second begins almost 2 GiB, the third almost 4 GiB after the first. Only what is touched
/// takes memory.
class FarRows : public testing::Test {
protected:
    static constexpr int kStep = 0x7fffff00;
    static constexpr std::size_t kBytes = std::size_t{3} * kStep;

    void SetUp() override {
        m_memory = mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (m_memory == MAP_FAILED) GTEST_SKIP() << "6 GiB of addresses are unavailable here";
    }
    void TearDown() override {
        if (m_memory != MAP_FAILED) munmap(m_memory, kBytes);
    }
    ushort* row(int y) { return reinterpret_cast<ushort*>(static_cast<char*>(m_memory) + std::size_t{kStep} * y); }

    void* m_memory = MAP_FAILED;
};

TEST_F(FarRows, AreSetAndCopied) {
    ASSERT_EQ(ippiSet_16u_C1R(77, row(0), kStep, {3, 3}), ippStsNoErr);
    EXPECT_EQ(row(2)[2], 77);
    ushort near[9] = {};
    ASSERT_EQ(ippiCopy_16u_C1R(row(0), kStep, near, 6, {3, 3}), ippStsNoErr);
    EXPECT_EQ(near[8], 77);
}

TEST_F(FarRows, AreFiltered) {
    row(0)[0] = 9, row(1)[1] = 18, row(2)[2] = 27;
    ushort result = 0;
    const uchar mask[9] = {1, 0, 0, 0, 0, 0, 0, 0, 1};
    ASSERT_EQ(ippiDilate_16u_C1R(row(1) + 1, kStep, &result, 2, {1, 1}, mask, {3, 3}, {1, 1}), ippStsNoErr);
    EXPECT_EQ(result, 27);
    ASSERT_EQ(ippiFilterBox_16u_C1R(row(1) + 1, kStep, &result, 2, {1, 1}, {3, 3}, {1, 1}), ippStsNoErr);
    EXPECT_EQ(result, 6);
    ASSERT_EQ(ippiFilterBox_16u_C1IR(row(1) + 1, kStep, {1, 1}, {3, 3}, {1, 1}), ippStsNoErr);
    EXPECT_EQ(row(1)[1], 6);
}

TEST_F(FarRows, GetTheirBorders) {
    row(1)[1] = 5;
    ASSERT_EQ(ippiCopyReplicateBorder_16u_C1IR(row(1) + 1, kStep, {1, 1}, {3, 3}, 1, 1), ippStsNoErr);
    EXPECT_EQ(row(0)[0], 5);
    EXPECT_EQ(row(2)[2], 5);
}

#if !defined(__SANITIZE_ADDRESS__)  // whose allocator ends the process instead

TEST(NoMemoryTest, APlaneWithoutMemoryIsNull) {
    int step = 99;
    EXPECT_EQ(ippiMalloc_8u_C1(1 << 30, 1 << 30, &step), nullptr);
    EXPECT_EQ(step, 0);
}

/// Leaves the process some 256 MiB of addresses beyond those it has.
void limitMemory() {
    long pages = 0;
    std::FILE* statm = std::fopen("/proc/self/statm", "r");
    if (!statm || std::fscanf(statm, "%ld", &pages) != 1) std::exit(2);
    std::fclose(statm);
    const rlim_t limit = static_cast<rlim_t>(pages) * 4096 + (256u << 20);
    const rlimit addresses{limit, limit};
    if (setrlimit(RLIMIT_AS, &addresses) != 0) std::exit(3);
}

/// Masks so wide that the scratch exceeds 256 MiB; the pixels under them are never reached.
bool filtersReportNoMemory() {
    const IppiSize wide{100000000, 1};
    float floats[2] = {1, 2};
    ushort words[2] = {1, 2};
    const uchar cell = 1;
    limitMemory();
    return ippiFilterBox_32f_C1R(floats, 4, floats + 1, 4, {1, 1}, wide, {0, 0}) == ippStsNoMemErr && floats[1] == 2 &&
           ippiFilterBox_32f_C1IR(floats, 4, {1, 1}, wide, {0, 0}) == ippStsNoMemErr && floats[0] == 1 &&
           ippiFilterBox_16u_C1IR(words, 2, {1, 1}, wide, {0, 0}) == ippStsNoMemErr && words[0] == 1 &&
           ippiErode_16u_C1R(words, 2, words + 1, 2, {1, 1}, &cell, wide, {0, 0}) == ippStsNoMemErr && words[1] == 2;
}

TEST(NoMemoryTest, FiltersReportThatThereIsNoScratch) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::exit(filtersReportNoMemory() ? 0 : 1), testing::ExitedWithCode(0), "");
}

#endif

}  // namespace
