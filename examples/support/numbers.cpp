#include "numbers.h"

#include <charconv>
#include <cmath>
#include <cstdio>

#include "refusal.h"

namespace {

std::string shown(int bound) { return std::to_string(bound); }

std::string shown(double bound) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", bound);
    const bool whole = bound == std::floor(bound);
    return whole ? std::string(text) + ".0" : text;
}

}  // namespace

std::string quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

template <class Number>
Number number(std::string_view text, Number low, Number high) {
    std::string_view digits = text;
    if (digits.size() > 1 && digits[0] == '+' && digits[1] != '-') digits.remove_prefix(1);
    Number value{};
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    const bool isNumber = end == digits.data() + digits.size() && error != std::errc::invalid_argument;
    if (!isNumber || !std::isfinite(static_cast<double>(value))) throw Refusal(quoted(text) + " is not a number");
    if (error != std::errc() || value < low || value > high)
        throw Refusal(quoted(text) + " is not within " + shown(low) + " to " + shown(high));
    return value;
}

template int number(std::string_view, int, int);
template float number(std::string_view, float, float);
template double number(std::string_view, double, double);
