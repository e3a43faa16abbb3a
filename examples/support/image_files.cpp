#include "image_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QImageWriter>
#include <QSaveFile>
#include <cstdio>

#include "refusal.h"

namespace {

/// More than any camera gives, and little enough for every count of pixels and bytes in here.
constexpr qint64 kMaxPixels = qint64(1) << 28;

Refusal refusal(const QString& path, const QString& reason) { return Refusal((path + ": " + reason).toStdString()); }

/// Keeps standard error to the program itself: decoders and encoders have their own words for damaged files.
class QuietCodecs {
public:
    QuietCodecs() : m_stderr(dup(STDERR_FILENO)) {
        std::fflush(stderr);
        const int nowhere = open("/dev/null", O_WRONLY);
        dup2(nowhere, STDERR_FILENO);
        close(nowhere);
    }
    ~QuietCodecs() {
        std::fflush(stderr);
        dup2(m_stderr, STDERR_FILENO);
        close(m_stderr);
    }
    QuietCodecs(const QuietCodecs&) = delete;
    QuietCodecs& operator=(const QuietCodecs&) = delete;

private:
    const int m_stderr;
};

/// True if a JPEG file goes on to its end marker. A decoder fills what is missing with grey and calls it a success.
bool jpegIsComplete(const uchar* bytes, qint64 size) {
    constexpr uchar kMarker = 0xff, kLastWithoutMeaning = 0x01, kFirstAlone = 0xd0, kEndOfImage = 0xd9;
    qint64 at = 0;
    while (at + 1 < size) {
        const uchar code = bytes[at + 1];
        if (bytes[at] != kMarker || code == kMarker) {
            ++at;
            continue;
        }
        at += 2;
        if (code == kEndOfImage) return true;
        if (code <= kLastWithoutMeaning || (code >= kFirstAlone && code < kEndOfImage)) continue;
        if (at + 1 >= size) return false;
        at += bytes[at] << 8 | bytes[at + 1];
    }
    return false;
}

bool isJpeg(const QString& suffix) { return suffix == "jpg" || suffix == "jpeg"; }

QString suffixOf(const QString& path) { return QFileInfo(path).suffix().toLower(); }

}  // namespace

QImage readImage(const QString& path) {
    const QFileInfo info(path);
    if (!info.exists()) throw refusal(path, "there is no such file");
    if (!info.isFile()) throw refusal(path, "is not a file");
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) throw refusal(path, file.errorString());
    if (file.size() == 0) throw refusal(path, "the file is empty");

    const QuietCodecs quiet;
    QImageReader::setAllocationLimit(0);
    QImageReader reader(&file);
    reader.setDecideFormatFromContent(true);
    reader.setAutoTransform(true);
    const QByteArray format = reader.format();
    if (format != "png" && format != "jpeg") throw refusal(path, "is neither a PNG nor a JPEG picture");
    const QSize size = reader.size();
    if (qint64(size.width()) * size.height() > kMaxPixels)
        throw refusal(path, QString("%1x%2 pixels are too many").arg(size.width()).arg(size.height()));
    if (format == "jpeg") {
        const uchar* bytes = file.map(0, file.size());
        if (bytes == nullptr) throw refusal(path, file.errorString());
        if (!jpegIsComplete(bytes, file.size())) throw refusal(path, "the file is truncated");
    }
    QImage image;
    if (!reader.read(&image) || image.isNull()) throw refusal(path, reader.errorString());
    return image;
}

void checkSuffix(const QString& path) {
    const QString suffix = suffixOf(path);
    if (suffix != "png" && !isJpeg(suffix))
        throw refusal(path, "results are written to .png, .jpg and .jpeg files only");
}

void writeImage(const QImage& image, const QString& path, int quality, const std::function<void()>& lastCheck) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) throw refusal(path, file.errorString());
    const bool jpeg = isJpeg(suffixOf(path));
    QImageWriter writer(&file, jpeg ? "jpeg" : "png");
    if (jpeg) writer.setQuality(quality);
    {
        const QuietCodecs quiet;
        if (!writer.write(image)) throw refusal(path, writer.errorString());
    }
    lastCheck();
    if (!file.commit()) throw refusal(path, file.errorString());
}
