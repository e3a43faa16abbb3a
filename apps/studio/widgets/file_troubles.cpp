#include "studio/widgets/file_troubles.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <initializer_list>

namespace kestrova::studio {

namespace {

struct FileTroubles {
    Q_DECLARE_TR_FUNCTIONS(FileTroubles)
};

bool speaksOf(const QString& message, std::initializer_list<const char*> words) {
    return std::any_of(words.begin(), words.end(), [&](const char* word) { return message.contains(word); });
}

bool hasReason(const QString& message, std::initializer_list<int> reasons) {
    return std::any_of(reasons.begin(), reasons.end(),
                       [&](int reason) { return message.contains(QString::fromLocal8Bit(std::strerror(reason))); });
}

QString refusedBySystem(const QString& message) {
    if (hasReason(message, {ENOSPC, EDQUOT}) || speaksOf(message, {"the disk is full"}))
        return FileTroubles::tr("%1 cannot be written: the disk is full.");
    if (hasReason(message, {EROFS})) return FileTroubles::tr("%1 cannot be written: the disk is read-only.");
    if (hasReason(message, {EACCES, EPERM})) return FileTroubles::tr("There is no permission to open %1.");
    if (hasReason(message, {ENOENT, ENOTDIR})) return FileTroubles::tr("%1: there is no such file or folder.");
    return FileTroubles::tr("%1 cannot be read or written.");
}

QString refusedAsInput(const QString& message) {
    if (speaksOf(message, {"is empty"})) return FileTroubles::tr("%1 is empty.");
    if (speaksOf(message, {"not a photograph", "is a folder", "not a regular file", "a volume"}))
        return FileTroubles::tr("%1 is not a photograph.");
    if (speaksOf(message, {"are not read by", "are not written", "no format that is written"}))
        return FileTroubles::tr("%1 has a format that is not supported here.");
    if (speaksOf(message, {"declares", "holds at most"})) return FileTroubles::tr("%1 is too large.");
    if (speaksOf(message, {"original, which is never replaced"}))
        return FileTroubles::tr("%1 is the original, which is never replaced.");
    if (speaksOf(message, {"is there already"})) return FileTroubles::tr("%1 is there already.");
    if (speaksOf(message, {"damaged", "cut short", "cannot be decoded", "metadata", "no pixels", "no image",
                           "Premature", "ogus", "orrupt", "runcated", "nvalid", "end of file"}))
        return FileTroubles::tr("%1 is damaged.");
    return FileTroubles::tr("%1 is damaged, or of a kind that is not supported here.");
}

QString patternFor(photo::Error::Kind kind, const QString& message) {
    switch (kind) {
        case photo::Error::Kind::file: return refusedBySystem(message);
        case photo::Error::Kind::input: return refusedAsInput(message);
        case photo::Error::Kind::memory: return FileTroubles::tr("There is not enough memory for %1.");
        default: return FileTroubles::tr("%1 cannot be shown: there is a mistake in this program.");
    }
}

}  // namespace

QString sentenceOf(photo::Error::Kind kind, const QString& message, const QString& path) {
    const QString name = QFileInfo(path).fileName().simplified();
    QString reason = message;
    if (reason.startsWith(path)) reason.remove(0, path.size());  // names may hold any words
    return patternFor(kind, reason).arg(name);
}

}  // namespace kestrova::studio
