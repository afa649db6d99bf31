#include "core/dictation/InsertionDeliveryQueue.h"

#include <algorithm>

#include "core/base/Unicode.h"
#include "core/text/TranscriptClipboard.h"
#include "core/text/TranscriptJoining.h"

namespace quillon {

InsertionDeliveryQueue::InsertionDeliveryQueue(Scheduler& main, TextInsertion& textInsertion, Pasteboard& pasteboard,
                                               DictationStatus& status, Logger logger)
    : main_(main), textInsertion_(textInsertion), pasteboard_(pasteboard), status_(status), logger_(std::move(logger)) {}

void InsertionDeliveryQueue::begin(const Uuid& sessionID, FocusedTextTarget target) {
    deliveries_[sessionID] = Entry{InsertionDelivery{std::move(target), {}, true}, false};
    order_.push_back(sessionID);
}

void InsertionDeliveryQueue::discard(const Uuid& sessionID) {
    deliveries_.erase(sessionID);
    std::erase(order_, sessionID);
}

bool InsertionDeliveryQueue::contains(const Uuid& sessionID) const {
    auto found = deliveries_.find(sessionID);
    return found != deliveries_.end() && !found->second.finished;
}

void InsertionDeliveryQueue::markRecordingComplete(const Uuid& sessionID) {
    auto found = deliveries_.find(sessionID);
    if (found != deliveries_.end()) found->second.delivery.isRecording = false;
}

const InsertionDelivery* InsertionDeliveryQueue::delivery(const Uuid& sessionID) const {
    auto found = deliveries_.find(sessionID);
    return found == deliveries_.end() ? nullptr : &found->second.delivery;
}

void InsertionDeliveryQueue::insertFinalizedPhrase(const std::string& phrase, const std::string& accumulatedText,
                                                   const Uuid& sessionID) {
    auto found = deliveries_.find(sessionID);
    // The session has ended: a late phrase is dropped.
    if (found == deliveries_.end() || found->second.finished) return;
    const std::string_view trimmed = unicode::trimmed(phrase);
    if (trimmed.empty()) return;

    // The whole text so far, not the phrase, becomes the last transcription.
    status_.addTranscription(accumulatedText);
    InsertionDelivery& delivery = found->second.delivery;
    delivery.pendingText = appendingTranscript(delivery.pendingText, trimmed);
    flushPendingInsertions();
    ensureFocusMonitor();
}

void InsertionDeliveryQueue::flushPendingInsertions() {
    if (inFlight_) {
        // The running walk is handing a text over; walk once more after it.
        flushAgain_ = true;
        return;
    }
    walk_ = order_;
    walkFrom(0);
}

void InsertionDeliveryQueue::walkFrom(std::size_t index) {
    for (; index < walk_.size(); ++index) {
        const Uuid sessionID = walk_[index];
        auto found = deliveries_.find(sessionID);
        if (found == deliveries_.end()) continue;
        InsertionDelivery& delivery = found->second.delivery;
        if (delivery.pendingText.empty()) {
            removeIfDrained(sessionID);
            continue;
        }
        // While recording, text goes only into the bound field; the worker checks the focus.
        std::optional<FocusedTextTarget> onlyInto;
        if (delivery.isRecording) onlyInto = delivery.target;
        std::string text = std::move(delivery.pendingText);
        delivery.pendingText.clear();
        inFlight_ = sessionID;
        const bool finished = found->second.finished;
        textInsertion_.insertText(
            text, std::move(onlyInto),
            weakOwner_.weakly([this, sessionID, index, text, finished](const TextInsertion::InsertionResult& result) {
                delivered(sessionID, index, text, finished, result);
            }));
        return;
    }
    walk_.clear();
    if (flushAgain_) {
        flushAgain_ = false;
        flushPendingInsertions();
        return;
    }
    ensureFocusMonitor();
}

void InsertionDeliveryQueue::delivered(const Uuid& sessionID, std::size_t index, std::string text, bool finished,
                                       const TextInsertion::InsertionResult& result) {
    inFlight_.reset();
    if (result && *result == InsertionOutcome::focusElsewhere) {
        // Back in front of whatever was said meanwhile; a session that has ended meanwhile takes
        // it to the focused field on its next turn.
        if (auto found = deliveries_.find(sessionID); found != deliveries_.end()) {
            std::string& pending = found->second.delivery.pendingText;
            pending = pending.empty() ? std::move(text) : appendingTranscript(text, pending);
            // Its end came while the text was out: go round once more.
            if (found->second.finished) flushAgain_ = true;
        }
    } else if (result) {
        logger_.info(finished ? "Inserted pending transcription text into the field focused at recording completion"
                              : "Inserted finalized transcription text");
    } else {
        copyTranscriptToClipboard(pasteboard_, text, logger_);
        logger_.error((finished ? "Could not insert pending transcription text at recording completion; copied it "
                                  "to the clipboard: "
                                : "Could not insert finalized transcription text; copied it to the clipboard: ") +
                      description(result.error()));
    }
    removeIfDrained(sessionID);
    walkFrom(index + 1);
}

void InsertionDeliveryQueue::removeIfDrained(const Uuid& sessionID) {
    auto found = deliveries_.find(sessionID);
    if (found != deliveries_.end() && found->second.finished && found->second.delivery.pendingText.empty()) {
        discard(sessionID);
    }
}

bool InsertionDeliveryQueue::hasPendingText() const {
    return std::ranges::any_of(deliveries_,
                               [](const auto& entry) { return !entry.second.delivery.pendingText.empty(); });
}

void InsertionDeliveryQueue::ensureFocusMonitor() {
    if (focusMonitor_.isValid()) return;
    if (!hasPendingText()) return;
    scheduleFocusMonitorTick();
}

void InsertionDeliveryQueue::scheduleFocusMonitorTick() {
    focusMonitor_ = main_.postAfter(focusMonitorInterval, weakOwner_.weakly([this] { focusMonitorTick(); }));
}

void InsertionDeliveryQueue::focusMonitorTick() {
    // The walk started here calls ensureFocusMonitor() when it ends, which starts the next tick
    // while text still waits.
    focusMonitor_ = TimerHandle();
    flushPendingInsertions();
}

void InsertionDeliveryQueue::finishInsertionDelivery(const Uuid& sessionID, const std::string& transcript) {
    auto found = deliveries_.find(sessionID);
    if (found == deliveries_.end() || found->second.finished) return;

    // The final transcript is only remembered; what goes into the field is what still waits.
    const std::string_view trimmed = unicode::trimmed(transcript);
    if (!trimmed.empty()) status_.addTranscription(std::string(trimmed));

    // What waits goes to the field focused now, in its turn; then the delivery is gone.
    found->second.finished = true;
    found->second.delivery.isRecording = false;
    if (found->second.delivery.pendingText.empty() && inFlight_ != sessionID) {
        discard(sessionID);
        return;
    }
    flushPendingInsertions();
}

}  // namespace quillon
