#include "fuzz/support/scene.h"
#include "fuzz/support/start.h"
#include "kestrova/kestrova.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    LocalLaplacian used;
    for (int calls = 0; calls < 3 && input.more(); ++calls) {
        Scene scene;
        const cv::Size plane = someSize(input);
        const int in = scene.add(input, plane, CV_16UC1, Role::kIn),
                  out = scene.add(input, plane, CV_16UC1, Role::kOut, true, true);
        const float alpha = input.real(), blur = input.real();
        const int levels = input.rarely(4) ? input.number() : 1 + input.below(9), references = input.below(3);
        LocalLaplacian fresh;
        const auto call = [=](Scene& s, LocalLaplacian& filter) {
            if (references == 0) filter.proc10K(s[in], s[out], alpha, blur, levels);
            if (references == 1) filter.proc16K(s[in], s[out], alpha, blur, levels);
            if (references == 2) filter.proc24K(s[in], s[out], alpha, blur, levels);
        };
        runTwice(
            scene, [&](Scene& s) { call(s, used); }, [&](Scene& s) { call(s, fresh); });
        const int a = input.number(), b = input.number();
        if (LocalLaplacian::levelJ(a, b, input.real()) < 2) finding("levelJ");
        LocalLaplacian::clamp(a, b, input.number());
    }
    return 0;
}
