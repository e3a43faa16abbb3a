#include "kestrova/detail/domain_transform.h"

#include <opencv2/core.hpp>

#include <memory>

#include "bench/support/bench.h"
#include "kestrova/detail/block_processor.h"
#ifdef KESTROVA_HAVE_XIMGPROC
#include <opencv2/ximgproc.hpp>
#endif

namespace {

constexpr float kSigmaS = 8.0f;
constexpr float kSigmaR = 4259.71f;

// The constructor sets the number of threads, which here is the row's.
std::shared_ptr<DomainTransformFilter> makeFilter() {
    const int threads = omp_get_max_threads();
    auto filter = std::make_shared<DomainTransformFilter>(kSigmaS, kSigmaR);
    omp_set_num_threads(threads);
    return filter;
}

// Chroma as a picture has it: smooth, with noise and a few edges.
cv::Mat chroma(int rows, int cols, int seed) {
    cv::Mat noise(rows, cols, CV_16SC1), plane(rows, cols, CV_16UC1);
    cv::RNG random(seed);
    random.fill(noise, cv::RNG::NORMAL, 0, 300);
    for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < cols; ++x) {
            const int tile = ((x >> 7) * 7 + (y >> 7) * 3 + seed) % 8;
            plane.at<ushort>(y, x) = static_cast<ushort>(26000 + tile * 1500 + x % 128 * 8 + noise.at<short>(y, x));
        }
    }
    return plane;
}

cv::Mat floatPair(int rows, int cols) {
    const cv::Mat planes[] = {chroma(rows, cols, 1), chroma(rows, cols, 2)};
    cv::Mat pair;
    cv::merge(planes, 2, pair);
    pair.convertTo(pair, CV_32F);
    return pair;
}

void copyBlocks(const std::vector<cv::Mat>& planes) {
    BlockProcessor processor;
    processor.initialize(planes, planes, 1024, 1024, true, 32, 0, 0);
    cv::Rect roi;
    std::vector<cv::Mat> blocks;
    while (processor.nextBlock(&roi, &blocks)) processor.copyOneBlock();
}

// As the preparation of a picture does it.
void smoothBlocks(const std::vector<cv::Mat>& planes, DomainTransformFilter& filter) {
    BlockProcessor processor;
    processor.initialize(planes, planes, 1024, 1024, true, 32, 0, 0);
    while (const std::vector<kestrova::detail::PlacedBlock>* stripe = processor.nextStripe()) {
        filter.filterPairs(*stripe);
        processor.copyStripe();
    }
}

}  // namespace

KESTROVA_BENCH(domainTransform) {
    const std::size_t block = 1024 * 1024;
    benchRow("DomainTransformFilter::filterRF/1024x1024x2", 2 * 8 * block, [] {
        return [filter = makeFilter(), in = floatPair(1024, 1024), out = cv::Mat()]() mutable {
            filter->filterRF(in, out, kSigmaS, kSigmaR);
        };
    });
#ifdef KESTROVA_HAVE_XIMGPROC
    benchRow("ximgproc::dtFilter RF/1024x1024x2", 2 * 8 * block, [] {
        return [in = floatPair(1024, 1024), out = cv::Mat()]() mutable {
            cv::ximgproc::dtFilter(in, in, out, kSigmaS, kSigmaR, cv::ximgproc::DTF_RF, 3);
        };
    });
#endif
    benchRow("DomainTransformFilter::filterNC/1024x1024x2", 2 * 8 * block, [] {
        return [filter = makeFilter(), in = floatPair(1024, 1024), out = cv::Mat()]() mutable {
            filter->filterNC(in, out, kSigmaS, kSigmaR);
        };
    });
#ifdef KESTROVA_HAVE_XIMGPROC
    benchRow("ximgproc::dtFilter NC/1024x1024x2", 2 * 8 * block, [] {
        return [in = floatPair(1024, 1024), out = cv::Mat()]() mutable {
            cv::ximgproc::dtFilter(in, in, out, kSigmaS, kSigmaR, cv::ximgproc::DTF_NC, 3);
        };
    });
#endif
    benchRow("DomainTransformFilter::filterPair/1024x1024", 2 * 4 * block, [] {
        return [filter = makeFilter(), first = chroma(1024, 1024, 1), second = chroma(1024, 1024, 2)]() mutable {
            filter->filterPair(first, second);
        };
    });
    for (const BenchSize& s : kBenchSizes) {
        const std::size_t bytes = std::size_t{2} * 4 * s.rows * s.cols;
        benchRow(std::string("BlockProcessor copies/") + s.name, bytes, [=] {
            return [planes = std::vector<cv::Mat>{chroma(s.rows, s.cols, 1), chroma(s.rows, s.cols, 2)}]() mutable {
                copyBlocks(planes);
            };
        });
        benchRow(std::string("chroma smoothed by blocks/") + s.name, bytes, [=] {
            return [filter = makeFilter(),
                    planes = std::vector<cv::Mat>{chroma(s.rows, s.cols, 1), chroma(s.rows, s.cols, 2)}]() mutable {
                smoothBlocks(planes, *filter);
            };
        });
#ifdef KESTROVA_HAVE_XIMGPROC
        benchRow(std::string("ximgproc::dtFilter RF on the whole/") + s.name, bytes, [=] {
            return [in = floatPair(s.rows, s.cols), out = cv::Mat()]() mutable {
                cv::ximgproc::dtFilter(in, in, out, kSigmaS, kSigmaR, cv::ximgproc::DTF_RF, 3);
            };
        });
#endif
    }
}
