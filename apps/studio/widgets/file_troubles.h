#pragma once

#include <QString>

#include "photo/error.h"

namespace kestrova::studio {

/// A sentence, in the language of the window, for what the photo layer says when it cannot read or write `path`. Its
/// own words, which are English and exact, belong to the details.
QString sentenceOf(photo::Error::Kind kind, const QString& message, const QString& path);

}  // namespace kestrova::studio
