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
    deliveries_[sessionID] = InsertionDelivery{std::move(target), {}, true};
    order_.push_back(sessionID);
}

void InsertionDeliveryQueue::discard(const Uuid& sessionID) {
    deliveries_.erase(sessionID);
    std::erase(order_, sessionID);
}

void InsertionDeliveryQueue::markRecordingComplete(const Uuid& sessionID) {
    auto found = deliveries_.find(sessionID);
    if (found != deliveries_.end()) found->second.isRecording = false;
}

const InsertionDelivery* InsertionDeliveryQueue::delivery(const Uuid& sessionID) const {
    auto found = deliveries_.find(sessionID);
    return found == deliveries_.end() ? nullptr : &found->second;
}

void InsertionDeliveryQueue::insertFinalizedPhrase(const std::string& phrase, const std::string& accumulatedText,
                                                   const Uuid& sessionID) {
    auto found = deliveries_.find(sessionID);
    if (found == deliveries_.end()) return;  // the session has ended: a late phrase is dropped
    const std::string_view trimmed = unicode::trimmed(phrase);
    if (trimmed.empty()) return;

    // The whole text so far, not the phrase, becomes the last transcription.
    status_.addTranscription(accumulatedText);
    found->second.pendingText = appendingTranscript(found->second.pendingText, trimmed);
    flushPendingInsertions();
    ensureFocusMonitor();
}

void InsertionDeliveryQueue::flushPendingInsertions() {
    // insertText() is synchronous and cannot re-enter this queue, but walk a copy all the same so
    // a delivery that goes away mid-walk is simply skipped.
    const std::vector<Uuid> order = order_;
    for (const Uuid& sessionID : order) {
        auto found = deliveries_.find(sessionID);
        if (found == deliveries_.end() || found->second.pendingText.empty()) continue;
        InsertionDelivery& delivery = found->second;
        if (delivery.isRecording && !boundFieldHasFocus(delivery.target)) continue;

        std::string text = std::move(delivery.pendingText);
        delivery.pendingText.clear();
        if (auto inserted = textInsertion_.insertText(text)) {
            logger_.info("Inserted finalized transcription text");
        } else {
            copyTranscriptToClipboard(pasteboard_, text, logger_);
            logger_.error("Could not insert finalized transcription text; copied it to the clipboard: " +
                          description(inserted.error()));
        }
    }
}

bool InsertionDeliveryQueue::boundFieldHasFocus(const FocusedTextTarget& target) {
    const ElementRef focused = textInsertion_.focusedInsertionElement();
    if (!focused) return false;
    // An element whose process cannot be read counts as focus elsewhere.
    const std::optional<int> processIdentifier = textInsertion_.processIdentifier(focused);
    if (!processIdentifier || *processIdentifier != target.processIdentifier) return false;
    return textInsertion_.isSameElement(focused, target.element);
}

bool InsertionDeliveryQueue::hasPendingText() const {
    return std::ranges::any_of(deliveries_, [](const auto& entry) { return !entry.second.pendingText.empty(); });
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
    flushPendingInsertions();
    if (!hasPendingText()) {
        focusMonitor_ = TimerHandle();
        return;
    }
    scheduleFocusMonitorTick();
}

void InsertionDeliveryQueue::finishInsertionDelivery(const Uuid& sessionID, const std::string& transcript) {
    auto found = deliveries_.find(sessionID);
    if (found == deliveries_.end()) return;

    // The final transcript is only remembered; what goes into the field is what still waits.
    const std::string_view trimmed = unicode::trimmed(transcript);
    if (!trimmed.empty()) status_.addTranscription(std::string(trimmed));

    const std::string pending = found->second.pendingText;
    if (!pending.empty()) {
        if (auto inserted = textInsertion_.insertText(pending)) {
            logger_.info("Inserted pending transcription text into the field focused at recording completion");
        } else {
            copyTranscriptToClipboard(pasteboard_, pending, logger_);
            logger_.error(
                "Could not insert pending transcription text at recording completion; copied it to the clipboard: " +
                description(inserted.error()));
        }
    }
    discard(sessionID);
}

}  // namespace quillon
