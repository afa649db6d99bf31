#include "core/live/LiveSummaryCoordinator.h"

#include <algorithm>

#include "core/base/Unicode.h"

namespace quillon {

namespace {
constexpr std::string_view signedInAccount = "chatgpt";
}

LiveSummaryCoordinator::LiveSummaryCoordinator(LiveTranscriptModel& model, Scheduler& main, ClientFactory makeClient,
                                               UrlOpener& urls)
    : model_(model), main_(main), makeClient_(std::move(makeClient)), urls_(urls) {}

// ---- The client and the account.

void LiveSummaryCoordinator::readyClient(std::function<void(ClientResult)> next) {
    // A client that is there is handed out as it stands, started or not, alive or not.
    if (client_) return next(client_);
    auto made = makeClient_();
    if (!made) return next(std::unexpected(CodexFailure(made.error())));
    client_ = *made;
    client_->start(onMain<void>([client = client_, next = std::move(next)](CodexResult<void> started) {
        if (!started) return next(std::unexpected(started.error()));
        next(client);
    }));
}

void LiveSummaryCoordinator::setupFailed(const CodexFailure& failure) {
    if (failure.appServerError()) {
        model_.setSummaryState(LiveSummaryState::unavailable(failure.description()));
    } else {
        model_.setSummaryState(LiveSummaryState::failed(failure.description()));
    }
}

void LiveSummaryCoordinator::signedIn() {
    model_.setSummaryState(LiveSummaryState::ready());
    latestTranscript_ = model_.committedText();
    scheduleUpdate(false);
}

void LiveSummaryCoordinator::prepare() {
    setupTask_.cancel();
    model_.setSummaryState(LiveSummaryState::checking());
    const TimerHandle task = TimerHandle::make();
    setupTask_ = task;
    readyClient([this, task](ClientResult client) {
        if (!client) return setupFailed(client.error());
        // A local model provider needs no account (development mode).
        if ((*client)->usesLocalModelProvider()) {
            if (!task.isCancelled()) signedIn();
            return;
        }
        (*client)->accountType(false, onMain<std::optional<std::string>>([this, task](auto account) {
            if (!account) return setupFailed(account.error());
            if (task.isCancelled()) return;
            if (*account == signedInAccount) return signedIn();
            model_.setSummaryState(LiveSummaryState::signedOut());
        }));
    });
}

void LiveSummaryCoordinator::connectChatGPT() {
    setupTask_.cancel();
    const TimerHandle task = TimerHandle::make();
    setupTask_ = task;
    const auto fail = [this](const CodexFailure& failure) {
        model_.setSummaryState(LiveSummaryState::failed(failure.description()));
    };
    readyClient([this, task, fail](ClientResult client) {
        if (!client) return fail(client.error());
        auto started = *client;
        started->beginChatGPTLogin(onMain<std::string>([this, task, fail, started](CodexResult<std::string> url) {
            if (!url) return fail(url.error());
            if (task.isCancelled()) return;
            model_.setSummaryState(LiveSummaryState::signingIn());
            // The sign-in goes on in the child either way; a browser that did not open leaves the
            // poll to find that nothing happened.
            (void)urls_.open(*url);
            pollForLogin(started);
        }));
    });
}

void LiveSummaryCoordinator::pollForLogin(std::shared_ptr<CodexAppServerClient> client) {
    loginPollingTask_.cancel();
    loginPollingTask_ = TimerHandle::make();
    pollStep(std::move(client), loginPollingTask_, 0);
}

void LiveSummaryCoordinator::pollStep(std::shared_ptr<CodexAppServerClient> client, TimerHandle task, int done) {
    if (done == loginPolls) {
        if (!task.isCancelled()) {
            model_.setSummaryState(
                LiveSummaryState::failed("ChatGPT sign-in did not finish. You can try again when ready."));
        }
        return;
    }
    if (task.isCancelled()) return;
    main_.postAfter(loginPollInterval, owner_.weakly([this, client, task, done] {
        client->accountType(true, onMain<std::optional<std::string>>([this, client, task, done](auto account) {
            // A failed poll counts as not signed in yet.
            if (account && *account == signedInAccount) return signedIn();
            pollStep(client, task, done + 1);
        }));
    }));
}

// ---- Changes of the transcript.

void LiveSummaryCoordinator::transcriptDidChange(std::string transcript, bool force) {
    latestTranscript_ = std::move(transcript);
    if (!model_.isSummaryVisible()) return;
    if (!unicode::hasGraphemePrefix(latestTranscript_, summarizedText_)) {
        // A text that only became shorter is not yet a rewrite.
        if (unicode::hasGraphemePrefix(summarizedText_, latestTranscript_) && !force) return;
        reconcileTranscriptRewrite(latestTranscript_);
    }
    if (isReadyOrUpdating()) scheduleUpdate(force);
}

void LiveSummaryCoordinator::reconcileTranscriptRewrite(const std::string& newTranscript) {
    ++updateGeneration_;
    activeUpdateID_.reset();
    forcePendingUpdate_ = false;
    if (model_.summaryState().kind() == LiveSummaryState::Kind::updating) {
        model_.setSummaryState(LiveSummaryState::ready());
    }
    summarizedText_ = reconciliationPrefix(summarizedText_, newTranscript);
    threadID_.reset();
    transcriptCharactersInCurrentThread_ = 0;
}

std::string LiveSummaryCoordinator::reconciliationPrefix(std::string_view oldTranscript,
                                                         std::string_view newTranscript) {
    const auto oldCuts = unicode::graphemeBoundaries(oldTranscript);
    const auto newCuts = unicode::graphemeBoundaries(newTranscript);
    std::size_t common = 0;
    while (common + 1 < oldCuts.size() && common + 1 < newCuts.size()) {
        const auto oldCharacter = oldTranscript.substr(oldCuts[common], oldCuts[common + 1] - oldCuts[common]);
        const auto newCharacter = newTranscript.substr(newCuts[common], newCuts[common + 1] - newCuts[common]);
        if (oldCharacter != newCharacter) break;
        ++common;
    }
    std::size_t index = common > rewriteOverlap ? common - rewriteOverlap : 0;
    while (index > 0) {
        --index;
        if (unicode::startsWithWhitespace(newTranscript.substr(newCuts[index]))) break;
    }
    return std::string(newTranscript.substr(0, newCuts[index]));
}

void LiveSummaryCoordinator::contextDidChange() {
    if (!model_.isSummaryVisible() || !isReadyOrUpdating()) return;
    if (model_.committedText().empty() && model_.summaryMarkdown().empty()) return;
    scheduleUpdate(true);
}

void LiveSummaryCoordinator::refresh() {
    latestTranscript_ = model_.committedText();
    if (unicode::trimmed(latestTranscript_).empty()) return;
    const auto kind = model_.summaryState().kind();
    if (kind == LiveSummaryState::Kind::failed) {
        model_.setSummaryState(LiveSummaryState::ready());
    } else if (kind != LiveSummaryState::Kind::ready) {
        return;
    }
    scheduleUpdate(true);
}

void LiveSummaryCoordinator::reset() {
    scheduledUpdate_.cancel();
    scheduledUpdate_ = TimerHandle();
    ++updateGeneration_;
    activeUpdateID_.reset();
    forcePendingUpdate_ = false;
    summarizedText_.clear();
    summarizedContext_.clear();
    latestTranscript_.clear();
    threadID_.reset();
    transcriptCharactersInCurrentThread_ = 0;
    model_.setSummaryMarkdown({});
    if (!model_.isSummaryVisible()) {
        model_.setSummaryState(LiveSummaryState::idle());
        return;
    }
    model_.setSummaryState(client_ ? LiveSummaryState::ready() : LiveSummaryState::checking());
    prepare();
}

void LiveSummaryCoordinator::shutdownClient() {
    // The cancelled update stays in its field on purpose: until a forced update replaces it, no
    // unforced change schedules anything.
    setupTask_.cancel();
    loginPollingTask_.cancel();
    scheduledUpdate_.cancel();
    if (client_) {
        client_->stop();
        client_.reset();
    }
    threadID_.reset();
    transcriptCharactersInCurrentThread_ = 0;
    ++updateGeneration_;
    activeUpdateID_.reset();
    forcePendingUpdate_ = false;
}

// ---- Updates.

bool LiveSummaryCoordinator::isReadyOrUpdating() const {
    const auto kind = model_.summaryState().kind();
    return kind == LiveSummaryState::Kind::ready || kind == LiveSummaryState::Kind::updating;
}

bool LiveSummaryCoordinator::isCurrent(const Uuid& id, std::uint64_t generation) const {
    return activeUpdateID_ == id && updateGeneration_ == generation;
}

std::int64_t LiveSummaryCoordinator::pendingDelta() const {
    // The usual case, a transcript that grew at its end, counts only the new part: an update must
    // not rescan the whole transcript.
    if (unicode::hasGraphemePrefix(latestTranscript_, summarizedText_)) {
        return static_cast<std::int64_t>(
            unicode::graphemeCount(std::string_view(latestTranscript_).substr(summarizedText_.size())));
    }
    return static_cast<std::int64_t>(unicode::graphemeCount(latestTranscript_)) -
           static_cast<std::int64_t>(unicode::graphemeCount(summarizedText_));
}

void LiveSummaryCoordinator::scheduleUpdate(bool force) {
    if (activeUpdateID_) {
        forcePendingUpdate_ = forcePendingUpdate_ || force;
        return;
    }
    if (pendingDelta() < 1 && model_.summaryContext() == summarizedContext_) return;
    if (scheduledUpdate_.isValid()) {
        // A throttle, not a debounce: a waiting update is not pushed back by further changes.
        if (!force) return;
        scheduledUpdate_.cancel();
    }
    const Duration wait = force ? Duration::zero() : Duration(throttle);
    scheduledUpdate_ = main_.postAfter(wait, owner_.weakly([this, force] { scheduledUpdateFired(force); }));
}

void LiveSummaryCoordinator::scheduledUpdateFired(bool force) {
    scheduledUpdate_ = TimerHandle();
    if (!force && pendingDelta() < leastNewCharacters && model_.summaryContext() == summarizedContext_) {
        scheduleUpdate(false);
        return;
    }
    performUpdate();
}

void LiveSummaryCoordinator::performUpdate() {
    if (activeUpdateID_ || !model_.isSummaryVisible()) return;
    std::string latest = latestTranscript_;
    if (!unicode::hasGraphemePrefix(latest, summarizedText_)) {
        reconcileTranscriptRewrite(latest);
        scheduleUpdate(true);
        return;
    }
    // The summarised text ends on a character boundary of the latest one: the rest is the delta.
    std::string delta(unicode::trimmed(std::string_view(latest).substr(summarizedText_.size())));
    std::string context = model_.summaryContext();
    if (delta.empty() && context == summarizedContext_) return;

    const Uuid id = Uuid::random();
    const std::uint64_t generation = updateGeneration_;
    activeUpdateID_ = id;
    model_.setSummaryState(LiveSummaryState::updating());

    readyClient([this, id, generation, latest = std::move(latest), delta = std::move(delta),
                 context = std::move(context)](ClientResult client) mutable {
        if (!client) return updateFailed(id, generation, client.error());
        sendUpdate(*client, id, generation, std::move(latest), std::move(delta), std::move(context));
    });
}

void LiveSummaryCoordinator::sendUpdate(const std::shared_ptr<CodexAppServerClient>& client, Uuid id,
                                        std::uint64_t generation, std::string latest, std::string delta,
                                        std::string context) {
    const auto deltaCount = static_cast<std::int64_t>(unicode::graphemeCount(delta));
    // The first delta on a thread is never refused, whatever its size.
    const bool needsNewThread =
        !threadID_ || (transcriptCharactersInCurrentThread_ >= 1 &&
                       transcriptCharactersInCurrentThread_ + deltaCount > threadBudget);
    auto finish = [this, id, generation, latest, delta, context](CodexResult<std::string> result) mutable {
        finishUpdate(id, generation, std::move(latest), std::move(delta), std::move(context), std::move(result));
    };
    if (!needsNewThread) {
        client->updateSummary(*threadID_, delta, context, std::nullopt, onMain<std::string>(std::move(finish)));
        return;
    }
    client->startSummaryThread(onMain<std::string>(
        [this, client, id, generation, delta, context, finish = std::move(finish)](CodexResult<std::string> thread) mutable {
            if (!thread) return updateFailed(id, generation, thread.error());
            if (!isCurrent(id, generation)) return;
            threadID_ = *thread;
            transcriptCharactersInCurrentThread_ = 0;
            // The new thread knows nothing yet: it gets the summary as it stands (empty at first).
            client->updateSummary(*thread, delta, context, model_.summaryMarkdown(), onMain<std::string>(std::move(finish)));
        }));
}

void LiveSummaryCoordinator::finishUpdate(Uuid id, std::uint64_t generation, std::string latest, std::string delta,
                                          std::string context, CodexResult<std::string> result) {
    if (!result) return updateFailed(id, generation, result.error());
    if (!isCurrent(id, generation)) return;  // whoever made it stale has seen to the state
    model_.setSummaryMarkdown(std::move(*result));
    summarizedText_ = std::move(latest);
    summarizedContext_ = std::move(context);
    transcriptCharactersInCurrentThread_ += static_cast<std::int64_t>(unicode::graphemeCount(delta));
    model_.setSummaryState(LiveSummaryState::ready());
    activeUpdateID_.reset();

    // Nothing new: forcePendingUpdate_ keeps its value for the next pass.
    if (latestTranscript_ == summarizedText_ && model_.summaryContext() == summarizedContext_) return;
    const bool again = forcePendingUpdate_ || model_.summaryContext() != summarizedContext_;
    forcePendingUpdate_ = false;
    scheduleUpdate(again);
}

void LiveSummaryCoordinator::updateFailed(Uuid id, std::uint64_t generation, const CodexFailure& failure) {
    if (!isCurrent(id, generation)) return;
    activeUpdateID_.reset();
    forcePendingUpdate_ = false;
    // The summarised point, the thread and its count stay: the next try sends the same text and more.
    model_.setSummaryState(LiveSummaryState::failed("Summary update failed: " + failure.description()));
}

}  // namespace quillon
