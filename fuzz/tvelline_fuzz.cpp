#include <utility>

#include "fuzz/support/scene.h"
#include "fuzz/support/start.h"
#include "kestrova/kestrova.h"

namespace {

bool answer(int, void* user) { return --*static_cast<int*>(user) != 0; }

void setUp(Input& input, TVelline& used, bool& ready) {
    Scene scene;
    const cv::Size size = someSize(input), half((size.width + 1) / 2, (size.height + 1) / 2);
    int planes[6];
    for (int i = 0; i < 6; ++i) planes[i] = scene.add(input, i < 4 ? size : half, CV_16UC1, Role::kIn, true);
    const int steps = input.rarely(6) ? input.below(5) : 1000;
    TVelline fresh;
    const auto call = [=](Scene& s, TVelline& engine) {
        int left = steps;
        TProgress progress(&answer, &left);
        engine.setup(s[planes[0]].clone(), s[planes[1]].clone(), s[planes[2]].clone(), s[planes[3]].clone(),
                     s[planes[4]].clone(), s[planes[5]].clone(), &progress);
    };
    const Outcome outcome = runTwice(
        scene, [&](Scene& s) { call(s, used); }, [&](Scene& s) { call(s, fresh); });
    ready = !outcome.failed && steps > 3;
    if (!ready) return;
    comparePlanes(used.m_Dr, fresh.m_Dr, "m_Dr");
    comparePlanes(used.m_Db, fresh.m_Db, "m_Db");
}

void parameters(Input& input, TVelline& used) {
    for (int i = input.below(12); i > 0; --i) {
        const int which = input.below(27);
        const float value = input.real();
        if (which < 9)
            used.m_k[which] = value;
        else if (which < 18)
            used.m_t[which - 9] = value;
        else if (which < 24)
            used.m_light[which - 18] = value;
        else
            used.m_mix[which - 24] = value;
    }
    used.m_bChangedS = used.m_bChangedM = used.m_bChangedL = used.m_bChangedY = true;
    if (input.rarely(6)) used.m_maxPlainLevel = input.number();
}

/// An engine that has rendered nothing, with the same picture and parameters.
void renew(TVelline& fresh, const TVelline& used) {
    for (int i = 0; i < 9; ++i) fresh.m_k[i] = used.m_k[i], fresh.m_t[i] = used.m_t[i];
    for (int i = 0; i < 6; ++i) fresh.m_light[i] = used.m_light[i];
    for (int i = 0; i < 3; ++i) fresh.m_mix[i] = used.m_mix[i];
    fresh.m_Y = used.m_Y.clone(), fresh.m_DS = used.m_DS.clone(), fresh.m_DM = used.m_DM.clone();
    fresh.m_DL = used.m_DL.clone(), fresh.m_Dr = used.m_Dr.clone(), fresh.m_Db = used.m_Db.clone();
    fresh.m_maxPlainLevel = used.m_maxPlainLevel;
    fresh.m_bChangedS = fresh.m_bChangedM = fresh.m_bChangedL = fresh.m_bChangedY = fresh.m_bRoiChanged = true;
}

void render(Input& input, TVelline& used, bool ready, bool& extraJoined) {
    Scene scene;
    const cv::Rect roi = input.rarely(4)
                             ? cv::Rect(input.number(), input.number(), input.number(), input.number())
                             : cv::Rect(input.below(8), input.below(8), 1 + input.below(30), 1 + input.below(30));
    const int level = input.rarely(4) ? input.number() : 1 + input.below(3);
    const int extra = input.rarely(3) ? scene.add(input,
                                                  roi.width < 100 && roi.height < 100
                                                      ? cv::Size(std::max(roi.width, 0), std::max(roi.height, 0))
                                                      : cv::Size(),
                                                  CV_16UC1, Role::kIn)
                                      : scene.addEmpty();
    // What an extra plane has brought stays in the small scale until that is computed again.
    if (std::exchange(extraJoined, !scene[extra].empty())) used.m_bChangedS = true;
    TVelline fresh;
    renew(fresh, used);
    const auto call = [=](Scene& s, TVelline& engine) { engine.proc(roi, level, s[extra]); };
    // After a setup that failed or was cancelled, what is found wrong depends on what is out of date.
    if (!ready) {
        runOnce(scene, [&](Scene& s) { call(s, used); });
        return;
    }
    const Outcome outcome = runTwice(
        scene, [&](Scene& s) { call(s, used); }, [&](Scene& s) { call(s, fresh); });
    if (!outcome.failed) comparePlanes(used.getRoiY(), fresh.getRoiY(), "getRoiY");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    TVelline used, other;
    bool ready = false, extraJoined = false;
    for (int calls = 0; calls < 6 && input.more(); ++calls) {
        switch (input.below(6)) {
            case 0: setUp(input, used, ready); break;
            case 1: parameters(input, used); break;
            case 2: other = used; break;
            case 3: {
                const cv::Size like = someSize(input);
                if (!input.rarely(8)) break;
                outcomeOf([&] { used.setup(cv::Mat(like, someType(input)), nullptr); });
                for (cv::Mat* plane : {&used.m_Y, &used.m_DS, &used.m_DM, &used.m_DL}) plane->setTo(32768);
                break;
            }
            default:
                if (!ready && input.more()) setUp(input, used, ready);
                render(input, used, ready, extraJoined);
        }
    }
    return 0;
}
