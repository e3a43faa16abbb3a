#pragma once

#include <string>

#include "photo/error.h"

namespace kestrova::photo {

/// The error with the name of its file in front, where it has none and is no cancelling.
inline Error named(const Error& error, const std::string& path) {
    const std::string message = error.what();
    if (error.kind() == Error::Kind::cancelled || message.compare(0, path.size(), path) == 0) return error;
    return Error(error.kind(), path + ": " + message);
}

}  // namespace kestrova::photo
