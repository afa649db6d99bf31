// The composition root: the one place that knows every concrete adapter and wires them into the
// core. The objects below live as long as the program; they are destroyed in reverse order.
#include <QApplication>
#include <QIcon>
#include <QStandardPaths>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "app/AppDelegate.h"
#include "app/DictationServices.h"
#include "app/FileHandoff.h"
#include "app/ImportedMediaTranscriber.h"
#include "app/LiveTranscriptServices.h"
#include "app/SingleInstanceGuard.h"
#include "app/TranscribeCommand.h"
#include "app/UnixSignalWatcher.h"
#include "core/codex/TranscriptCleanupService.h"
#include "core/hotkey/CapsLockRemapManager.h"
#include "core/hotkey/HotkeyCapture.h"
#include "core/hotkey/HotkeyManager.h"
#include "core/insertion/AccessibilityPermission.h"
#include "core/logging/LogService.h"
#include "core/settings/SettingsManager.h"
#include "platform/linux/accessibility/AccessibilityAtspi.h"
#include "platform/linux/apps/RunningApplicationsX11.h"
#include "platform/linux/base/QtMainScheduler.h"
#include "platform/linux/base/SerialQueue.h"
#include "platform/linux/base/StderrLogOutput.h"
#include "platform/linux/base/SystemWallClock.h"
#include "platform/linux/clipboard/PasteboardQt.h"
#include "platform/linux/desktop/UrlOpenerXdg.h"
#include "platform/linux/hotkey/HotkeysX11.h"
#include "platform/linux/hotkey/KeyboardMappingX11.h"
#include "platform/linux/hotkey/SessionEventsLogind.h"
#include "platform/linux/process/ChildProcessPosix.h"
#include "platform/linux/process/HostEnvironmentPosix.h"
#include "platform/linux/settings/KeyValueStoreQSettings.h"
#include "platform/linux/settings/LoginItemXdgAutostart.h"
#include "ui/TrayStatusItemQt.h"
#include "ui/live/LiveAudioSaveDialogQt.h"
#include "ui/live/LiveTranscriptPanelQt.h"
#include "ui/popover/PopoverQt.h"
#include "ui/settings/SettingsWindowQt.h"
#include "ui/transcript/MediaFileDialog.h"
#include "ui/transcript/TranscriptWindowsQt.h"

namespace {

using namespace quillon;

// QUILLON_LOG_LEVEL=debug shows the debug lines too; "error" shows errors only.
LogLevel logLevelFromEnvironment() {
    const char* value = std::getenv("QUILLON_LOG_LEVEL");
    const std::string_view level = value != nullptr ? value : "";
    if (level == "debug") return LogLevel::debug;
    if (level == "error") return LogLevel::error;
    return LogLevel::info;
}

std::filesystem::path standardLocation(QStandardPaths::StandardLocation location) {
    return QStandardPaths::writableLocation(location).toStdString();
}

// QUILLON_CODEX_MODEL_PROVIDER: a Responses-compatible server (its base address, ending in /v1)
// that the Codex child uses instead of OpenAI's; for development without an account.
std::optional<std::string> codexModelProviderFromEnvironment() {
    const char* value = std::getenv("QUILLON_CODEX_MODEL_PROVIDER");
    if (value == nullptr || *value == '\0') return std::nullopt;
    return std::string(value);
}

}  // namespace

