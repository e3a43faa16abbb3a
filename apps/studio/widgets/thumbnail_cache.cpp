#include "studio/widgets/thumbnail_cache.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <algorithm>

#include "photo/development.h"
#include "photo/read.h"
#include "studio/widgets/pixels.h"
#include "studio/widgets/screen_profile.h"

namespace kestrova::studio {

namespace {

QImage developed(const photo::Photograph& photograph, photo::Settings settings, int longEdge, photo::Control* control) {
    photo::Development::Options options;
    options.threads = 1;
    photo::Development development(photograph, options);
    settings.size = longEdge;
    development.set(settings);
    photo::Development::Output output;
    output.profile = photo::Profile::srgb();
    return toImage(development.render(output, control).pixels);
}

}  // namespace

QImage makeThumbnail(const QString& path, int longEdge, const photo::Settings& settings, photo::Control* control) {
    constexpr double kLeastCrop = 0.25;  // for which a larger preview is read
    photo::ReadOptions options;
    options.threads = 1;  // the photograph that is open needs the others
    if (control) options.cancel = control->flag();
    const double crop = std::max({settings.crop.width, settings.crop.height, kLeastCrop});
    const photo::Photograph photograph = photo::readPreview(fileName(path), static_cast<int>(longEdge / crop), options);
    if (settings != photo::Settings()) return developed(photograph, settings, longEdge, control);
    const QImage image = ScreenTransform(photograph.profile, photo::Profile::srgb()).apply(photograph.pixels, 1);
    if (std::max(image.width(), image.height()) <= longEdge) return image;
    const QSize size = QSizeF(image.size()).scaled(longEdge, longEdge, Qt::KeepAspectRatio).toSize();
    return image.scaled(size.expandedTo({1, 1}), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

ThumbnailCache::ThumbnailCache(QString folder, qint64 mostBytes)
    : m_folder(std::move(folder)), m_mostBytes(mostBytes) {}

QString ThumbnailCache::defaultFolder() {
    return QStandardPaths::writableLocation(QStandardPaths::CacheLocation) + "/thumbnails";
}

ThumbnailKey ThumbnailCache::keyOf(const QString& path, const photo::Settings& settings) {
    QCryptographicHash hash(QCryptographicHash::Sha1);
    const QFileInfo info(path);
    hash.addData(QFile::encodeName(info.absoluteFilePath()));
    if (info.exists())
        hash.addData('\0' + QByteArray::number(info.size()) + ' ' +
                     QByteArray::number(info.lastModified().toMSecsSinceEpoch()));
    if (settings != photo::Settings()) hash.addData('\0' + QByteArray::fromStdString(settings.toJson()));
    return {QString::fromLatin1(hash.result().toHex())};
}

QImage ThumbnailCache::find(const ThumbnailKey& key) const {
    QFile file(fileOf(key));
    if (!file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly)) return {};
    QImage image;
    if (!image.load(&file, "PNG")) return {};
    file.setFileTime(QDateTime::currentDateTime(), QFileDevice::FileModificationTime);
    return image;
}

void ThumbnailCache::store(const ThumbnailKey& key, const QImage& thumbnail) {
    if (!QDir().mkpath(m_folder)) return;
    QSaveFile file(fileOf(key));
    if (!file.open(QIODevice::WriteOnly) || !thumbnail.save(&file, "PNG")) return;
    const qint64 bytes = file.size();
    if (!file.commit()) return;
    if (m_bytes >= 0) m_bytes += bytes;
    makeRoom();
}

void ThumbnailCache::makeRoom() {
    if (m_bytes >= 0 && m_bytes <= m_mostBytes) return;
    m_bytes = 0;
    for (const QFileInfo& info : QDir(m_folder).entryInfoList({"*.png"}, QDir::Files, QDir::Time)) {  // newest first
        if (m_bytes + info.size() <= m_mostBytes)
            m_bytes += info.size();
        else
            QFile::remove(info.filePath());
    }
}

}  // namespace kestrova::studio
