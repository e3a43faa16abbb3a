#include "studio/widgets/preset_strip.h"

#include <QCoreApplication>
#include <QScrollBar>
#include <algorithm>

#include "photo/development.h"
#include "photo/read.h"
#include "studio/widgets/background.h"
#include "studio/widgets/photo_texts.h"
#include "studio/widgets/pixels.h"
#include "studio/widgets/tile_delegate.h"

namespace kestrova::studio {

namespace {

constexpr int kNarrowTile = 104, kInRow = 3;
constexpr int kSlack = 4;  // for what the list adds to its items

bool sameGeometry(const photo::Settings& a, const photo::Settings& b) {
    return a.rotate == b.rotate && a.straighten == b.straighten && a.crop == b.crop;
}

photo::Settings previewSettings(const photo::Adjustments& adjustments, const photo::Settings& settings) {
    photo::Settings preview = photo::Settings().placedAs(settings);
    static_cast<photo::Adjustments&>(preview) = adjustments;
    preview.size = PresetStrip::kLongEdge;
    return preview;
}

}  // namespace

PresetStrip::PresetStrip(QWidget* parent)
    : QListWidget(parent), m_tiles(new TileDelegate({92, 69}, this)), m_work(std::make_shared<photo::Control>()) {
    m_pool.setMaxThreadCount(1);
    setItemDelegate(m_tiles);
    setFlow(LeftToRight);
    setWrapping(true);
    setResizeMode(Adjust);
    setUniformItemSizes(true);
    setMouseTracking(true);
    setAccessibleName(tr("Presets"));
    auto* none = new QListWidgetItem(presetTitle(kNoPreset), this);
    none->setToolTip(tr("All sliders at rest"));
    none->setData(PathRole, QString());
    for (const photo::Preset& preset : photo::presets()) {
        auto* item = new QListWidgetItem(presetTitle(preset.name), this);
        item->setToolTip(QCoreApplication::translate("Preset", preset.tip.c_str()));
        item->setData(PathRole, QString::fromStdString(preset.name));
    }
    const auto choose = [this](const QListWidgetItem* item) { emit presetChosen(item->data(PathRole).toString()); };
    connect(this, &QListWidget::itemClicked, this, choose);
    connect(this, &QListWidget::itemActivated, this, choose);
}

PresetStrip::~PresetStrip() {
    m_work->cancel();
    m_pool.waitForDone();
}

QSize PresetStrip::sizeHint() const {
    const int height = m_tiles->tileSize(fontMetrics()).height();
    return {kInRow * kNarrowTile + kSlack + 2 * frameWidth() + verticalScrollBar()->sizeHint().width(),
            (count() + kInRow - 1) / kInRow * height + kSlack + 2 * frameWidth()};
}

QSize PresetStrip::minimumSizeHint() const { return {kNarrowTile, kNarrowTile}; }

// The width is shared as if the scroll bar were there always: its coming and going would move the tiles.
void PresetStrip::resizeEvent(QResizeEvent* event) {
    const int room = contentsRect().width() - verticalScrollBar()->sizeHint().width() - kSlack;
    const int columns = std::max(2, room / kNarrowTile);
    const int picture = std::max(24, room / columns - TileDelegate::frameWidth());
    m_tiles->setPicture({picture, picture * 3 / 4});
    scheduleDelayedItemsLayout();
    QListWidget::resizeEvent(event);
}

void PresetStrip::showChosen(const photo::Settings& settings) {
    const auto isChosen = [&](const photo::Settings& preset) {
        return static_cast<const photo::Adjustments&>(settings) == preset && settings.filter == preset.filter;
    };
    const std::vector<photo::Preset>& presets = photo::presets();
    int row = isChosen(photo::Settings()) ? 0 : -1;
    for (std::size_t i = 0; row < 0 && i < presets.size(); ++i)
        if (isChosen(presets[i].settings)) row = static_cast<int>(i) + 1;
    setCurrentRow(row);
}

PresetStrip::Work PresetStrip::begin() {
    m_work->cancel();
    m_work = std::make_shared<photo::Control>();
    return m_work;
}

void PresetStrip::clearPictures() {
    begin();
    for (int row = 0; row < count(); ++row) item(row)->setData(Qt::DecorationRole, {});
}

void PresetStrip::setPhotograph(const photo::Photograph& small, const photo::Settings& settings) {
    m_settings = settings;
    m_small = std::make_shared<Small>(Small{{}, small});
    start();
}

void PresetStrip::setFile(const QString& path, const photo::Settings& settings) {
    clearPictures();
    m_settings = settings;
    m_small = std::make_shared<Small>(Small{path, {}});
    start();
}

void PresetStrip::setGeometry(const photo::Settings& settings) {
    if (!m_small || sameGeometry(settings, m_settings)) return;
    m_settings = settings;
    start();
}

void PresetStrip::start() {
    m_pool.start([this, small = m_small, settings = m_settings, work = begin()] {
        standBack(Background::tiles);
        photo::ReadOptions options;
        options.cancel = work->flag();
        options.threads = 1;  // the view needs the others
        try {
            if (!small->photograph) small->photograph = photo::readPreview(fileName(small->path), kLongEdge, options);
            render(*small->photograph, settings, work);
        } catch (const std::exception&) {  // whoever shows the photograph says what is wrong with it
        }
    });
}

/// On the pool's thread.
void PresetStrip::render(const photo::Photograph& small, const photo::Settings& settings, const Work& work) {
    const auto show = [&](int row, const QImage& image) {
        QMetaObject::invokeMethod(this, [this, work, row, image] {
            if (work != m_work) return;
            item(row)->setData(Qt::DecorationRole, image);
            if (row == count() - 1) emit previewsReady();
        });
    };
    try {
        photo::Development::Options options;
        options.threads = 1;
        photo::Development development(small, options);
        photo::Development::Output output;
        output.profile = photo::Profile::srgb();
        std::vector<photo::Adjustments> all = {{}};
        for (const photo::Preset& preset : photo::presets()) all.push_back(preset.settings);
        for (std::size_t i = 0; i < all.size(); ++i) {
            development.set(previewSettings(all[i], settings));
            show(static_cast<int>(i), toImage(development.render(output, work.get()).pixels));
        }
    } catch (const std::exception&) {  // cancelled, or no memory: the tiles stay without pictures
    }
}

}  // namespace kestrova::studio
