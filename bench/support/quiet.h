#pragma once

#include <iostream>

/// Swallows what is written to std::cout while it lives: the progress lines of what is measured.
class Quiet {
public:
    Quiet() : m_before(std::cout.rdbuf(nullptr)) {}
    ~Quiet() { std::cout.rdbuf(m_before); }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

private:
    std::streambuf* m_before;
};
