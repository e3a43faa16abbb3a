#include <cstdio>
#include <exception>
#include <functional>
#include <string>
#include <vector>

#include "chroma.h"
#include "gradients.h"
#include "kestrova/detail/domain_transform.h"
#include "png_file.h"
#include "smoothing.h"

// The pictures on the pages of the filters: what each makes of a photograph, and what it takes away at three scales.

namespace {

using Smooth = std::function<cv::Mat(const cv::Mat& Y)>;

/// The class itself is internal; hosts meet it in `TVelline::setup`.
cv::Mat smoothDomainTransform(const cv::Mat& Y, float sigmaS, float sigmaR) {
    cv::Mat plane, out;
    Y.convertTo(plane, CV_32F, 1.0 / 65535);
    DomainTransformFilter(sigmaS, sigmaR).filterRF(plane, plane, sigmaS, sigmaR);
    plane.convertTo(out, CV_16U, 65535);
    return out;
}

struct Page {
    std::string name;
    Smooth scales[3];  ///< small, medium, large: each takes what the one before has left
};

std::vector<Page> pages() {
    return {
        {"guided",
         {[](const cv::Mat& Y) { return smoothGuided(Y, 2, 0.002f); },
          [](const cv::Mat& Y) { return smoothGuided(Y, 8, 0.003f); },
          [](const cv::Mat& Y) { return smoothGuided(Y, 32, 0.005f); }}},
        {"bilateral",
         {[](const cv::Mat& Y) { return smoothBilateral(Y, 2, 0.08f); },
          [](const cv::Mat& Y) { return smoothBilateral(Y, 8, 0.08f); },
          [](const cv::Mat& Y) { return smoothBilateral(Y, 32, 0.08f); }}},
        {"wls",
         {[](const cv::Mat& Y) { return smoothLeastSquares(Y, 0.02f, 1.2f); },
          [](const cv::Mat& Y) { return smoothLeastSquares(Y, 0.1f, 1.2f); },
          [](const cv::Mat& Y) { return smoothLeastSquares(Y, 0.5f, 1.2f); }}},
        {"laplacian",
         {[](const cv::Mat& Y) { return smoothLaplacian(Y, 0.1f, 0.3f, 2); },
          [](const cv::Mat& Y) { return smoothLaplacian(Y, 0.1f, 0.3f, 4); },
          [](const cv::Mat& Y) { return smoothLaplacian(Y, 0.1f, 0.3f, 6); }}},
        {"pyramid",
         {[](const cv::Mat& Y) { return withoutFaintGradients(Y, 0.01f); },
          [](const cv::Mat& Y) { return withoutFaintGradients(Y, 0.02f); },
          [](const cv::Mat& Y) { return withoutFaintGradients(Y, 0.035f); }}},
        {"domain",
         {[](const cv::Mat& Y) { return smoothDomainTransform(Y, 2, 0.08f); },
          [](const cv::Mat& Y) { return smoothDomainTransform(Y, 8, 0.08f); },
          [](const cv::Mat& Y) { return smoothDomainTransform(Y, 32, 0.08f); }}},
    };
}

/// The photograph with its luminance changed from `before` to `after`; all its channels move alike.
cv::Mat withLuminance(const cv::Mat& photograph, const cv::Mat& before, const cv::Mat& after) {
    cv::Mat change, out;
    cv::subtract(after, before, change, cv::noArray(), CV_32F);
    cv::merge(std::vector<cv::Mat>(4, change), change);
    cv::scaleAdd(change, 1.0 / 256, cv::Mat_<cv::Vec4f>(photograph), change);
    change.convertTo(out, CV_8U);
    return out;
}

/// A 16-bit plane as grey levels, its differences from 32768 times `gain`.
cv::Mat about128(const cv::Mat& plane, double gain) {
    cv::Mat out;
    plane.convertTo(out, CV_8U, gain / 256, 128 - gain * 128);
    return out;
}

cv::Mat difference(const cv::Mat& a, const cv::Mat& b) {
    cv::Mat out;
    cv::addWeighted(a, 1, b, -1, 32768, out);
    return out;
}

/// The colours of a picture under even light, twice as strong.
cv::Mat chromaAlone(const TPImage& picture, const Chroma& chroma) {
    const cv::Mat even(chroma.dr.size(), CV_16UC1, cv::Scalar(32768));
    cv::Mat dr, db, rgb[3], out;
    chroma.dr.convertTo(dr, CV_16U, 2, -32768);
    chroma.db.convertTo(db, CV_16U, 2, -32768);
    for (cv::Mat& plane : rgb) plane.create(even.size(), CV_8UC1);
    picture.YDRDB2RGB8U(even, dr, db, rgb[0], rgb[1], rgb[2]);
    cv::merge(std::vector<cv::Mat>{rgb[2], rgb[1], rgb[0], rgb[0]}, out);
    return out;
}

void run(const std::string& in, const std::string& directory) {
    const auto write = [&](const cv::Mat& pixels, const std::string& name) {
        writePng(pixels, directory + "/" + name + ".png");
    };
    const cv::Mat photograph = readPng(in);
    TPImage picture;
    picture.convertFrom(photograph.data, photograph.cols, photograph.rows, static_cast<int>(photograph.step));
    write(photograph, "before");

    constexpr double kDetailGain = 3;
    for (const Page& page : pages()) {
        cv::Mat rest = picture.m_Y;
        const char* const names[] = {"small", "medium", "large"};
        for (int scale = 0; scale < 3; ++scale) {
            const cv::Mat smooth = page.scales[scale](rest);
            write(about128(difference(rest, smooth), kDetailGain), page.name + "_" + names[scale]);
            rest = smooth;
        }
        write(withLuminance(photograph, picture.m_Y, rest), page.name + "_after");
    }

    const Chroma noisy = enlargedChroma(picture), smooth = smoothedChroma(picture);
    write(chromaAlone(picture, noisy), "chroma_before");
    write(chromaAlone(picture, smooth), "chroma_after");
    constexpr double kNoiseGain = 12;
    write(about128(difference(noisy.dr, smooth.dr), kNoiseGain), "chroma_taken");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("usage: kestrova-pictures PHOTOGRAPH.png DIRECTORY\n", stderr);
        return 2;
    }
    Kestrova::setPrinting(false);
    try {
        run(argv[1], argv[2]);
        return 0;
    } catch (const char* text) {
        std::fprintf(stderr, "kestrova-pictures: %s\n", text);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "kestrova-pictures: %s\n", failure.what());
    }
    return 1;
}
