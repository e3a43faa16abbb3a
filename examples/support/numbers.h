#pragma once

#include <string>
#include <string_view>

/// `text` in quotation marks, for messages.
std::string quoted(std::string_view text);

/// The number that `text` is, all of it: of int, float or double. Throws Refusal unless it lies within `low` to `high`.
template <class Number>
Number number(std::string_view text, Number low, Number high);
