#include "studio/widgets/thumbnail_model.h"

#include <QCollator>
#include <QDir>
#include <QFileInfo>
#include <algorithm>
#include <utility>

#include "photo/error.h"
#include "photo/file_format.h"
#include "photo/settings.h"
#include "studio/widgets/background.h"
#include "studio/widgets/pixels.h"
#include "studio/widgets/tile_delegate.h"

namespace kestrova::studio {

namespace {

constexpr qsizetype kMostKilobytes = 96 << 10;  // of thumbnails in memory, 400 or so
constexpr qsizetype kMostAsked = 64;            // more than a view shows; the others are asked for when they are back

photo::Settings settingsOfSidecar(const std::string& path) {
    const std::string sidecar = photo::Settings::sidecarOf(path);
    return QFileInfo::exists(fileName(sidecar)) ? photo::Settings::load(sidecar) : photo::Settings();
}

/// Nothing if they cannot be read.
std::optional<photo::Settings> settingsOf(const QString& path, const ThumbnailModel::SettingsReader& read) {
    try {
        return read(fileName(path));
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

}  // namespace

ThumbnailModel::ThumbnailModel(ThumbnailCache cache, QObject* parent)
    : QAbstractListModel(parent), m_images(kMostKilobytes), m_settingsOf(settingsOfSidecar), m_cache(std::move(cache)) {
    m_pool.setMaxThreadCount(1);
}

ThumbnailModel::~ThumbnailModel() {
    m_work.cancel();
    m_pool.waitForDone();
}

QStringList ThumbnailModel::photographsIn(const QString& folder) {
    QStringList names = QDir(folder).entryList(QDir::Files | QDir::Readable, QDir::NoSort);
    names.removeIf([](const QString& name) { return !photo::hasPhotographName(fileName(name)); });
    const bool plain = QLocale().language() == QLocale::C;  // which knows no numbers
    QCollator collator(plain ? QLocale(QLocale::English) : QLocale());
    collator.setNumericMode(true);  // 2.jpg stands before 10.jpg
    std::sort(names.begin(), names.end(), collator);
    for (QString& name : names) name = QDir(folder).absoluteFilePath(name);
    return names;
}

void ThumbnailModel::setPaths(const QStringList& paths) {
    beginResetModel();
    m_entries.clear();
    m_rows.clear();
    m_asked.clear();
    for (const QString& path : paths) {
        if (m_rows.contains(path)) continue;
        m_rows[path] = static_cast<int>(m_entries.size());
        m_entries.push_back({path, {}});
    }
    endResetModel();
}

QStringList ThumbnailModel::paths() const {
    QStringList paths;
    for (const Entry& entry : m_entries) paths << entry.path;
    return paths;
}

int ThumbnailModel::rowOf(const QString& path) const { return m_rows.value(path, -1); }

void ThumbnailModel::announce(int row, const QList<int>& roles) { emit dataChanged(index(row), index(row), roles); }

void ThumbnailModel::setEdited(const QString& path, bool edited) {
    const int row = rowOf(path);
    if (row < 0) return;
    m_entries[static_cast<std::size_t>(row)].edited = edited;
    announce(row, {EditedRole});
}

void ThumbnailModel::renew(const QString& path) {
    const int row = rowOf(path);
    if (row < 0) return;
    if (path == m_making) m_again = true;
    m_entries[static_cast<std::size_t>(row)].isOld = true;
    m_entries[static_cast<std::size_t>(row)].failure.clear();
    announce(row, {Qt::DecorationRole, Qt::ToolTipRole, FailedRole});
}

int ThumbnailModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_entries.size());
}

QVariant ThumbnailModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) return {};
    const Entry& entry = m_entries[static_cast<std::size_t>(index.row())];
    switch (role) {
        case Qt::DisplayRole: return QFileInfo(entry.path).fileName();
        case Qt::DecorationRole: {
            const QImage* image = m_images.object(entry.path);
            const QVariant shown = image ? QVariant(*image) : QVariant();
            if (entry.failure.isEmpty() && (!image || !entry.edited || entry.isOld)) ask(entry.path);
            return shown;
        }
        case Qt::ToolTipRole:
            return withoutMarkup(entry.failure.isEmpty() ? QDir::toNativeSeparators(entry.path) : entry.failure);
        case Qt::AccessibleDescriptionRole:
            if (!entry.failure.isEmpty()) return entry.failure;
            return entry.edited.value_or(false) ? tr("edited") : QString();
        case PathRole: return entry.path;
        case FailedRole: return !entry.failure.isEmpty();
        case EditedRole: return entry.edited.value_or(false);
        default: return {};
    }
}

void ThumbnailModel::ask(const QString& path) const {
    if (path == m_making || m_asked.contains(path)) return;
    m_asked.append(path);
    if (m_asked.size() > kMostAsked) m_asked.removeFirst();
    const_cast<ThumbnailModel*>(this)->makeNext();
}

void ThumbnailModel::makeNext() {
    if (!m_making.isEmpty() || m_asked.isEmpty()) return;
    m_making = m_asked.takeFirst();
    m_pool.start([this, path = m_making] {
        standBack(Background::tiles);
        const std::optional<photo::Settings> settings = settingsOf(path, m_settingsOf);
        const ThumbnailKey key = ThumbnailCache::keyOf(path, settings.value_or(photo::Settings()));
        Result result{path, m_cache.find(key), {}, settings != photo::Settings()};
        try {
            if (result.image.isNull()) {
                result.image = makeThumbnail(path, kLongEdge, settings.value_or(photo::Settings()), &m_work);
                m_cache.store(key, result.image);
            }
        } catch (const std::exception& error) {
            result.failure = fileName(std::string(error.what()));
        }
        QMetaObject::invokeMethod(this, [this, result] { take(result); });
    });
}

void ThumbnailModel::take(const Result& result) {
    m_making.clear();
    if (std::exchange(m_again, false)) {
        ask(result.path);
        return;
    }
    const int row = rowOf(result.path);
    if (row >= 0) {
        Entry& entry = m_entries[static_cast<std::size_t>(row)];
        entry.failure = result.failure;
        entry.isOld = false;
        if (!entry.edited) entry.edited = result.edited;
        if (result.failure.isEmpty())
            m_images.insert(result.path, new QImage(result.image), result.image.sizeInBytes() >> 10);
        announce(row, {Qt::DecorationRole, Qt::ToolTipRole, FailedRole, EditedRole});
    }
    makeNext();
}

}  // namespace kestrova::studio
