#include "fuzz/support/scene.h"
#include "fuzz/support/start.h"
#include "kestrova/kestrova.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    float scales[6] = {0.25f, 0.6f, 0.2f, 0.9f, 4.0f, 0.9f};
    if (input.rarely(3))
        for (float& scale : scales) scale = input.real() * 4;
    const auto make = [&] {
        return std::make_unique<TColorAdjVL>(scales[0], scales[1], scales[2], scales[3], scales[4], scales[5]);
    };
    auto used = make();
    bool changed = false;
    for (int calls = 0; calls < 3 && input.more(); ++calls) {
        if (input.rarely(3)) {
            used->m_temperature = input.real(), used->m_tint = input.real();
            used->m_saturation = input.real(), used->m_vibrance = input.real();
            used->m_bChanged = changed = true;
        }
        if (input.rarely(6)) used = std::make_unique<TColorAdjVL>(*used);
        Scene scene;
        const cv::Size plane = someSize(input);
        int in[4];
        for (int& p : in) p = scene.add(input, plane, CV_16UC1, Role::kIn, true);
        const int dr = scene.add(input, plane, CV_16UC1, Role::kOut, true, true);
        const int db = scene.add(input, plane, CV_16UC1, Role::kOut, true, true);
        const auto fresh = make();
        fresh->m_temperature = used->m_temperature, fresh->m_tint = used->m_tint;
        fresh->m_saturation = used->m_saturation, fresh->m_vibrance = used->m_vibrance;
        fresh->m_bChanged = changed;
        const auto call = [=](Scene& s, TColorAdjVL& engine) {
            engine.proc(s[in[0]], s[in[1]], s[in[2]], s[in[3]], s[dr], s[db]);
        };
        runTwice(
            scene, [&](Scene& s) { call(s, *used); }, [&](Scene& s) { call(s, *fresh); });
    }
    return 0;
}
