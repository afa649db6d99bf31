#pragma once

#include <chrono>
#include <memory>
#include <optional>
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
// Insertion is asynchronous: one text at a time is with TextInsertion, and the next waits for
// its completion, so texts land in order. A text handed over while its field had lost the focus
// comes back and waits again, ahead of anything said meanwhile. An ended session's delivery
// lives on until its last text has been handed over.
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

    // Whether the session's delivery is open (not yet finished).
    bool contains(const Uuid& sessionID) const;
    // Deliveries still held, finished ones that still hand over text included.
    std::size_t size() const { return deliveries_.size(); }
    const InsertionDelivery* delivery(const Uuid& sessionID) const;

    void insertFinalizedPhrase(const std::string& phrase, const std::string& accumulatedText, const Uuid& sessionID);
    void flushPendingInsertions();
    void ensureFocusMonitor();
    void finishInsertionDelivery(const Uuid& sessionID, const std::string& transcript);

    bool isFocusMonitorRunning() const { return focusMonitor_.isValid(); }
    bool isInserting() const { return inFlight_.has_value(); }

private:
    struct Entry {
        InsertionDelivery delivery;
        bool finished = false;  // ended: its waiting text goes out, then the entry goes
    };

    bool hasPendingText() const;
    void walkFrom(std::size_t index);
    void delivered(const Uuid& sessionID, std::size_t index, std::string text, bool finished,
                   const TextInsertion::InsertionResult& result);
    void removeIfDrained(const Uuid& sessionID);
    void scheduleFocusMonitorTick();
    void focusMonitorTick();

    Scheduler& main_;
    TextInsertion& textInsertion_;
    Pasteboard& pasteboard_;
    DictationStatus& status_;
    Logger logger_;
    std::unordered_map<Uuid, Entry> deliveries_;
    std::vector<Uuid> order_;  // oldest session first
    std::vector<Uuid> walk_;  // the order when the running flush began
    std::optional<Uuid> inFlight_;  // the session whose text is with TextInsertion
    bool flushAgain_ = false;  // a flush was asked for while one ran
    TimerHandle focusMonitor_;  // valid while the monitor runs
    WeakOwner weakOwner_;  // last: timers drop once the queue is gone
};

}  // namespace quillon
