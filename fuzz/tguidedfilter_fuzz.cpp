#include "fuzz/support/scene.h"
#include "fuzz/support/start.h"
#include "kestrova/kestrova.h"

namespace {

struct Guided : TGuidedFilter {
    using TGuidedFilter::checkBlkSz;
    using TGuidedFilter::gFc1_apply;
    using TGuidedFilter::gFc1_blkGuide;
    using TGuidedFilter::gFc1_stripproc;
    using TGuidedFilter::gFc3_apply;
};

std::vector<cv::Mat> gather(Scene& s, const std::vector<int>& planes) {
    std::vector<cv::Mat> mats;
    for (int p : planes) mats.push_back(s[p]);
    return mats;
}

std::vector<int> guides(Scene& scene, Input& input, cv::Size size, int type) {
    std::vector<int> planes;
    for (int i = input.rarely(16) ? input.below(5) : input.flag() ? 1 : 3; i > 0; --i)
        planes.push_back(scene.add(input, size, type, Role::kIn, true));
    return planes;
}

void fitAndApply(Input& input, Guided& used) {
    Scene scene;
    const cv::Size size = someSize(input, 24), large = input.flag() ? size : someSize(input, 48);
    const std::vector<int> fit = guides(scene, input, size, CV_32FC1);
    const int p = scene.add(input, size, CV_32FC1, Role::kIn, true);
    const int r = input.rarely(4) ? input.number() : input.below(20);
    const float eps = input.real();
    const int type = kTypes[input.below(3)];
    const std::vector<int> apply = guides(scene, input, large, type);
    const int q = scene.add(input, large, type, Role::kOut, true, true);
    const bool floats = input.rarely(3);
    Guided fresh, second;
    // To more planes than its model has a used object applies the slopes of an earlier model.
    Guided& first = fit.size() < apply.size() ? second : used;
    const auto call = [=](Scene& s, Guided& filter) {
        filter.setup(gather(s, fit), s[p], r, eps);
        const std::vector<cv::Mat> guide = gather(s, apply);
        if (!floats) return filter.proc(guide, s[q]);
        guide.size() == 1 ? filter.gFc1_apply(guide[0], s[q]) : filter.gFc3_apply(guide, s[q]);
    };
    runTwice(
        scene, [&](Scene& s) { call(s, first); }, [&](Scene& s) { call(s, fresh); });
}

void strips(Input& input) {
    Scene scene;
    const cv::Size size = someSize(input, 48);
    const int I = scene.add(input, size, CV_32FC1, Role::kIn), p = scene.add(input, size, CV_32FC1, Role::kIn, true);
    const int r = input.rarely(4) ? input.number() : input.below(12),
              rows = input.rarely(4) ? input.number() : 1 + input.below(20);
    const int kind = input.below(3);
    const cv::Size inner(std::max(size.width - 4 * (r & 15), 1), std::max(size.height - 4 * (r & 15), 1));
    const int q = scene.add(input, kind == 2 ? inner : size, CV_32FC1, Role::kOut, kind != 2, false);
    const float eps = input.real();
    Guided::checkBlkSz(input.number(), input.number());
    runTwice(scene, [=](Scene& s) {
        const Guided filter;
        if (kind == 0) return filter.stripProc(s[I], s[p], s[q], r, eps);
        if (kind == 1) return filter.gFc1_stripproc(s[I], s[p], s[q], r, eps, rows);
        filter.gFc1_blkGuide(s[I], s[p], s[q], r, eps);
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    Guided used;
    for (int calls = 0; calls < 3 && input.more(); ++calls) input.rarely(3) ? strips(input) : fitAndApply(input, used);
    return 0;
}
