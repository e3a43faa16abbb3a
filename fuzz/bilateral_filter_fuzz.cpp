#include "fuzz/support/scene.h"
#include "fuzz/support/start.h"
#include "kestrova/kestrova.h"

namespace {

bool answer(int, void* user) { return --*static_cast<int*>(user) != 0; }

void smooth(Input& input, BilateralFilter& used, bool& usable) {
    Scene scene;
    const cv::Size size = someSize(input);
    const int edge = input.flag() ? scene.add(input, size, someType(input), Role::kIn) : scene.addEmpty();
    const int plane = scene.add(input, size, kTypes[input.below(2)], Role::kInOut, true);
    const int sampling = input.rarely(4) ? input.number() : 2 + input.below(20);
    const int range = input.rarely(4) ? input.number() : (1 + input.below(200)) * (1 + input.below(30));
    const int steps = input.rarely(4) ? input.below(8) : 1000;
    BilateralFilter fresh;
    const auto call = [=](Scene& s, BilateralFilter& filter) {
        int left = steps;
        TProgress progress(&answer, &left);
        filter.proc(s[edge], s[plane], sampling, range, &progress);
    };
    // Below 2 the grids of the call before are used again, and a fresh object has none.
    if (sampling < 2) {
        scene.watch();
        return scene.check(outcomeOf([&] { call(scene, usable ? used : fresh); }));
    }
    usable = !runTwice(
                  scene, [&](Scene& s) { call(s, used); }, [&](Scene& s) { call(s, fresh); })
                  .failed;
    if (used.getGridSize() < 0) finding("getGridSize");
}

void guide(Input& input) {
    Scene scene;
    const cv::Size size = someSize(input);
    const int type = kTypes[input.below(2)];
    const int guide = scene.add(input, size, type, Role::kIn), plane = scene.add(input, size, type, Role::kInOut, true);
    const int radius = input.rarely(4) ? input.number() : input.below(12);
    runTwice(scene, [=](Scene& s) { BilateralFilter::gradientGuide(s[guide], s[plane], radius); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    BilateralFilter used;
    bool usable = false;
    for (int calls = 0; calls < 3 && input.more(); ++calls)
        input.rarely(3) ? guide(input) : smooth(input, used, usable);
    return 0;
}
