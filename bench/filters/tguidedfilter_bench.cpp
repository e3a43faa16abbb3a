#include "kestrova/filters/tguidedfilter.h"

#include <memory>
#include <string>
#include <vector>

#include "bench/support/bench.h"
#ifdef KESTROVA_HAVE_XIMGPROC
#include <opencv2/ximgproc.hpp>
#endif

namespace {

constexpr float kEps = 0.001f;

// A picture on the scale 0..1: light and shapes with noise.
cv::Mat picture(const BenchSize& s, int seed) {
    cv::Mat noise(s.rows, s.cols, CV_32FC1), plane(s.rows, s.cols, CV_32FC1);
    cv::RNG random(seed);
    random.fill(noise, cv::RNG::UNIFORM, 0, 0.05);
    for (int y = 0; y < s.rows; ++y) {
        for (int x = 0; x < s.cols; ++x) {
            const int tile = ((x >> 6) * 7 + (y >> 6) * 3 + seed) % 8;
            plane.at<float>(y, x) = 0.1f * static_cast<float>(tile) + 0.001f * static_cast<float>(x % 64);
        }
    }
    return plane + noise;
}

std::vector<cv::Mat> pictures(const BenchSize& s, int count) {
    std::vector<cv::Mat> planes;
    for (int k = 0; k < count; ++k) planes.push_back(picture(s, k + 1));
    return planes;
}

std::vector<cv::Mat> inWords(const std::vector<cv::Mat>& planes) {
    std::vector<cv::Mat> words(planes.size());
    for (std::size_t k = 0; k < planes.size(); ++k) planes[k].convertTo(words[k], CV_16U, 65535);
    return words;
}

}  // namespace

KESTROVA_BENCH(guidedFilter) {
    for (const BenchSize& s : kBenchSizes) {
        const std::size_t pixels = std::size_t{1} * s.rows * s.cols;
        for (int guides : {1, 3}) {
            const std::string planes = "/guides:" + std::to_string(guides);
            const std::size_t floats = 4 * pixels * (guides + 1), words = 2 * pixels * (guides + 1);
            for (int r : {1, 3, 8, 64, 1000}) {
                const std::string at = planes + "/r:" + std::to_string(r) + "/" + s.name;
                benchRow(
                    "TGuidedFilter::setup" + at, 2 * floats,
                    [=] {
                        return [=, filter = TGuidedFilter(), guide = pictures(s, guides), p = picture(s, 9)]() mutable {
                            filter.setup(guide, p, r, kEps);
                        };
                    },
                    pixels);
                benchRow(
                    "TGuidedFilter::setup + proc" + at, 2 * floats + words,
                    [=] {
                        const std::vector<cv::Mat> guide = pictures(s, guides);
                        return [=, filter = TGuidedFilter(), full = inWords(guide), p = picture(s, 9),
                                q = cv::Mat()]() mutable {
                            filter.setup(guide, p, r, kEps);
                            filter.proc(full, q);
                        };
                    },
                    pixels);
#ifdef KESTROVA_HAVE_XIMGPROC
                benchRow(
                    "ximgproc::guidedFilter" + at, 2 * floats,
                    [=] {
                        cv::Mat guide, q;
                        cv::merge(pictures(s, guides), guide);
                        return [=, p = picture(s, 9)]() mutable { cv::ximgproc::guidedFilter(guide, p, q, r, kEps); };
                    },
                    pixels);
#endif
            }
            for (int n : {1, 2}) {
                const std::string at = planes + "/block:" + std::to_string(n) + "/" + s.name;
                benchRow("TGuidedFilter::proc" + at, words + 4 * pixels * (guides + 1) / (n * n), [=] {
                    const BenchSize small{s.name, s.cols / n, s.rows / n};
                    auto filter = std::make_shared<TGuidedFilter>();
                    filter->setup(pictures(small, guides), picture(small, 9), 8, kEps);
                    return [=, full = inWords(pictures(s, guides)), q = cv::Mat()]() mutable { filter->proc(full, q); };
                });
            }
        }
        for (int r : {1, 2, 3, 8, 64}) {
            const std::string at = "/r:" + std::to_string(r) + "/" + s.name;
            benchRow(
                "TGuidedFilter::stripProc" + at, 12 * pixels,
                [=] {
                    return [=, filter = TGuidedFilter(), I = picture(s, 1), p = picture(s, 9),
                            q = picture(s, 8)]() mutable { filter.stripProc(I, p, q, r, kEps); };
                },
                pixels);
        }
#ifdef KESTROVA_HAVE_XIMGPROC
        for (int guides : {1, 3}) {
            benchRow(
                "ximgproc::fastGlobalSmootherFilter/guides:" + std::to_string(guides) + "/" + s.name,
                (2 + guides) * 4 * pixels,
                [=] {
                    cv::Mat guide, guide8u, q;
                    cv::merge(pictures(s, guides), guide);
                    guide.convertTo(guide8u, CV_8U, 255);
                    return [=, p = picture(s, 9)]() mutable {
                        cv::ximgproc::fastGlobalSmootherFilter(guide8u, p, q, 100, 10);
                    };
                },
                pixels);
        }
#endif
    }
}
