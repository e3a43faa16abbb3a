#include "fuzz/support/scene.h"
#include "fuzz/support/start.h"
#include "kestrova/kestrova.h"

namespace {

void one(Input& input) {
    Scene scene;
    const int kind = input.below(5), n = kind == 2 || kind == 3 ? input.below(5) : 2;
    const cv::Size small = someSize(input, 20);
    const cv::Size large(small.width * std::max(n, 1) - input.below(std::max(n, 1)),
                         small.height * std::max(n, 1) - input.below(std::max(n, 1)));
    const int type = kTypes[input.below(3)], lowType = input.rarely(4) ? kTypes[input.below(3)] : type;
    const bool guided = input.flag();
    const int interp = input.rarely(8) ? input.number() : 1 << input.below(3);
    const int r = input.number();
    const float eps = input.real();
    const int planes = kind == 3 || kind == 4 ? (input.rarely(16) ? input.below(5) : 3) : 1;

    std::vector<int> guide;
    for (int i = 0; i < planes; ++i)
        guide.push_back(scene.add(input, kind == 4 ? small : large, type, Role::kIn, true));
    if (kind == 4) {
        const int p = scene.add(input, small, lowType, Role::kInOut);
        runTwice(scene, [=](Scene& s) {
            std::vector<cv::Mat> mats;
            for (int g : guide) mats.push_back(s[g]);
            filterGuidedByRGB(mats, s[p], r, eps);
        });
        return;
    }
    const int low = scene.add(input, small, kind == 0 ? CV_16UC1 : lowType, Role::kIn, true);
    const int out = scene.add(input, large, type, Role::kOut);
    const int by = input.rarely(8) ? input.number() : n;
    const auto call = [=](Scene& s) {
        switch (kind) {
            case 0: return upSize2XGuidedByYSimple(s[guide[0]], s[low], s[out]);
            case 1: return upSize2XGuidedByY(s[guide[0]], s[low], s[out], guided, interp, r, eps);
            case 2: return upSizeNXGuidedByY(s[guide[0]], s[low], s[out], by, guided, interp, r, eps);
            default: break;
        }
        std::vector<cv::Mat> mats;
        for (int g : guide) mats.push_back(s[g]);
        upSizeNXGuidedByRGB(mats, s[low], s[out], by, guided, interp, r, eps);
    };
    const Failures allowed{interp == kPyramidStep};
    // Other codes leave an output that is made for them unwritten.
    const bool written = interp == 1 || interp == 2 || interp == 4;
    written ? runTwice(scene, call, allowed) : runOnce(scene, call, allowed);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    for (int calls = 0; calls < 4 && input.more(); ++calls) one(input);
    return 0;
}
