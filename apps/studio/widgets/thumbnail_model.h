#pragma once

#include <QAbstractListModel>
#include <QCache>
#include <QThreadPool>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "studio/widgets/thumbnail_cache.h"

namespace kestrova::studio {

/// Photographs, by their paths, with thumbnails, as their settings have them, that are made in the background once a
/// view asks for them; what has been scrolled past in between is left out. The roles are those of tile_delegate.h. Its
/// destructor cancels what is under way.
class ThumbnailModel : public QAbstractListModel {
    Q_OBJECT

public:
    static constexpr int kLongEdge = 256;  ///< of a thumbnail, in pixels

    /// Finds the settings of a photograph, on any thread; may throw.
    using SettingsReader = std::function<photo::Settings(const std::string&)>;

    explicit ThumbnailModel(QObject* parent = nullptr) : ThumbnailModel(ThumbnailCache(), parent) {}
    ThumbnailModel(ThumbnailCache cache, QObject* parent);
    ~ThumbnailModel() override;

    /// The photographs of a folder, by name; without those of folders in it. May be called on any thread.
    static QStringList photographsIn(const QString& folder);

    /// In place of the reading of sidecars; before the first thumbnail is asked for. What it needs outlives this.
    void setSettingsReader(const SettingsReader& reader) { m_settingsOf = reader; }

    void setPaths(const QStringList& paths);
    QStringList paths() const;
    /// The row of a path, -1 without.
    int rowOf(const QString& path) const;
    void setEdited(const QString& path, bool edited);
    /// Makes the thumbnail anew: the file or its sidecar has changed.
    void renew(const QString& path);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    struct Entry {
        QString path;
        QString failure;
        std::optional<bool> edited{};  // not looked up yet
        bool isOld = false;            // its thumbnail is shown until there is a new one
    };
    struct Result {
        QString path;
        QImage image;
        QString failure;
        bool edited = false;
    };

    void ask(const QString& path) const;
    void makeNext();
    void take(const Result& result);
    void announce(int row, const QList<int>& roles);

    std::vector<Entry> m_entries;
    QHash<QString, int> m_rows;
    QCache<QString, QImage> m_images;
    mutable QStringList m_asked;  // the next one first
    SettingsReader m_settingsOf;
    QString m_making;
    bool m_again = false;    // what is being made has changed meanwhile
    ThumbnailCache m_cache;  // used by the pool's thread alone
    photo::Control m_work;
    QThreadPool m_pool;
};

}  // namespace kestrova::studio
