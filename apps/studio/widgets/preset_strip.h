#pragma once

#include <QListWidget>
#include <QThreadPool>
#include <memory>
#include <optional>

#include "photo/control.h"
#include "photo/photograph.h"
#include "photo/settings.h"

namespace kestrova::studio {

class TileDelegate;

/// The presets of the photo layer as tiles, each with the photograph as it would be, in columns that fill the width.
/// The first one asks for nothing.
class PresetStrip : public QListWidget {
    Q_OBJECT

public:
    static constexpr int kLongEdge = 192;  ///< of a preview, in pixels

    explicit PresetStrip(QWidget* parent = nullptr);
    ~PresetStrip() override;

    /// Renders the previews in the background, with the crop and the rotation of `settings`. A small version of the
    /// photograph will do: `photo::readPreview`. What was under way for another one is dropped.
    void setPhotograph(const photo::Photograph& small, const photo::Settings& settings = {});
    /// Likewise of a file, which is read in the background; there are no pictures of one that cannot be read.
    void setFile(const QString& path, const photo::Settings& settings);
    /// Renders the previews anew if the crop or the rotation is another one; those that are there stay until then.
    void setGeometry(const photo::Settings& settings);
    /// Highlights the preset that these settings are; none once a slider has moved.
    void showChosen(const photo::Settings& settings);
    /// Without pictures.
    void clearPictures();

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    /// `photo::preset(name)`, empty for no preset.
    void presetChosen(const QString& name);
    void previewsReady();

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    using Work = std::shared_ptr<photo::Control>;
    struct Small {
        QString path;
        std::optional<photo::Photograph> photograph;  ///< of the pool's thread; once it is read
    };

    Work begin();
    void start();
    void render(const photo::Photograph& small, const photo::Settings& settings, const Work& work);

    TileDelegate* m_tiles;
    Work m_work;
    std::shared_ptr<Small> m_small;
    photo::Settings m_settings;  ///< whose crop and rotation the previews have
    QThreadPool m_pool;
};

}  // namespace kestrova::studio
