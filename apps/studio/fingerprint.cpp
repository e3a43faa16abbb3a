#include "studio/fingerprint.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <algorithm>

#include "studio/widgets/pixels.h"

namespace kestrova::studio {

std::string fingerprintOf(const std::string& photograph) {
    constexpr qint64 kEnd = 65536;
    QFile file(fileName(photograph));
    if (!QFileInfo(file).isFile() || !file.open(QIODevice::ReadOnly)) return {};
    QCryptographicHash hash(QCryptographicHash::Sha1);
    hash.addData(file.read(kEnd));
    if (!file.seek(std::max(file.pos(), file.size() - kEnd))) return {};
    hash.addData(file.read(kEnd));
    if (file.error() != QFileDevice::NoError) return {};
    return std::to_string(file.size()) + '-' + hash.result().toHex().toStdString();
}

}  // namespace kestrova::studio
