#include "tests/photo/files.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

// libx265 keeps some memory of an encoder that has ended.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() { return "leak:libx265\n"; }

namespace kestrova::photo {

Scratch::Scratch() {
    m_path = (std::filesystem::temp_directory_path() / "kestrova-photo-XXXXXX").string();
    if (!::mkdtemp(m_path.data())) throw std::runtime_error("no scratch folder");
}

Scratch::~Scratch() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::vector<std::string> Scratch::names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_path)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<unsigned char> bytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeBytes(const std::string& path, const std::vector<unsigned char>& bytes) {
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

Photograph colourful(int width, int height, int bits, bool alpha) {
    Photograph photograph;
    photograph.sourceBits = bits;
    photograph.hasAlpha = alpha;
    photograph.pixels.create(height, width, CV_16UC4);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            auto& p = photograph.pixels.at<cv::Vec4w>(y, x);
            const int values[4] = {65535 * x / std::max(1, width - 1), 65535 * y / std::max(1, height - 1),
                                   65535 * ((x + 2 * y) % 64) / 63, 65535 * ((3 * x + y) % 32) / 31};
            for (int c = 0; c < 4; ++c) p[c] = static_cast<ushort>(bits == 16 ? values[c] : values[c] / 256 * 257);
            if (!alpha) p[3] = 65535;
        }
    return photograph;
}

bool same(const cv::Mat& a, const cv::Mat& b) {
    return a.size() == b.size() && a.type() == b.type() && distance(a, b) == 0;
}

int distance(const cv::Mat& a, const cv::Mat& b) {
    int worst = a.size() == b.size() ? 0 : 65536;
    for (int y = 0; worst < 65536 && y < a.rows; ++y)
        for (int i = 0; i < 4 * a.cols; ++i)
            worst = std::max(worst, std::abs(a.ptr<ushort>(y)[i] - b.ptr<ushort>(y)[i]));
    return worst;
}

}  // namespace kestrova::photo
