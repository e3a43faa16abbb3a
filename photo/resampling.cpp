#include "photo/resampling.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "photo/kernel.h"

namespace kestrova::photo {

namespace {

constexpr int kLobes = 3;

double lanczos(double x) {
    constexpr double kPi = 3.14159265358979323846;
    if (x == 0) return 1;
    if (std::abs(x) >= kLobes) return 0;
    return kLobes * std::sin(kPi * x) * std::sin(kPi * x / kLobes) / (kPi * kPi * x * x);
}

double centreOf(int at, double scale) { return (at + 0.5) * scale; }
bool isPlain(double scale) { return scale == 1; }

/// What pixel `at` of the result is made of: weights of the pixels from `first` on, within the picture.
struct Taps {
    int first;
    std::vector<float> weights;
};

Taps tapsOf(int at, double scale, int size) {
    if (isPlain(scale)) return {std::clamp(at, 0, size - 1), {1.0f}};
    const int low = firstTap(at, scale), high = lastTap(at, scale);
    const int first = std::clamp(low, 0, size - 1), last = std::clamp(high, 0, size - 1);
    std::vector<double> weights(static_cast<std::size_t>(last - first + 1), 0.0);
    double sum = 0;
    for (int i = low; i <= high; ++i) {
        const double w = lanczos((i + 0.5 - centreOf(at, scale)) / scale);
        weights[std::clamp(i, first, last) - first] += w;
        sum += w;
    }
    Taps taps{first, {}};
    for (double w : weights) taps.weights.push_back(static_cast<float>(w / sum));
    return taps;
}

KESTROVA_PHOTO_KERNEL void addWeighted(const float* in, float weight, float* out, int n) noexcept {
    for (int i = 0; i < n; ++i) out[i] += weight * in[i];
}

template <class Value>
void store(const float* sums, Value* out, int n, float top) {
    for (int i = 0; i < n; ++i) out[i] = static_cast<Value>(rounded(sums[i], top));
}

template <class Value>
void resizeRowAcross(const Value* in, int originX, const std::vector<Taps>& taps, int channels, float* out) {
    for (std::size_t x = 0; x < taps.size(); ++x)
        for (int c = 0; c < channels; ++c) {
            const Value* from = in + (taps[x].first - originX) * channels + c;
            float sum = 0;
            for (float w : taps[x].weights) {
                sum += w * static_cast<float>(*from);
                from += channels;
            }
            out[x * static_cast<std::size_t>(channels) + static_cast<std::size_t>(c)] = sum;
        }
}

/// Catmull and Rom's cubic, `t` from the second of four values.
void cubicWeights(double t, float w[4]) {
    w[0] = static_cast<float>(((-0.5 * t + 1) * t - 0.5) * t);
    w[1] = static_cast<float>((1.5 * t - 2.5) * t * t + 1);
    w[2] = static_cast<float>(((-1.5 * t + 2) * t + 0.5) * t);
    w[3] = static_cast<float>((0.5 * t - 0.5) * t * t);
}

template <class Value, int kChannels>
void sample(const cv::Mat& part, const cv::Rect& place, cv::Size size, double x, double y, Value* out, float top) {
    const double fx = std::floor(x - 0.5), fy = std::floor(y - 0.5);
    float wx[4], wy[4];
    cubicWeights(x - 0.5 - fx, wx);
    cubicWeights(y - 0.5 - fy, wy);
    float sums[kChannels] = {};
    for (int j = 0; j < 4; ++j) {
        const int row = std::clamp(static_cast<int>(fy) - 1 + j, 0, size.height - 1) - place.y;
        const Value* in = part.ptr<Value>(std::clamp(row, 0, part.rows - 1));
        for (int i = 0; i < 4; ++i) {
            const int col = std::clamp(static_cast<int>(fx) - 1 + i, 0, size.width - 1) - place.x;
            const Value* pixel = in + std::clamp(col, 0, part.cols - 1) * kChannels;
            for (int c = 0; c < kChannels; ++c) sums[c] += wy[j] * wx[i] * static_cast<float>(pixel[c]);
        }
    }
    store(sums, out, kChannels, top);
}

}  // namespace

int firstTap(int at, double scale) {
    return isPlain(scale) ? at : static_cast<int>(std::ceil(centreOf(at, scale) - kLobes * scale - 0.5));
}
int lastTap(int at, double scale) {
    return isPlain(scale) ? at : static_cast<int>(std::floor(centreOf(at, scale) + kLobes * scale - 0.5));
}

cv::Mat resizedByTaps(const cv::Mat& part, cv::Point origin, cv::Size size, const cv::Rect& area, double scaleX,
                      double scaleY) {
    if (isPlain(scaleX) && isPlain(scaleY)) return part(cv::Rect(area.tl() - origin, area.size()));
    const int channels = part.channels(), width = area.width * channels;
    std::vector<Taps> across, down;
    for (int x = 0; x < area.width; ++x) across.push_back(tapsOf(area.x + x, scaleX, size.width));
    for (int y = 0; y < area.height; ++y) down.push_back(tapsOf(area.y + y, scaleY, size.height));
    cv::Mat narrow(part.rows, width, CV_32FC1), out(area.size(), part.type());
    for (int y = 0; y < part.rows; ++y) {
        if (part.depth() == CV_16U)
            resizeRowAcross(part.ptr<ushort>(y), origin.x, across, channels, narrow.ptr<float>(y));
        else
            resizeRowAcross(part.ptr<uchar>(y), origin.x, across, channels, narrow.ptr<float>(y));
    }
    for (int y = 0; y < area.height; ++y) {
        std::vector<float> sums(static_cast<std::size_t>(width), 0.0f);
        for (std::size_t i = 0; i < down[y].weights.size(); ++i)
            addWeighted(narrow.ptr<float>(down[y].first + static_cast<int>(i) - origin.y), down[y].weights[i],
                        sums.data(), width);
        if (part.depth() == CV_16U)
            store(sums.data(), out.ptr<ushort>(y), width, 65535.0f);
        else
            store(sums.data(), out.ptr<uchar>(y), width, 255.0f);
    }
    return out;
}

void sampleCubic(const cv::Mat& part, const cv::Rect& place, cv::Size size, double x, double y, void* out) {
    if (part.type() == CV_16UC4)
        sample<ushort, 4>(part, place, size, x, y, static_cast<ushort*>(out), 65535.0f);
    else
        sample<uchar, 1>(part, place, size, x, y, static_cast<uchar*>(out), 255.0f);
}

}  // namespace kestrova::photo
