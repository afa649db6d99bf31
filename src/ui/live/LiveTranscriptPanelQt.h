#pragma once

#include <QWidget>

#include <functional>
#include <optional>

#include "core/live/LiveTranscriptWindow.h"

class QLabel;
class QPushButton;

namespace quillon {

class CodexCapabilityModel;
class KeyValueStore;
class LiveSummarySidebar;
class LiveTranscriptCoordinator;
class LiveTranscriptPane;
class LiveTranscriptTitlebar;
class Pasteboard;
class SummaryDivider;
class SystemAudioSourceCatalog;
class UrlOpener;

// The live transcript's floating window: a titlebar of controls, the editable transcript and, when
// switched on, the running summary beside it with a divider to drag. It floats above the other
// windows and comes up without taking the keyboard focus from the application the user works in.
// It draws the coordinator's model and sends the user's commands to the coordinator; closing it
// hides it (the coordinator is told), and it is kept for the next showing.
//
// The window grows to the right by the sidebar's width when the summary opens, moving left where
// the screen ends, and gives exactly that width back when it closes. The sidebar's width is the
// user's, kept in the preferences under "liveTranscript.summarySidebarWidth". GUI thread only.
class LiveTranscriptPanelQt final : public QWidget, public LiveTranscriptWindow {
public:
    static constexpr const char* sidebarWidthKey = "liveTranscript.summarySidebarWidth";

    // What the window needs besides the live transcript's own objects.
    struct Services {
        Pasteboard& pasteboard;
        UrlOpener& urls;
        KeyValueStore& preferences;
        // Opens the desktop's sound settings, offered beside a failure of a system audio source.
        std::function<void()> openSoundSettings;
    };

    LiveTranscriptPanelQt(LiveTranscriptCoordinator& coordinator, SystemAudioSourceCatalog& catalog,
                          CodexCapabilityModel& capability, Services services, QWidget* parent = nullptr);
    ~LiveTranscriptPanelQt() override;

    void show() override;
    void setOnClose(std::function<void()> handler) override { onClose_ = std::move(handler); }

    // Redraws everything from the model now (model changes are gathered into one redraw per pass
    // of the event loop).
    void refresh();

    LiveTranscriptTitlebar* titlebar() const { return titlebar_; }
    LiveTranscriptPane* transcriptPane() const { return transcript_; }
    LiveSummarySidebar* summarySidebar() const { return summary_; }
    QLabel* banner() const { return bannerText_; }
    int summarySidebarWidth() const;

protected:
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void scheduleRefresh();
    void setSummarySidebarVisible(bool visible);
    void layoutSidebar();
    double storedSidebarWidth() const;
    void dragDivider(int translation);

    LiveTranscriptCoordinator& coordinator_;
    CodexCapabilityModel& capability_;
    Services services_;
    std::function<void()> onClose_;
    std::function<void()> previousModelObserver_;
    std::function<void()> previousCapabilityObserver_;

    LiveTranscriptTitlebar* titlebar_;
    QWidget* panes_;
    LiveTranscriptPane* transcript_;
    SummaryDivider* divider_;
    LiveSummarySidebar* summary_;
    QWidget* bannerBar_;
    QLabel* bannerText_;
    QPushButton* soundSettings_;

    double collapsedWidth_ = 500;
    std::optional<double> resizeStartWidth_;
    bool refreshPending_ = false;
    bool placed_ = false;
};

}  // namespace quillon
