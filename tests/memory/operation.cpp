#include "tests/memory/operation.h"

#include <algorithm>

namespace {

template <class Number>
std::string raw(Number number) {
    return std::string(reinterpret_cast<const char*>(&number), sizeof number);
}

}  // namespace

Seen& Seen::form(const cv::Mat& plane) {
    m_parts.push_back(raw(plane.rows) + raw(plane.cols) + raw(plane.type()) + raw(plane.data != nullptr));
    return *this;
}

Seen& Seen::plane(const cv::Mat& plane) {
    form(plane);
    if (!plane.data) return *this;
    for (int r = 0; r < plane.rows; ++r)
        m_parts.back().append(plane.ptr<char>(r), static_cast<std::size_t>(plane.cols) * plane.elemSize());
    return *this;
}

Seen& Seen::bytes(const void* data, std::size_t size) {
    m_parts.emplace_back(static_cast<const char*>(data), size);
    return *this;
}

std::size_t Seen::firstDifference(const Seen& a, const Seen& b) {
    const auto end = std::mismatch(a.m_parts.begin(), a.m_parts.end(), b.m_parts.begin(), b.m_parts.end());
    return static_cast<std::size_t>(end.first - a.m_parts.begin());
}

void document(Thrown thrown, const std::vector<std::string>& beginnings, std::vector<Operation>& operations) {
    for (const std::string& beginning : beginnings)
        for (Operation& operation : operations)
            if (operation.name.rfind(beginning, 0) == 0) operation.thrown = thrown;
}

void documentText(const std::string& text, const std::string& beginning, std::vector<Operation>& operations) {
    for (Operation& operation : operations)
        if (operation.name.rfind(beginning, 0) == 0) operation.text = text;
}
