#pragma once

#include <stdexcept>
#include <string>

#include "photo/export.h"

namespace kestrova::photo {

/// The layer's one exception. `what()` is a sentence for the person at the screen, without a line end.
class KESTROVA_PHOTO_EXPORT Error : public std::runtime_error {
public:
    /// What a program can do about it.
    enum class Kind {
        input,        ///< what was given is wrong: a value out of range, a broken or refused file, an unknown key
        file,         ///< the file system refused: not found, no permission, disk full
        memory,       ///< no memory, or the limit set for it would be exceeded
        cancelled,    ///< the host asked to stop
        programming,  ///< a call out of order: a mistake of the host's or of this layer's
    };

    /// With a message of one line.
    Error(Kind kind, const std::string& message) : std::runtime_error(message), m_kind(kind) {}
    /// Its kind.
    Kind kind() const noexcept { return m_kind; }

private:
    Kind m_kind;
};

}  // namespace kestrova::photo
