#include "studio/widgets/export_targets.h"

#include <sys/stat.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <optional>
#include <set>

namespace kestrova::studio {

namespace {

struct Texts {
    Q_DECLARE_TR_FUNCTIONS(ExportTargets)
};

// What is one file under all of its names.
using Identity = std::pair<dev_t, ino_t>;

std::optional<Identity> identityOf(const QString& path) {
    struct stat status {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0) return {};
    return Identity(status.st_dev, status.st_ino);
}

QString endingOf(photo::FileFormat format) {
    switch (format) {
        case photo::FileFormat::png: return ".png";
        case photo::FileFormat::tiff: return ".tif";
        case photo::FileFormat::webp: return ".webp";
        default: return ".jpg";
    }
}

std::set<Identity> identitiesOf(const QStringList& paths) {
    std::set<Identity> identities;
    for (const QString& path : paths)
        if (const auto identity = identityOf(path)) identities.insert(*identity);
    return identities;
}

// Folders that are not there yet are made.
QString problemOfFolder(const QString& folder) {
    if (folder.isEmpty()) return Texts::tr("There is no folder to export to.");
    if (QDir::isRelativePath(folder)) return Texts::tr("The folder needs its whole path.");
    QFileInfo place(folder);
    while (!place.exists() && !place.isRoot()) place.setFile(place.path());
    if (!place.isDir()) return Texts::tr("%1 is no folder.").arg(QDir::toNativeSeparators(place.filePath()));
    if (!place.isWritable())
        return Texts::tr("%1 cannot be written to.").arg(QDir::toNativeSeparators(place.filePath()));
    return {};
}

}  // namespace

QString ExportTargets::targetOf(const QString& photograph) const {
    QString target = name;
    target.replace("{name}", QFileInfo(photograph).completeBaseName());
    return QDir::cleanPath(folder + '/' + target + endingOf(format));
}

QString ExportTargets::problem(const QStringList& photographs, const QStringList& originals) const {
    if (photographs.isEmpty()) return Texts::tr("There is no photograph to export.");
    if (name.trimmed().isEmpty()) return Texts::tr("The name is empty.");
    if (name.contains('/')) return Texts::tr("A name cannot contain a slash.");
    if (const QString problem = problemOfFolder(folder); !problem.isEmpty()) return problem;

    std::optional<std::set<Identity>> kept;  // a strip may be long: looked up once a target is there
    QHash<QString, QString> sources;
    for (const QString& photograph : photographs) {
        const QString target = targetOf(photograph), file = QFileInfo(target).fileName();
        if (sources.contains(target))
            return Texts::tr("%1 and %2 would both become %3; {name} in the name keeps them apart.")
                .arg(QFileInfo(sources[target]).fileName(), QFileInfo(photograph).fileName(), file);
        sources[target] = photograph;
        const auto there = identityOf(target);
        if (!there) continue;
        if (!kept) kept = identitiesOf(originals + photographs);
        if (kept->count(*there)) return Texts::tr("%1 is an original, which is never replaced.").arg(file);
        if (!QFileInfo(target).isFile()) return Texts::tr("%1 is there already and is no file.").arg(file);
        if (!replace) return Texts::tr("%1 is there already.").arg(file);
    }
    return {};
}

}  // namespace kestrova::studio
