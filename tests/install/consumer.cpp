// A small host against the installed library: develops a picture of a few pixels and paints a mask over it.
#include <kestrova/kestrova.h>

#include <cmath>
#include <cstdio>
#include <vector>

namespace {

struct Negative : TLutY16U {
    void mapPixel(unsigned short& y, unsigned short&, unsigned short&) override {
        y = static_cast<unsigned short>(65535 - y);
    }
};

/// A class of the host's own calls what the guided filter keeps for derived ones, vendor records among its arguments.
struct Covariance : TGuidedFilter {
    static float ofRamp() {
        const cv::Mat X = (cv::Mat_<float>(1, 3) << 0, 1, 2), mean(1, 1, CV_32FC1, cv::Scalar(1));
        cv::Mat products = X.clone(), productOfMeans = mean.clone(), out = mean.clone();
        Covariance filter;
        const IppiSize wide{3, 1}, inner{1, 1}, mask{3, 1};
        const IppiPoint anchor{1, 0};
        filter.calvar2(out, X, mean, products, productOfMeans, wide, inner, mask, anchor, false);
        filter.calcov2(out, X, X, mean, mean, products, productOfMeans, wide, inner, mask, anchor, false);
        return out.at<float>(0, 0);  // (0 + 1 + 4) / 3 - 1
    }
};

}  // namespace

int main() {
    try {
        std::vector<unsigned char> pixels(4 * 16 * 12, 128);
        TPImage picture;
        picture.convertFrom(pixels.data(), 16, 12, 4 * 16);
        const cv::Mat noDetail(picture.m_Y.size(), CV_16UC1, cv::Scalar(32768));

        TProgress progress;
        TVelline engine;
        if (!engine.setup(picture.m_Y, noDetail, noDetail, noDetail, picture.m_Dr, picture.m_Db, &progress)) return 1;
        engine.proc(cv::Rect(0, 0, 16, 12), 1, cv::Mat());

        TColorAdjVL colour;
        cv::Mat dr, db;
        colour.proc(picture.m_Y, engine.getRoiY(), noDetail, noDetail, dr, db);

        TDrawMask mask;
        mask.setInImage(&picture);
        mask.setValue(0);
        mask.proc();
        if (mask.getMaskRoi(cv::Rect(0, 0, 16, 12), 1).at<unsigned char>(0, 0) != 0) return 1;

        Negative negative;
        negative.proc(picture.m_Y, true);

        if (std::abs(Covariance::ofRamp() - 2.0f / 3) > 1e-6f) return 1;

        picture.convertTo(pixels.data(), 4 * 16);
        std::puts(Kestrova::traceMsg("consumer", 1, "ok").c_str());
        return 0;
    } catch (const char* text) {
        std::puts(text);
        return 1;
    }
}
