#pragma once

#include <QImage>
#include <QString>

#include "photo/control.h"
#include "photo/settings.h"

namespace kestrova::studio {

/// A small picture of a photograph in sRGB whose longer side has at most `longEdge` pixels, with these settings but for
/// their size. Throws `photo::Error`.
QImage makeThumbnail(const QString& path, int longEdge, const photo::Settings& settings = {},
                     photo::Control* control = nullptr);

/// Names the thumbnail of a photograph as its file is at one moment, with some settings.
struct ThumbnailKey {
    QString hash;
};

/// Thumbnails on the disk, found by the photograph's path, by size and time of change of its file and by its settings,
/// so that one that has changed gets a new one. The ones that were used longest ago go when there are too many. Nothing
/// here is worth a message: what cannot be stored is made again. One thread at a time.
class ThumbnailCache {
public:
    static constexpr qint64 kMostBytes = qint64{256} << 20;

    explicit ThumbnailCache(QString folder = defaultFolder(), qint64 mostBytes = kMostBytes);

    /// Below `QStandardPaths::CacheLocation`.
    static QString defaultFolder();

    /// As the photograph's file is now.
    static ThumbnailKey keyOf(const QString& path, const photo::Settings& settings = {});
    /// Null if there is none.
    QImage find(const ThumbnailKey& key) const;
    void store(const ThumbnailKey& key, const QImage& thumbnail);

private:
    QString fileOf(const ThumbnailKey& key) const { return m_folder + '/' + key.hash + ".png"; }
    void makeRoom();

    QString m_folder;
    qint64 m_mostBytes;
    qint64 m_bytes = -1;  // not counted yet
};

}  // namespace kestrova::studio
