#include "png_file.h"

#include <png.h>

#include <stdexcept>

namespace {

void check(int done, const png_image& image, const std::string& path) {
    if (!done) throw std::runtime_error(path + ": " + image.message);
}

}  // namespace

cv::Mat readPng(const std::string& path) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    check(png_image_begin_read_from_file(&image, path.c_str()), image, path);
    image.format = PNG_FORMAT_BGRA;
    cv::Mat pixels(static_cast<int>(image.height), static_cast<int>(image.width), CV_8UC4);
    check(png_image_finish_read(&image, nullptr, pixels.data, static_cast<int>(pixels.step), nullptr), image, path);
    return pixels;
}

void writePng(const cv::Mat& pixels, const std::string& path) {
    cv::Mat packed = pixels;
    if (pixels.channels() == 4) {
        packed.create(pixels.size(), CV_8UC3);
        cv::mixChannels({pixels}, {packed}, {0, 0, 1, 1, 2, 2});
    }
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(packed.cols);
    image.height = static_cast<png_uint_32>(packed.rows);
    image.format = packed.channels() == 3 ? PNG_FORMAT_BGR : PNG_FORMAT_GRAY;
    check(png_image_write_to_file(&image, path.c_str(), 0, packed.data, static_cast<int>(packed.step), nullptr), image,
          path);
}
