#include <opencv2/imgproc.hpp>

#include <memory>
#include <string>

#include "bench/support/bench.h"
#include "kestrova/filters/bilateral_filter.h"
#include "kestrova/filters/conv_pyr.h"
#include "kestrova/filters/free_filters.h"
#include "kestrova/filters/local_laplacian.h"
#include "kestrova/filters/tguidedfilter.h"
#include "kestrova/image/timage.h"

#ifdef KESTROVA_HAVE_XIMGPROC
#include <opencv2/ximgproc.hpp>
#endif

// How the filters and their peers grow with pixels, with the radius and with threads. Names read
// growth/<with what>/<which>:<how much>/threads:<n>.

namespace {

constexpr BenchSize kGrowingSizes[] = {
    {"960x640", 960, 640}, {"1920x1280", 1920, 1280}, {"3840x2560", 3840, 2560}, {"6000x4000", 6000, 4000}};
constexpr BenchSize kMiddle = kGrowingSizes[1], kLargest = kGrowingSizes[3];
constexpr float kEps = 0.001f;

std::size_t pixelsOf(const BenchSize& s) { return static_cast<std::size_t>(s.cols) * static_cast<std::size_t>(s.rows); }

/// Patches of light with noise, CV_16UC1.
cv::Mat picture(const BenchSize& s) {
    cv::Mat coarse(s.rows / 40, s.cols / 40, CV_16UC1), noise(s.rows, s.cols, CV_16UC1), plane;
    cv::randu(coarse, 5000, 55000);
    cv::randu(noise, 0, 3000);
    cv::resize(coarse, plane, noise.size(), 0, 0, cv::INTER_NEAREST);
    return plane + noise;
}

cv::Mat scaled(const cv::Mat& plane) {
    cv::Mat out;
    plane.convertTo(out, CV_32F, 1.0 / 65535);
    return out;
}

void guided(const std::string& name, const BenchSize& s, int radius, const std::vector<int>& teams) {
    benchRow(
        name, 18 * pixelsOf(s),
        [=] {
            const cv::Mat full = picture(s);
            return [=, filter = TGuidedFilter(), guide = scaled(full), out = cv::Mat()]() mutable {
                filter.setup({guide}, guide, radius, kEps);
                filter.proc({full}, out);
            };
        },
        0, teams);
}

void bilateral(const std::string& name, const BenchSize& s, int sampling, const std::vector<int>& teams) {
    benchRow(
        name, 4 * pixelsOf(s),
        [=] {
            auto filter = std::make_shared<BilateralFilter>();
            return [=, plane = picture(s)]() mutable { filter->proc(cv::Mat(), plane, sampling, 6500, nullptr); };
        },
        0, teams);
}

void laplacian(const std::string& name, const BenchSize& s, const std::vector<int>& teams) {
    benchRow(
        name, 4 * pixelsOf(s),
        [=] {
            auto filter = std::make_shared<LocalLaplacian>();
            return [=, plane = picture(s), out = cv::Mat()]() mutable { filter->proc10K(plane, out, 0.3f, 0.3f, 6); };
        },
        0, teams);
}

void pyramid(const std::string& name, const BenchSize& s, const std::vector<int>& teams) {
    benchRow(
        name, 8 * pixelsOf(s),
        [=] {
            const cv::Mat wide = (cv::Mat_<float>(1, 5) << 0.15f, 0.5f, 0.7f, 0.5f, 0.15f);
            const cv::Mat own = (cv::Mat_<float>(1, 3) << 0.175f, 0.547f, 0.175f);
            return [filter = ConvPyr(wide, wide, own), plane = scaled(picture(s)), out = cv::Mat()]() mutable {
                filter.proc(plane, out);
            };
        },
        0, teams);
}

void box(const std::string& name, const BenchSize& s, int radius, const std::vector<int>& teams) {
    benchRow(
        name, 4 * pixelsOf(s),
        [=] {
            auto in = std::make_shared<TImage>(TImage::IM_Y16U, TSize(s.cols, s.rows));
            auto out = std::make_shared<TImage>(TImage::IM_Y16U, TSize(s.cols, s.rows));
            cv::Mat pixels = in->toMat(0);
            picture(s).copyTo(pixels);
            return [=] { tFilterBox(in.get(), out.get(), radius, 1, nullptr); };
        },
        0, teams);
}

void blur(const std::string& name, const BenchSize& s, int radius, const std::vector<int>& teams) {
    benchRow(
        name, 4 * pixelsOf(s),
        [=] {
            return [=, plane = picture(s), out = cv::Mat()]() mutable {
                cv::blur(plane, out, {2 * radius + 1, 2 * radius + 1});
            };
        },
        0, teams);
}

#ifdef KESTROVA_HAVE_XIMGPROC
void peerOfGuided(const std::string& name, const BenchSize& s, int radius, const std::vector<int>& teams) {
    benchRow(
        name, 18 * pixelsOf(s),
        [=] {
            return [=, guide = scaled(picture(s)), out = cv::Mat()]() mutable {
                cv::ximgproc::guidedFilter(guide, guide, out, radius, kEps);
            };
        },
        0, teams);
}

void peerOfBilateral(const std::string& name, const BenchSize& s, int sampling, const std::vector<int>& teams) {
    benchRow(
        name, 4 * pixelsOf(s),
        [=] {
            cv::Mat bytes;  // it has no 16-bit form
            picture(s).convertTo(bytes, CV_8U, 1.0 / 257);
            return [=, out = cv::Mat()]() mutable {
                cv::ximgproc::jointBilateralFilter(bytes, bytes, out, sampling + 1, 25 * 0.85, sampling * 0.85);
            };
        },
        0, teams);
}
#endif

std::vector<int> powersOfTwoUpToAll() {
    const int all = omp_get_num_procs();
    std::vector<int> teams;
    for (int n = 1; n < all; n *= 2) teams.push_back(n);
    teams.push_back(all);
    return teams;
}

KESTROVA_BENCH(growth) {
    const std::vector<int> allThreads = {omp_get_num_procs()};
    for (const BenchSize& s : kGrowingSizes) {
        const auto name = [&](const char* which) { return std::string("growth/pixels/") + which + ":" + s.name; };
        guided(name("guided"), s, 8, allThreads);
        bilateral(name("bilateral"), s, 16, allThreads);
        laplacian(name("laplacian"), s, allThreads);
        pyramid(name("pyramid"), s, allThreads);
#ifdef KESTROVA_HAVE_XIMGPROC
        peerOfGuided(name("ximgproc guidedFilter"), s, 8, allThreads);
        peerOfBilateral(name("ximgproc jointBilateralFilter"), s, 16, allThreads);
#endif
    }
    for (int radius : {1, 2, 4, 8, 16, 32, 64, 128, 256}) {
        const auto name = [&](const char* which) {
            return std::string("growth/radius/") + which + ":" + std::to_string(radius);
        };
        guided(name("guided"), kMiddle, radius, allThreads);
        box(name("box"), kMiddle, radius, allThreads);
        blur(name("cv blur"), kMiddle, radius, allThreads);
        if (radius >= 2) bilateral(name("bilateral"), kMiddle, radius, allThreads);
#ifdef KESTROVA_HAVE_XIMGPROC
        peerOfGuided(name("ximgproc guidedFilter"), kMiddle, radius, allThreads);
        // Its time grows with the square of the radius.
        if (radius >= 2 && radius <= 32)
            peerOfBilateral(name("ximgproc jointBilateralFilter"), kMiddle, radius, allThreads);
#endif
    }
    const std::vector<int> teams = powersOfTwoUpToAll();
    guided("growth/threads/guided", kLargest, 8, teams);
    bilateral("growth/threads/bilateral", kLargest, 16, teams);
    laplacian("growth/threads/laplacian", kLargest, teams);
    pyramid("growth/threads/pyramid", kLargest, teams);
    box("growth/threads/box", kLargest, 10, teams);
#ifdef KESTROVA_HAVE_XIMGPROC
    peerOfGuided("growth/threads/ximgproc guidedFilter", kLargest, 8, teams);
#endif
}

}  // namespace
