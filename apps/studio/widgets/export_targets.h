#pragma once

#include <QString>
#include <QStringList>

#include "photo/develop_file.h"

namespace kestrova::studio {

/// Where exports go. `{name}` in the name stands for the photograph's own, without its ending.
struct ExportTargets {
    QString folder;
    QString name;
    photo::FileFormat format = photo::FileFormat::jpeg;
    bool replace = false;  ///< files that are there already, but never an original

    QString targetOf(const QString& photograph) const;

    /// Why these photographs cannot go there, empty if they can. No target may be one of the originals, under whatever
    /// name, or that of another photograph.
    QString problem(const QStringList& photographs, const QStringList& originals) const;
};

}  // namespace kestrova::studio
