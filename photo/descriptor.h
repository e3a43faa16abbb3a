#pragma once

#include <unistd.h>

namespace kestrova::photo {

/// An open file of the system, closed at the end of its scope.
class Descriptor {
public:
    explicit Descriptor(int number) : m_number(number) {}
    ~Descriptor() {
        if (m_number >= 0) ::close(m_number);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    explicit operator bool() const { return m_number >= 0; }
    int get() const { return m_number; }

private:
    int m_number;
};

}  // namespace kestrova::photo