int main(int argc, char** argv) {
    // `quillon transcribe FILE...` works without a display or a sound server: it runs before any
    // of the desktop is touched.
    if (argc >= 2 && std::string_view(argv[1]) == "transcribe")
        return runTranscribeCommand(argc - 2, argv + 2);

    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Quillon"));
    QApplication::setApplicationVersion(QStringLiteral(QUILLON_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("quillon"));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/icons/quillon.svg")));
    // The tray icon is the program's surface; closing a window never ends it.
    QApplication::setQuitOnLastWindowClosed(false);

    SerialQueue logQueue("com.lanternmoth.Quillon.logging");
    StderrLogOutput logOutput(logLevelFromEnvironment());
    SystemWallClock wallClock;
    auto log = std::make_shared<LogService>(logQueue, logOutput, wallClock);
    Logger logger(log, LogCategory::app);

    // A second launch does nothing but hand over the files it was given (`quillon FILE...`, the
    // desktop's "Open With"): the running Quillon opens their windows.
    const std::filesystem::path runtimeDirectory = standardLocation(QStandardPaths::RuntimeLocation);
    const auto filesToOpen = FileHandoff::filesFromArguments(argc, argv);
    SingleInstanceGuard singleInstance(runtimeDirectory);
    FileHandoff fileHandoff(runtimeDirectory);
    if (!singleInstance.acquire()) {
        if (!filesToOpen.empty()) {
            logger.info("Quillon is already running; handing the files over to it");
            return fileHandoff.handOff(filesToOpen);
        }
        logger.info("Quillon is already running; this launch does nothing");
        return EXIT_SUCCESS;
    }

    QtMainScheduler mainScheduler(&application);
    const std::filesystem::path configHome = standardLocation(QStandardPaths::GenericConfigLocation);
    KeyValueStoreQSettings settingsStore(configHome, Logger(log, LogCategory::settings));
    LoginItemXdgAutostart loginItem(configHome, QCoreApplication::applicationFilePath().toStdString());
    SettingsManager settings(settingsStore, loginItem, Logger(log, LogCategory::settings));

    PasteboardQt pasteboard;
    TrayStatusItemQt statusItem(Logger(log, LogCategory::app));
    RunningApplicationsX11 runningApplications;
    AccessibilityAtspi accessibility(runningApplications, Logger(log, LogCategory::insertion));
    UrlOpenerXdg urlOpener;
    AccessibilityPermission accessibilityPermission(accessibility, urlOpener, Logger(log, LogCategory::app));
    // The global hotkey and the Caps Lock remap; a changed hotkey is grabbed again at once.
    HotkeysX11 keyEvents(mainScheduler, Logger(log, LogCategory::hotkey));
    KeyboardMappingX11 keyboardMapping(mainScheduler, Logger(log, LogCategory::hotkey));
    SessionEventsLogind sessionEvents(mainScheduler, Logger(log, LogCategory::hotkey));
    HotkeyManager hotkeyManager(mainScheduler, keyEvents, settings, Logger(log, LogCategory::hotkey));
    CapsLockRemapManager capsLockRemap(keyboardMapping, sessionEvents, settings,
                                       Logger(log, LogCategory::hotkey));
    settings.onChange = [&hotkeyManager] { hotkeyManager.settingsDidChange(); };

    // Dictation: the microphone, speech, insertion, the indicator and the sounds.
    DictationServices dictation({mainScheduler, wallClock, settings, pasteboard, accessibility,
                                 runningApplications, accessibilityPermission, hotkeyManager, log});

    // The transcript windows of imported files. AI cleanup: each run starts a Codex child of its
    // own on this queue.
    SerialQueue codexQueue("com.lanternmoth.Quillon.codex-cleanup");
    HostEnvironmentPosix hostEnvironment;
    const auto localModelProvider = codexModelProviderFromEnvironment();
    if (localModelProvider) {
        logger.info("Development mode: Codex uses the model provider at " + *localModelProvider +
                    " and needs no ChatGPT account for summaries and AI cleanup");
    }
    TranscriptCleanupService cleanupService(codexQueue, [&codexQueue, &hostEnvironment, &localModelProvider] {
        return CodexAppServerClient::make({codexQueue, [] { return std::make_unique<ChildProcessPosix>(); },
                                           hostEnvironment, localModelProvider});
    });
    TranscriptWindowsQt transcriptWindows(
        mainScheduler, pasteboard,
        [&cleanupService](std::string transcript, std::string context,
                          CodexCompletion<std::string> completion) {
            return cleanupService.clean(std::move(transcript), std::move(context), std::move(completion));
        },
        Logger(log, LogCategory::app));
    ImportedMediaTranscriber importedMedia(dictation.transcriptionService(), transcriptWindows,
                                           mainScheduler);
    dictation.setImportedMediaTranscriber(importedMedia);

    AppDelegate delegate(mainScheduler, statusItem, pasteboard, accessibilityPermission, hotkeyManager,
                         capsLockRemap, dictation, log, [] { QCoreApplication::quit(); });

    // The session ends programs with SIGTERM, a terminal with SIGINT (Control-C) or SIGHUP (closed).
    UnixSignalWatcher signalWatcher({SIGTERM, SIGINT, SIGHUP}, [&logger](int number) {
        logger.info(std::string("Received SIG") + sigabbrev_np(number) + ", quitting");
        QCoreApplication::quit();
    });
    QObject::connect(&application, &QCoreApplication::aboutToQuit,
                     [&delegate] { delegate.applicationWillTerminate(); });

    HotkeyCapture hotkeyCapture(mainScheduler, settings, capsLockRemap, hotkeyManager,
                                Logger(log, LogCategory::hotkey));
    SettingsWindowQt settingsWindow(settings, dictation.audioDevices(), hotkeyCapture);
    delegate.setSettingsWindow(&settingsWindow);
    statusItem.onOpenSettings = [&delegate] { delegate.showSettingsWindowManually(); };

    delegate.applicationDidFinishLaunching();
    MenuBarController& menuBar = *delegate.menuBarController();
    dictation.coordinator()->setTranscriptWindows(&transcriptWindows);

    // Files reach transcription the way a drop does: all of them media files, or none is taken.
    const auto openFiles = [&menuBar](const std::vector<std::filesystem::path>& files) -> std::string {
        if (files.empty()) return {};
        menuBar.handleDroppedFiles(files);
        const bool refused =
            !menuBar.isSupportedMedia || !std::ranges::all_of(files, menuBar.isSupportedMedia);
        return refused ? std::string(MenuBarController::unsupportedFileMessage) : std::string();
    };
    transcriptWindows.onFilesDropped = openFiles;
    statusItem.onTranscribeFile = [openFiles] { openFiles(chooseMediaFiles()); };
    std::string handoffError;
    if (!fileHandoff.listen(openFiles, handoffError)) {
        logger.error("Files given to another launch cannot reach this one: " + handoffError);
    }
    if (!filesToOpen.empty()) mainScheduler.post([openFiles, filesToOpen] { openFiles(filesToOpen); });

    // The live transcript: its capture, speech over dictation's recogniser, the Codex summary and
    // cleanup, and its panel, made on the first showing.
    LiveAudioSaveDialogQt saveDialog;
    LiveTranscriptServices live({
        .main = mainScheduler,
        .preferences = settingsStore,
        .status = menuBar,
        .activity = dictation.liveTranscriptActivity(),
        .speech = dictation.speechSupport(),
        .converters = dictation.pcmConverters(),
        .temporaryFiles = dictation.temporaryFiles(),
        .urls = urlOpener,
        .host = hostEnvironment,
        .saveDialog = saveDialog,
        .clock = wallClock,
        .log = log,
        .isDictationRecording = [&dictation] { return dictation.isRecording(); },
        .makeWindow = [&](LiveTranscriptServices& services) -> std::unique_ptr<LiveTranscriptWindow> {
            auto panel = std::make_unique<LiveTranscriptPanelQt>(
                services.coordinator(), services.sourceCatalog(), services.codexCapability(),
                LiveTranscriptPanelQt::Services{pasteboard, urlOpener, settingsStore, [&dictation] {
                                                    dictation.microphonePermission().openMicrophoneSettings();
                                                }});
            saveDialog.setTranscriptWindow(panel.get());
            return panel;
        },
        .localModelProvider = localModelProvider,
    });
    LiveTranscriptCoordinator& liveTranscript = live.coordinator();
    // A file's AI cleanup takes the context the user gave the live transcript's summary.
    transcriptWindows.additionalContext = [&liveTranscript] { return liveTranscript.model().summaryContext(); };
    QObject::connect(&application, &QCoreApplication::aboutToQuit, [&live] { live.shutdown(); });

    // The popover, opened by a click on the tray icon.
    MicrophonePermission& microphonePermission = dictation.microphonePermission();
    PopoverQt popover({
        .controller = menuBar,
        .microphone = microphonePermission,
        .accessibility = accessibilityPermission,
        .isLiveTranscriptActive = [&liveTranscript] { return liveTranscript.isActive(); },
        .toggleLiveTranscript =
            [&liveTranscript] {
                if (liveTranscript.isActive()) {
                    liveTranscript.stop();
                } else {
                    liveTranscript.start();
                }
            },
        .openSettings = [&delegate] { delegate.showSettingsWindowManually(); },
        .quit = [] { QCoreApplication::quit(); },
    });
    statusItem.onActivate = [&popover, &statusItem] { popover.toggle(statusItem.trayIcon().geometry()); };
    const auto refreshPopover = [&popover] {
        if (popover.isPopoverShown()) popover.refresh();
    };
    menuBar.onStateChanged = refreshPopover;
    menuBar.onLastTranscriptionChanged = refreshPopover;
    liveTranscript.onActiveChange = refreshPopover;
    microphonePermission.onChange = [refreshPopover](bool) { refreshPopover(); };
    accessibilityPermission.onChange = [refreshPopover](bool) { refreshPopover(); };

    return QApplication::exec();
}
