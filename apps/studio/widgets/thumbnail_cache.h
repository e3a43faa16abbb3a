#pragma once

#include <QImage>
#include <QString>
#include <atomic>

namespace kestrova::studio {

/// A small picture of a photograph in sRGB whose longer side has at most `longEdge` pixels. Throws `photo::Error`.
QImage makeThumbnail(const QString& path, int longEdge, const std::atomic<bool>* cancel = nullptr);

/// Thumbnails on the disk, found by the photograph's path, size and time of change, so that a changed file gets a new
/// one. The ones that were used longest ago go when there are too many. Nothing here is worth a message: what cannot be
/// stored is made again. One thread at a time.
class ThumbnailCache {
public:
    static constexpr qint64 kMostBytes = qint64{256} << 20;

    explicit ThumbnailCache(QString folder = defaultFolder(), qint64 mostBytes = kMostBytes);

    /// Below `QStandardPaths::CacheLocation`.
    static QString defaultFolder();

    /// Null if there is none.
    QImage find(const QString& path) const;
    void store(const QString& path, const QImage& thumbnail);

private:
    QString fileOf(const QString& path) const;
    void makeRoom();

    QString m_folder;
    qint64 m_mostBytes;
    qint64 m_bytes = -1;  // not counted yet
};

}  // namespace kestrova::studio
