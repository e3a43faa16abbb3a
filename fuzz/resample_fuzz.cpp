#include "fuzz/support/scene.h"
#include "fuzz/support/start.h"
#include "kestrova/kestrova.h"

namespace {

int interpolation(Input& input) {
    constexpr int kCodes[] = {1, 2, 4, kPyramidStep, 0, 3, -1};
    return kCodes[input.below(7)];
}

void one(Input& input) {
    Scene scene;
    const cv::Size small = someSize(input);
    const int type = kTypes[input.below(3)], interp = interpolation(input), n = input.number() % 64;
    const int kind = input.below(5), factor = kind < 2 ? 2 : std::max(n, 1) % 8 + 1;
    const cv::Size large(small.width * factor - input.below(2), small.height * factor - input.below(2));
    const bool down = kind % 2 == 0;
    if (kind == 4) {
        const int m = scene.add(input, small, someType(input), Role::kInOut);
        const int left = input.number(), top = input.number(), right = input.number(), bottom = input.number();
        runTwice(scene, [=](Scene& s) { extendBorder(s[m], left, top, right, bottom); });
        return;
    }
    const int in = scene.add(input, down ? large : small, type, Role::kIn);
    const int out = scene.add(input, down ? small : large, type, Role::kOut);
    const int by = input.rarely(8) ? input.number() : factor;
    runTwice(scene,
             [=](Scene& s) {
                 switch (kind) {
                     case 0: return downSize2X(s[in], s[out], interp);
                     case 1: return upSize2X(s[in], s[out], interp);
                     case 2: return downSizeNX(s[in], s[out], by, interp);
                     default: return upSizeNX(s[in], s[out], by, interp);
                 }
             },
             {interp == kPyramidStep, false});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    for (int calls = 0; calls < 4 && input.more(); ++calls) one(input);
    return 0;
}
