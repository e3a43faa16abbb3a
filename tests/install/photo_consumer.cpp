// Uses the installed photo layer: a photograph out, in again, developed.
#include <photo/development.h>
#include <photo/error.h>
#include <photo/read.h>
#include <photo/settings.h>
#include <photo/write.h>

#include <cstdio>

int main(int, char** argv) {
    using namespace kestrova::photo;
    try {
        Photograph photograph;
        photograph.pixels = cv::Mat(48, 64, CV_16UC4, cv::Scalar(257 * 30, 257 * 60, 257 * 90, 65535));
        writePhotograph(photograph, argv[1]);
        Settings settings;
        settings.light.brightness = 0.5f;
        Development development(readPhotograph(argv[1]));
        development.set(settings);
        const cv::Mat pixels = development.render().pixels;
        return pixels.at<cv::Vec4b>(20, 20)[1] > 60 ? 0 : 1;
    } catch (const Error& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
