#include "tests/filters/local_laplacian_reference.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <opencv2/imgproc.hpp>
#include <utility>

#include "kestrova/curves/table_smoothing.h"

std::vector<ushort> expectedRemap(float alpha, float blur) {
    std::vector<ushort> table(65536);
    for (int i = 0; i < 65536; ++i) table[i] = static_cast<ushort>(i);
    const int t = static_cast<int>(alpha * 32768);
    const int a = std::abs(t), h = a / 2;
    const int l[] = {0, 32768 - a, 32768 - h, 32768, 32768 + h, 32768 + a, 65535};
    const int softening[] = {32768, 32768, 32768 + h, 32768, 32768 - h, 32768, 32768};
    const int boosting[] = {32768, 32768, 32768 - h, 32768, 32768 + h, 32768, 32768};
    const int* v = t >= 0 ? softening : boosting;
    for (int k = 0; k < 6; ++k) {
        if (l[k + 1] - l[k] == 1) table[l[k]] = static_cast<ushort>(v[k]);
        if (l[k + 1] - l[k] <= 1) continue;
        const double slope = double(v[k + 1] - v[k]) / (l[k + 1] - l[k]);
        for (int i = l[k]; i < l[k + 1]; ++i)
            table[i] = static_cast<ushort>(std::clamp(std::trunc(i * slope + v[k] + 0.5 - l[k] * slope), 0.0, 65535.0));
    }
    const float sigma = static_cast<float>(a) * blur;
    if (sigma > 1) smoothLUT16U(table.data(), 65536, sigma, 2);
    return table;
}

cv::Mat expectedLaplacian(const cv::Mat& in, int k, int step, float perStep, const std::vector<ushort>& remap,
                          int levels) {
    std::vector<cv::Mat> g(levels), p(levels);
    g[0] = in.clone();
    for (int l = 1; l < levels; ++l) cv::pyrDown(g[l - 1], g[l]);

    p[0].create(in.rows, in.cols, CV_16UC(k));
    for (int y = 0; y < in.rows; ++y) {
        for (int x = 0; x < in.cols; ++x) {
            for (int c = 0; c < k; ++c) {
                const int value = in.at<ushort>(y, x);
                const float index = std::nearbyint(static_cast<float>(value - c * step) * 0.5f + 32768.0f);
                const int offset = 2 * remap[static_cast<int>(std::clamp(index, 0.0f, 65535.0f))] - 65536;
                p[0].ptr<ushort>(y)[x * k + c] = static_cast<ushort>(std::clamp(value + offset, 0, 65535));
            }
        }
    }
    for (int l = 1; l < levels; ++l) {
        cv::Mat up;
        cv::pyrDown(p[l - 1], p[l]);
        cv::pyrUp(p[l], up, p[l - 1].size());
        cv::addWeighted(p[l - 1], 1.0, up, -1.0, 32767.0, p[l - 1]);
    }

    cv::Mat result;
    for (int l = levels - 1; l >= 0; --l) {
        cv::Mat c(g[l].size(), CV_16UC1);
        for (int y = 0; y < c.rows; ++y) {
            for (int x = 0; x < c.cols; ++x) {
                const float t = static_cast<float>(g[l].at<ushort>(y, x)) * perStep;
                const int i = std::min(static_cast<int>(t), k - 2);
                const float f = t - static_cast<float>(i);
                const ushort* const pixel = p[l].ptr<ushort>(y) + x * k;
                const float low = (1.0f - f) * static_cast<float>(pixel[i]);
                const float high = f * static_cast<float>(pixel[i + 1]);
                c.at<ushort>(y, x) = static_cast<ushort>(static_cast<int>(low + high));
            }
        }
        if (l == levels - 1) {
            result = c;
        } else {
            cv::Mat up, sum;
            cv::pyrUp(result, up, c.size());
            cv::addWeighted(c, 1.0, up, 1.0, -32767.0, sum);
            result = sum;
        }
    }
    return result;
}

cv::Mat expectedLaplacian(int k, const cv::Mat& in, float alpha, float blur, int levels) {
    static std::map<std::pair<float, float>, std::vector<ushort>> tables;
    std::vector<ushort>& remap = tables[{alpha, blur}];
    if (remap.empty()) remap = expectedRemap(alpha, blur);
    if (k == 10) return expectedLaplacian(in, 10, 6553, 0.00015260186f, remap, levels);
    if (k == 16) return expectedLaplacian(in, 16, 4095, 0.00024420026f, remap, levels);
    return expectedLaplacian(in, 24, 2730, 0.00036630037f, remap, levels);
}
