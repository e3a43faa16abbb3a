#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <thread>
#include <utility>
#include <vector>

#include "kestrova/detail/domain_transform.h"
#include "kestrova/detail/domain_transform_passes.h"
#include "kestrova/detail/domain_transform_workspace.h"
#include "kestrova/detail/pair_smoothing.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"

using namespace kestrova::frame;
using namespace kestrova::detail;
using namespace kestrova::detail::domain_transform;

namespace {

constexpr int kWorkOfPixel = 16;

// A block of a megapixel takes 13 MB: more threads than this share blocks.
constexpr int kMostBlocksAtOnce = 4;

// A team on its way through blocks. Its first members each take block after block; who has none helps with those.
class BlocksAtOnce {
public:
    BlocksAtOnce(const std::vector<PlacedBlock>& blocks, const WeightTables& tables,
                 std::vector<PairSmoothing>& smoothings, int atOnce, std::vector<PairScratch>& scratch)
        : m_blocks(blocks),
          m_tables(tables),
          m_smoothings(smoothings),
          m_scratch(scratch),
          m_pieces(smoothings[0].pieces()),
          m_atOnce(atOnce),
          m_steps(blocks.size()) {
        for (std::atomic<int>& block : m_current) block.store(kNone, std::memory_order_relaxed);
    }

    /// Returns for how long the worker has waited.
    ThreadTime work(int worker) noexcept {
        const int count = static_cast<int>(m_blocks.size());
        ThreadTime waited;
        if (worker < m_atOnce) {
            for (int block; (block = m_next.fetch_add(1, std::memory_order_relaxed)) < count;) {
                m_current[worker].store(block, std::memory_order_release);
                waited += help(block, worker, worker);
                m_finished.fetch_add(1, std::memory_order_release);
            }
        }
        while (m_finished.load(std::memory_order_acquire) < count) {
            for (int k = 0; k < m_atOnce; ++k) {
                const int place = (worker + k) % m_atOnce, block = m_current[place].load(std::memory_order_acquire);
                if (block != kNone) waited += help(block, place, worker);
            }
            const ThreadTime began = ThreadTime::now();
            std::this_thread::yield();
            waited += ThreadTime::now() - began;
        }
        return waited;
    }

private:
    static constexpr int kNone = -1;

    // Once `block` is done its place may have another: then there is no piece left to be run.
    ThreadTime help(int block, int place, int worker) noexcept {
        return m_steps[static_cast<std::size_t>(block)].join(m_pieces, [&](int step, int piece) noexcept {
            m_smoothings[static_cast<std::size_t>(place)].run(step, piece, m_blocks[static_cast<std::size_t>(block)],
                                                              m_tables, m_scratch[static_cast<std::size_t>(worker)]);
        });
    }

    const std::vector<PlacedBlock>& m_blocks;
    const WeightTables& m_tables;
    std::vector<PairSmoothing>& m_smoothings;
    std::vector<PairScratch>& m_scratch;
    const std::array<int, PairSmoothing::kSteps> m_pieces;
    const int m_atOnce;
    std::vector<Steps<PairSmoothing::kSteps>> m_steps;
    std::array<std::atomic<int>, kMostBlocksAtOnce> m_current;
    std::atomic<int> m_next{0}, m_finished{0};
};

}  // namespace

void DomainTransformFilter::Workspace::makeTables(float sigmaS, float ratio) {
    std::vector<float> distances(kSums);
    for (int sum = 0; sum < kSums; ++sum) distances[sum] = static_cast<float>(sum);
    distanceRow(distances.data(), ratio, kSums);
    const std::array<float, 3> widths = recursiveWidths(sigmaS);
    WeightTables weights;
    for (std::size_t i = 0; i < weights.size(); ++i) {
        weights[i].resize(kSums);
        weightRow(distances.data(), weightFactor(widths[i]), weights[i].data(), kSums);
    }
    tables = std::move(weights);
}

void DomainTransformFilter::Workspace::provideForBlocks(cv::Size block, int atOnce, int workers) {
    if (!smoothings.empty() && smoothings[0].blockSize() != block) {
        smoothings.clear();
        scratch.clear();
    }
    while (smoothings.size() < static_cast<std::size_t>(atOnce)) smoothings.emplace_back(block);
    while (scratch.size() < static_cast<std::size_t>(workers)) scratch.emplace_back(block);
}

bool DomainTransformFilter::filterPair(cv::Mat& first, cv::Mat& second) {
    checkPlanes(first, second);
    if (first.type() != CV_16UC1 || second.type() != CV_16UC1)
        fail("ERROR - DomainTransformFilter::filterPair - first.type()!=CV_16UC1 || second.type()!=CV_16UC1");
    if (first.size() != second.size()) fail("ERROR - DomainTransformFilter::filterPair - first.size()!=second.size()");
    if (first.empty()) return true;
    std::vector<PlacedBlock> block;
    orFailWithoutMemory("ERROR - DomainTransformFilter::filterPair - not enough memory", [&] {
        const std::vector<cv::Mat> planes = {first, second}, none(2);
        block.push_back({first.size(), 0, planes, none, planes, {}});
    });
    return filterPairs(block);
}

bool DomainTransformFilter::filterPairs(const std::vector<PlacedBlock>& blocks) {
    const cv::Size size = blocks[0].size;
    const int count = static_cast<int>(blocks.size());
    const bool forks = static_cast<double>(size.area()) * count * kWorkOfPixel >= kForkElements;
    const int workers = forks ? teamSize() : 1, atOnce = std::min({workers, count, kMostBlocksAtOnce});
    orFailWithoutMemory("ERROR - DomainTransformFilter::filterPair - not enough memory", [&] {
        Workspace& w = *m_workspace;
        if (w.tables[0].empty()) w.makeTables(m_sigmaS, m_sigmaS / m_sigmaR);
        w.provideForBlocks(size, atOnce, workers);
        BlocksAtOnce team(blocks, w.tables, w.smoothings, atOnce, w.scratch);
        withTeam(workers, [&](int worker) noexcept { return team.work(worker); });
    });
    return true;
}
