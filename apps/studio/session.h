#pragma once

#include <QObject>
#include <QStringList>
#include <QThreadPool>
#include <QTimer>
#include <QUndoStack>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "studio/file_state.h"
#include "studio/history.h"
#include "studio/saver.h"

namespace kestrova::studio {

/// The photograph that is open and what has been done to it: settings, layers, history. Every change becomes a step of
/// the history and is on the disk a moment later, in the sidecar beside the photograph and in a history of this
/// program's; the photograph itself is only read, by others.
class Session : public QObject {
    Q_OBJECT

public:
    static constexpr int kWhole = -1;       ///< the target that is no layer
    static constexpr int kMostSteps = 500;  ///< of the history
    static constexpr int kSaveAfter = 200;  ///< milliseconds

    /// `dataFolder`: where histories are kept.
    explicit Session(const std::string& dataFolder, QObject* parent = nullptr);
    ~Session() override;

    /// Takes the settings from the sidecar and the history from the last time. What cannot be read is said by `message`
    /// and kept.
    void open(const std::string& photograph);
    /// Likewise, but reads in the background and waits for nothing: `opened` says when the photograph is open.
    void startOpening(const std::string& photograph);
    void close();
    bool isOpen() const { return !m_path.empty() && !m_isOpening; }
    /// Of the photograph that is open, or is being opened.
    const std::string& path() const { return m_path; }
    /// Its file before anything of it was read to open it.
    const FileState& fileState() const { return m_file; }
    /// Whether all that has been done to any photograph is on the disk.
    bool isAllSaved() { return !m_saveTimer.isActive() && m_saver.isAllWritten(); }
    /// Of any photograph: those of the open one, or what has been saved. Throws `photo::Error` for a sidecar that
    /// cannot be read.
    photo::Settings settingsOf(const std::string& photograph) { return settingsReader()(photograph); }
    /// What finds `settingsOf` as they are now on any thread, as long as this lives: it may read files.
    std::function<photo::Settings(const std::string&)> settingsReader();
    /// What finds, on any thread as long as this lives, what thumbnails show: as `settingsReader`, but of all
    /// photographs what has been saved or given to be saved by then.
    std::function<photo::Settings(const std::string&)> savedSettingsReader();
    /// Writes what is to be written, of photographs that have been open before, too, and waits for it; false if that
    /// failed.
    bool saveNow();

    const photo::Settings& settings() const { return *m_settings; }
    const SettingsPtr& settingsPtr() const { return m_settings; }
    QUndoStack* history() { return &m_history; }

    /// Changes between the two become one step, and are shown as soon as they can be.
    void beginGesture();
    void endGesture();
    /// Another number for each; changes when one ends, too.
    int gesture() const { return m_gesture; }
    bool isPainting() const { return m_inGesture && m_gesture == m_stroke; }
    void undo();
    void redo();
    /// A step of the history, unless nothing changes. Refuses, with a message, what is out of range.
    void change(const QString& text, const photo::Settings& next);

    /// The layer that sliders and brush act on, or `kWhole`.
    int target() const { return m_target; }
    void setTarget(int target);
    const photo::Adjustments& adjustments() const;
    void setValue(const photo::Slider& slider, float value);
    void setAdjustments(const QString& text, const photo::Adjustments& adjustments);
    void setFilter(photo::DetailFilter filter);
    void applyPreset(const photo::Preset& preset);
    /// All but rotation, straightening, crop and size.
    void paste(const photo::Settings& from);
    /// Likewise to photographs that need not be open: what is saved of those is read in the background, and each gets a
    /// step of its history. `pasted` says when all is done.
    void paste(const photo::Settings& from, const std::vector<std::string>& photographs);

    bool addLayer();  ///< and makes it the target; false if there are as many as there may be
    bool duplicateLayer(int layer);
    void removeLayer(int layer);
    void moveLayer(int from, int to);
    void renameLayer(int layer, const QString& name);
    void fillLayer(int layer);
    void clearLayer(int layer);
    void invertLayer(int layer);

    /// A stroke on the target, on a new layer if that is the whole photograph: one step. `brush` has no points; `erase`
    /// is what the person sees, also where the layer's mask is inverted. `pressure` scales the radius, 0 to 1.
    void beginStroke(const photo::Stroke& brush, const photo::Point& point, double pressure = 1);
    void extendStroke(const photo::Point& point, double pressure = 1);
    void endStroke();

    void rotate(int quarters);  ///< clockwise; the crop turns along
    void setCrop(const photo::Crop& crop);
    void setStraighten(double degrees);

signals:
    void opened();
    void closed();
    void settingsChanged(bool held);
    void targetChanged(int target);
    /// Of a photograph that is not open.
    void savedSettingsChanged(const std::string& photograph, const photo::Settings& settings);
    /// They are on the disk, of any photograph.
    void settingsSaved(const QString& photograph);
    /// They could not be written as they should, and are kept.
    void settingsNotSaved(const QString& photograph);
    /// To so many photographs; not to those whose settings cannot be read.
    void pasted(int count, QStringList unreadable);
    /// `details`: what a programmer would want to know.
    void message(QString text, QString details = {});

private:
    /// What is saved of a photograph.
    struct Saved {
        FileState file;
        History history;
        QString trouble, details;  ///< of a sidecar that cannot be read
    };

    Saved read(const std::string& photograph);
    void takeSaved(const Saved& saved);
    void apply(const StatePtr& state);
    void restore(const History& history);
    void setState(const StatePtr& state);
    History snapshot() const;
    void save();
    void keepTargetInRange();
    void aimAtLayerThatIsBack(const std::vector<photo::Layer>& before);
    void changeByStroke(const photo::Settings& next);
    void setMask(int layer, const QString& text, const photo::Mask& mask);

    // session_paste.cpp
    void startPaste(const std::string& photograph, const SettingsPtr& from);
    void takePaste(const std::string& photograph, const SettingsPtr& from, const std::optional<History>& history);
    bool pasteWaiting(const std::string& photograph, History& history);
    void finishPastes();
    void reportPastes();

    std::string m_path;
    FileState m_file;
    StatePtr m_state;
    SettingsPtr m_settings;  ///< of that state
    QUndoStack m_history;
    Saver m_saver;
    QTimer m_saveTimer;
    int m_target = kWhole;
    int m_gesture = 0;
    int m_stroke = -1;  ///< the gesture that is a stroke
    bool m_inGesture = false;
    bool m_painting = false;  ///< the stroke itself makes the change
    bool m_pushing = false;   ///< a new step, rather than one that is taken back or done again
    bool m_restoring = false;
    bool m_sidecarBroken = false;
    bool m_isOpening = false;
    bool m_isTidy = false;  ///< old histories have been removed
    int m_openings = 0;     ///< counts them: the newest wins
    QString m_trouble;      ///< that was said last
    QThreadPool m_reader;
    QThreadPool m_paster;
    std::map<std::string, SettingsPtr> m_pastes;  ///< by the photographs whose histories are still to be read
    int m_pasted = 0;
    QStringList m_unreadable;
    photo::Stroke m_brush;
};

}  // namespace kestrova::studio
