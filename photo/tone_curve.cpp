#include "photo/tone_curve.h"

#include <kestrova/kestrova.h>

#include <algorithm>

#include "photo/engine.h"
#include "photo/light_curve.h"
#include "photo/zero.h"

namespace kestrova::photo {

std::vector<float> toneCurve(const Light& light, int count) {
    if (count < 2) throw Error(Error::Kind::programming, "a curve of fewer than two tones");
    return translated([&] {
        const CoreScope scope(1);
        cv::Mat tones(1, count, CV_16UC1);
        for (int i = 0; i < count; ++i) tones.at<ushort>(i) = static_cast<ushort>(65535.0 * i / (count - 1) + 0.5);
        const cv::Mat none(tones.size(), CV_16UC1, cv::Scalar(kZero));
        const EngineLight wanted = engineLight(light);
        const float six[6] = {wanted.brightness, wanted.contrast, wanted.highlights,
                              wanted.shadows,    wanted.whites,   wanted.blacks};
        std::vector<float> curve(static_cast<std::size_t>(count));
        const auto take = [&](const cv::Mat& out) {
            for (int i = 0; i < count; ++i)
                curve[static_cast<std::size_t>(i)] = static_cast<float>(out.at<ushort>(i)) / 65535;
            return curve;
        };
        if (std::all_of(six, six + 6, [](float v) { return v == 0; })) return take(tones);  // as in a rendering
        TVelline engine;
        std::copy(six, six + 6, engine.m_light);
        engine.m_Y = tones;
        engine.m_DS = engine.m_DM = engine.m_DL = none;
        engine.m_Dr = engine.m_Db = none;
        engine.m_maxPlainLevel = 1;
        engine.m_bChangedY = engine.m_bRoiChanged = true;
        engine.proc(cv::Rect(0, 0, count, 1), 1, cv::Mat());
        return take(engine.getRoiY());
    });
}

}  // namespace kestrova::photo
