#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <optional>

namespace quillon::testing {

struct ProcessResult {
    int exitCode = -1;
    QByteArray standardOutput;
    QByteArray standardError;
};

// Runs a program to its end while this process's event loop keeps turning, so that the program
// can talk back to this process (ask it for the clipboard, for example). Absent when the program
// would not start or did not end before `deadline`.
std::optional<ProcessResult> runWhileServingEvents(const QString& program, const QStringList& arguments,
                                                   std::chrono::milliseconds deadline = std::chrono::seconds(20));

// Turns the event loop until `condition` holds or `deadline` passes; returns the condition. The
// condition is looked at every 20 ms, as it may depend on other processes (the X server, a tray).
bool serveEventsUntil(const std::function<bool()>& condition,
                      std::chrono::milliseconds deadline = std::chrono::seconds(20));

}  // namespace quillon::testing
