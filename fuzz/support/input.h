#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>

/// The bytes of a run, read as decisions: after their end all are 0.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : m_data(data), m_end(data + size) {}

    bool more() const { return m_data < m_end; }
    std::uint8_t byte() { return more() ? *m_data++ : std::uint8_t(0); }
    /// 0 to n - 1, n at most 256.
    int below(int n) { return byte() % n; }
    bool flag() { return byte() & 1; }
    /// True once in `n`.
    bool rarely(int n) { return byte() % n == 1; }

    /// A small number as a rule, else one that breaks things.
    int number() {
        constexpr int kMax = std::numeric_limits<int>::max(), kMin = std::numeric_limits<int>::min();
        static constexpr int kHostile[] = {kMin,         kMin + 1, kMax,  kMax - 1, kMax / 2, kMax / 2 + 1, kMin / 2,
                                           -65536,       -32769,   65535, 65536,    32767,    32768,        1 << 20,
                                           1 << 24,      -1,       -2,    -16,      256,      255,          8000,
                                           kMax / 4 + 1, kMax / 3, 46341, 1 << 29,  -257};
        const int choice = byte();
        if (choice < 200) return choice % 40;
        return kHostile[static_cast<std::size_t>(choice) % std::size(kHostile)];
    }

    /// 0 to 1 or thereabouts as a rule, else a number that breaks things.
    float real() {
        using Limits = std::numeric_limits<float>;
        static constexpr float kHostile[] = {Limits::quiet_NaN(),
                                             Limits::infinity(),
                                             -Limits::infinity(),
                                             Limits::max(),
                                             Limits::lowest(),
                                             Limits::min(),
                                             Limits::denorm_min(),
                                             -0.0f,
                                             1e10f,
                                             -1e10f,
                                             2147483648.0f,
                                             -2147483904.0f,
                                             65536.0f,
                                             -1.0f,
                                             1e-30f,
                                             255.5f};
        const int choice = byte();
        if (choice < 200) return static_cast<float>(choice % 101 - 50) / 50.0f;
        return kHostile[static_cast<std::size_t>(choice) % std::size(kHostile)];
    }

private:
    const std::uint8_t* m_data;
    const std::uint8_t* m_end;
};
