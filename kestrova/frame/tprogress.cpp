#include "kestrova/frame/tprogress.h"

#include <cstddef>
#include <limits>
#include <stdexcept>

namespace {

// Truncation towards zero that saturates at the ends of int; NaN gives 0.
int truncated(double v) {
    if (!(v == v)) return 0;
    if (v >= std::numeric_limits<int>::max()) return std::numeric_limits<int>::max();
    if (v <= std::numeric_limits<int>::min()) return std::numeric_limits<int>::min();
    return static_cast<int>(v);
}

// Levels may be missing after a misuse by the host, which knows the failure by this text.
template <class Vector>
auto& at(Vector& levels, std::size_t i) {
    if (i >= levels.size()) throw std::out_of_range("invalid vector<T> subscript");
    return levels[i];
}

}  // namespace

TProgress::TProgress(bool (*func)(int, void*), void* user) : m_func_p(func), m_user_p(user) { reset(); }

void TProgress::start(float weight) {
    // All memory first: the three keep their common length where there is none.
    m_weights.reserve(m_weights.size() + 1);
    m_totals.reserve(m_totals.size() + 1);
    m_values.reserve(m_values.size() + 1);
    m_weights.push_back(weight);
    m_totals.push_back(100);
    m_values.push_back(0);
}

bool TProgress::prog() {
    int& value = at(m_values, m_values.size() - 1);
    if (value < std::numeric_limits<int>::max()) ++value;
    return progress();
}

bool TProgress::prog(int value, int total) {
    at(m_values, m_values.size() - 1) = value;
    at(m_totals, m_totals.size() - 1) = total;
    return progress();
}

bool TProgress::end() {
    if (m_totals.empty()) return true;
    const std::size_t parent = m_totals.size() - 2;
    const float advance = static_cast<float>(at(m_totals, parent)) * at(m_weights, parent + 1);
    int& value = at(m_values, parent);
    value = truncated(static_cast<double>(advance + static_cast<float>(value)));
    m_totals.pop_back();
    m_values.pop_back();
    m_weights.pop_back();
    return progress();
}

void TProgress::done() {
    reset();
    m_values.back() = m_totals.back();
    progress();
}

void TProgress::reset() {
    m_weights.assign(1, 1.0f);
    m_totals.assign(1, 100);
    m_values.assign(1, 0);
}

bool TProgress::progress() {
    const int value = at(m_values, m_values.size() - 1);
    int& total = at(m_totals, m_totals.size() - 1);
    if (total < value) total = truncated((value + 1.0) * 1.2);

    float share = 1.0f;
    float sum = 0.0f;
    for (std::size_t i = 0; i < m_totals.size(); ++i) {
        share *= at(m_weights, i);
        sum += static_cast<float>(at(m_values, i)) / static_cast<float>(m_totals[i]) * share;
    }
    const int thousandths = truncated(static_cast<double>(sum * 1000.0f));
    if (!m_func_p || !m_user_p) return true;
    return m_func_p(thousandths > 1000 ? 1000 : thousandths, m_user_p);
}
