#pragma once

#include <string>
#include <vector>

#include "photo/photograph.h"

namespace kestrova::photo {

/// A folder of its own for a test, removed with all that is in it.
class Scratch {
public:
    Scratch();
    ~Scratch();
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    /// The path of a name in it.
    std::string operator/(const std::string& name) const { return m_path + '/' + name; }
    /// The names in it, sorted.
    std::vector<std::string> names() const;
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

std::vector<unsigned char> bytesOf(const std::string& path);
void writeBytes(const std::string& path, const std::vector<unsigned char>& bytes);

/// A picture with all sorts of colours, whose 16-bit values are those of an 8-bit file unless `bits` is 16.
Photograph colourful(int width, int height, int bits = 8, bool alpha = false);

/// Pixels equal in every channel.
bool same(const cv::Mat& a, const cv::Mat& b);

/// The largest difference of a channel.
int distance(const cv::Mat& a, const cv::Mat& b);

}  // namespace kestrova::photo
