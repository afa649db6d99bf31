#pragma once

// Helpers for the tests and benchmarks that start real programs on the desktop session: waiting
// on other processes, a sound server of a test's own, and the quillon program itself.
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "TestApplication.h"

namespace quillon::testing {

// Checks `condition` every 20 ms until it holds or `timeout` passes; for other processes' events.
template <class Condition>
bool pollUntil(Condition condition, std::chrono::milliseconds timeout = std::chrono::seconds(30)) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

// A PulseAudio server of a test's own in `folder`, made like the session's: the sinks "speakers"
// and "microphone", whose monitor is the default source. Killing it leaves the session's server
// to the tests after.
class PrivateSoundServer {
public:
    explicit PrivateSoundServer(const std::filesystem::path& folder)
        : address_("unix:" + (folder / "native").string()) {
        std::filesystem::create_directories(folder);
        std::ofstream(folder / "default.pa")
            << "load-module module-native-protocol-unix socket=" << (folder / "native").string()
            << " auth-anonymous=1\n"
               "load-module module-null-sink sink_name=speakers\n"
               "load-module module-null-sink sink_name=microphone\n"
               "load-module module-remap-source source_name=mic "
               "master=microphone.monitor\n"
               "set-default-sink speakers\nset-default-source mic\n";
        // Off the session bus, where the session's own server holds the sound server's name.
        server_ = std::make_unique<TestApplication>(
            "/usr/bin/env",
            std::vector<std::string>{"XDG_RUNTIME_DIR=" + folder.string(),
                                     "DBUS_SESSION_BUS_ADDRESS=unix:path=" + (folder / "no-bus").string(),
                                     "pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1",
                                     "--use-pid-file=no", "--disallow-exit", "-F",
                                     (folder / "default.pa").string()},
            true);
        const std::string info = "PULSE_SERVER=" + address_ + " pactl info >/dev/null 2>&1";
        ready_ = pollUntil([&] { return std::system(info.c_str()) == 0; });
    }

    bool ready() const { return ready_; }
    // Its PULSE_SERVER.
    const std::string& address() const { return address_; }

    // Plays silence into `sink` all along, as a quiet microphone does.
    void feedSilence(const std::string& sink) {
        feed_ = std::make_unique<TestApplication>(
            "/usr/bin/env",
            std::vector<std::string>{"PULSE_SERVER=" + address_, "/bin/sh", "-c",
                                     "exec pacat --playback --device=" + sink +
                                         " --raw --format=s16le --rate=48000 --channels=1 --latency-msec=20 "
                                         "</dev/zero"},
            true);
    }

    // Kills the server as a crash would; true once it has ended.
    bool kill() {
        server_->signal(SIGKILL);
        return server_->waitForExit(std::chrono::seconds(10)).has_value();
    }

private:
    std::string address_;
    std::unique_ptr<TestApplication> server_;
    std::unique_ptr<TestApplication> feed_;
    bool ready_ = false;
};

// The real quillon program (`binary`), started as a user would start it: its configuration in `home`/config
// with `settings` below [General] in its settings file, its runtime folder (where the running one
// keeps its lock) in `home`, and `environment` added to its own. Its log is read line by line.
class QuillonRun {
public:
    QuillonRun(const std::string& binary, const std::filesystem::path& home, const std::string& settings,
               const std::map<std::string, std::string>& environment = {}) {
        std::filesystem::create_directories(home / "config" / "Quillon");
        // A runtime folder others may read is refused by Qt, which then takes a shared one: the
        // one-Quillon lock there would meet the Quillon of another test session.
        std::filesystem::permissions(home, std::filesystem::perms::owner_all);
        std::ofstream(home / "config" / "Quillon" / "Quillon.conf") << "[General]\n" << settings;
        std::vector<std::string> command{"XDG_CONFIG_HOME=" + (home / "config").string(),
                                         "XDG_RUNTIME_DIR=" + home.string()};
        for (const auto& [name, value] : environment) command.push_back(name + "=" + value);
        command.push_back(binary);
        process_ = std::make_unique<TestApplication>("/usr/bin/env", command, true);
    }

    TestApplication& process() { return *process_; }
    int pid() const { return process_->pid(); }

    // Waits for a line of its log holding one of `texts`, reading past the lines before it; a line
    // read but not waited for yet still counts.
    bool waitForLog(std::initializer_list<std::string_view> texts,
                    std::chrono::milliseconds timeout = std::chrono::seconds(30)) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        const auto holdsOne = [&](const std::string& line) {
            return std::ranges::any_of(texts, [&](std::string_view text) { return line.contains(text); });
        };
        for (;;) {
            if (std::ranges::any_of(pending_, holdsOne)) {
                pending_.clear();
                return true;
            }
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (left <= std::chrono::milliseconds(0)) return false;
            if (auto line = process_->readLine(left)) {
                pending_.push_back(*line);
                seen_.push_back(*line);
            }
        }
    }
    bool waitForLog(std::string_view text, std::chrono::milliseconds timeout = std::chrono::seconds(30)) {
        return waitForLog({text}, timeout);
    }

    // Every line of its log read so far, and what it writes within half a second more: for the
    // message of a test that failed.
    const std::vector<std::string>& log() {
        while (auto line = process_->readLine(std::chrono::milliseconds(500))) seen_.push_back(*line);
        return seen_;
    }

private:
    std::unique_ptr<TestApplication> process_;
    std::vector<std::string> pending_;  // since the last line waited for
    std::vector<std::string> seen_;
};

}  // namespace quillon::testing
