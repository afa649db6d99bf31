#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/base/Scheduler.h"
#include "core/base/TimerHandle.h"
#include "core/base/Uuid.h"
#include "core/base/WeakOwner.h"
#include "core/dictation/DictationStatus.h"
#include "core/dictation/InsertionDelivery.h"
#include "core/insertion/TextInsertion.h"
#include "core/logging/Logger.h"
#include "core/ports/Pasteboard.h"

namespace quillon {

// Decides when each finalised phrase of a dictation goes into a field. While a session records,
// its text goes only into the field bound at the start and waits while that field lacks the
// focus; a 0.25-second focus monitor retries. After the recording, waiting text goes to whatever
// field has the focus; what cannot be inserted goes to the clipboard. Older sessions' text always
// goes first.
//
// Main thread only.
class InsertionDeliveryQueue {
public:
    static constexpr std::chrono::milliseconds focusMonitorInterval{250};

    // Finished transcripts go to `status`; text that no field takes goes to `pasteboard`.
    InsertionDeliveryQueue(Scheduler& main, TextInsertion& textInsertion, Pasteboard& pasteboard,
                           DictationStatus& status, Logger logger);

    // Opens a recording delivery for a new session, bound to `target`.
    void begin(const Uuid& sessionID, FocusedTextTarget target);
    // Drops a delivery without delivering anything (a recording that never started).
    void discard(const Uuid& sessionID);
    // From now on the session's text goes to whatever field has the focus.
    void markRecordingComplete(const Uuid& sessionID);

    bool contains(const Uuid& sessionID) const { return deliveries_.contains(sessionID); }
    std::size_t size() const { return deliveries_.size(); }
    const InsertionDelivery* delivery(const Uuid& sessionID) const;

    void insertFinalizedPhrase(const std::string& phrase, const std::string& accumulatedText, const Uuid& sessionID);
    void flushPendingInsertions();
    void ensureFocusMonitor();
    void finishInsertionDelivery(const Uuid& sessionID, const std::string& transcript);

    bool isFocusMonitorRunning() const { return focusMonitor_.isValid(); }

private:
    bool hasPendingText() const;
    bool boundFieldHasFocus(const FocusedTextTarget& target);
    void scheduleFocusMonitorTick();
    void focusMonitorTick();

    Scheduler& main_;
    TextInsertion& textInsertion_;
    Pasteboard& pasteboard_;
    DictationStatus& status_;
    Logger logger_;
    std::unordered_map<Uuid, InsertionDelivery> deliveries_;
    std::vector<Uuid> order_;  // oldest session first
    TimerHandle focusMonitor_;  // valid while the monitor runs
    WeakOwner weakOwner_;  // last: timers drop once the queue is gone
};

}  // namespace quillon
