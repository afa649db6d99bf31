#include "core/codex/CodexAppServerClient.h"

#include <cctype>
#include <climits>
#include <utility>

#include "core/codex/CodexPrivateHome.h"
#include "core/codex/CodexPrompts.h"
#include "core/base/Unicode.h"
#include "core/base/Utf8.h"

namespace quillon {

namespace {

constexpr std::size_t errorTailLimit = 8192;
const char* const defaultErrorText = "Codex App Server reported an error.";

// An id that converts to an integer: a JSON integer, or a number with no fraction.
std::optional<std::int64_t> integerID(const Json& value) {
    if (value.is_number_integer()) {
        if (value.is_number_unsigned() && value.get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX)) {
            return std::nullopt;
        }
        return value.get<std::int64_t>();
    }
    if (value.is_number_float()) {
        const double number = value.get<double>();
        if (number >= -9.2e18 && number <= 9.2e18 && number == static_cast<double>(static_cast<std::int64_t>(number))) {
            return static_cast<std::int64_t>(number);
        }
    }
    return std::nullopt;
}

const Json* member(const Json& object, const char* key) {
    if (!object.is_object()) return nullptr;
    auto found = object.find(key);
    return found == object.end() ? nullptr : &*found;
}

const std::string* stringMember(const Json& object, const char* key) {
    const Json* value = member(object, key);
    return value && value->is_string() ? value->get_ptr<const std::string*>() : nullptr;
}

// An address as a browser takes it: a scheme, a colon, and no white space.
bool looksLikeURL(const std::string& text) {
    const auto colon = text.find(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == text.size()) return false;
    if (!std::isalpha(static_cast<unsigned char>(text[0]))) return false;
    for (std::size_t i = 1; i < colon; ++i) {
        const char c = text[i];
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '+' && c != '-' && c != '.') return false;
    }
    for (const char c : text) {
        if (std::isspace(static_cast<unsigned char>(c)) || std::iscntrl(static_cast<unsigned char>(c))) return false;
    }
    return true;
}

}  // namespace

std::expected<std::shared_ptr<CodexAppServerClient>, CodexAppServerError> CodexAppServerClient::make(Context context) {
    auto executable = CodexExecutableLocator(context.host).findExecutable();
    if (!executable) return std::unexpected(CodexAppServerError::executableNotFound());
    return std::make_shared<CodexAppServerClient>(std::move(context), std::move(*executable));
}

CodexAppServerClient::CodexAppServerClient(Context context, std::string executablePath)
    : executor_(context.executor),
      makeProcess_(std::move(context.makeProcess)),
      locator_(context.host),
      localModelProvider_(std::move(context.localModelProvider)),
      executablePath_(std::move(executablePath)) {}

void CodexAppServerClient::onExecutor(std::function<void(CodexAppServerClient&)> task) {
    executor_.post([self = shared_from_this(), task = std::move(task)] { task(*self); });
}

// ---- Public operations: each hops onto the executor.

void CodexAppServerClient::start(CodexCompletion<void> completion) {
    onExecutor([completion = std::move(completion)](CodexAppServerClient& self) mutable {
        self.startNow(std::move(completion));
    });
}

void CodexAppServerClient::stop(std::function<void()> done) {
    onExecutor([done = std::move(done)](CodexAppServerClient& self) {
        self.stopNow();
        if (done) done();
    });
}

void CodexAppServerClient::accountType(bool refreshToken, CodexCompletion<std::optional<std::string>> completion) {
    onExecutor([refreshToken, completion = std::move(completion)](CodexAppServerClient& self) mutable {
        self.request("account/read", Json{{"refreshToken", refreshToken}},
                     [completion = std::move(completion)](CodexResult<Json> result) {
                         if (!result) return completion(std::unexpected(result.error()));
                         const Json* account = member(*result, "account");
                         const std::string* type = account ? stringMember(*account, "type") : nullptr;
                         completion(type ? std::optional<std::string>(*type) : std::nullopt);
                     });
    });
}

void CodexAppServerClient::beginChatGPTLogin(CodexCompletion<std::string> completion) {
    onExecutor([completion = std::move(completion)](CodexAppServerClient& self) mutable {
        Json params{{"type", "chatgpt"},
                    {"appBrand", "chatgpt"},
                    {"useHostedLoginSuccessPage", true},
                    {"codexStreamlinedLogin", true}};
        self.request("account/login/start", std::move(params), [completion = std::move(completion)](CodexResult<Json> result) {
            if (!result) return completion(std::unexpected(result.error()));
            const std::string* url = stringMember(*result, "authUrl");
            if (!url || !looksLikeURL(*url)) {
                return completion(std::unexpected(CodexAppServerError::invalidResponse("missing sign-in URL")));
            }
            completion(*url);
        });
    });
}

void CodexAppServerClient::startSummaryThread(CodexCompletion<std::string> completion) {
    onExecutor([completion = std::move(completion)](CodexAppServerClient& self) mutable {
        self.startThread(CodexPrompts::summaryBaseInstructions(), CodexPrompts::summaryServiceName,
                         std::move(completion));
    });
}

void CodexAppServerClient::startTranscriptCleanupThread(CodexCompletion<std::string> completion) {
    onExecutor([completion = std::move(completion)](CodexAppServerClient& self) mutable {
        self.startThread(CodexPrompts::cleanupBaseInstructions(), CodexPrompts::cleanupServiceName,
                         std::move(completion));
    });
}

void CodexAppServerClient::updateSummary(std::string threadID, std::string transcriptDelta,
                                         std::string additionalContext, std::optional<std::string> existingSummary,
                                         CodexCompletion<std::string> completion) {
    std::string prompt = CodexPrompts::summaryPrompt(transcriptDelta, additionalContext, existingSummary);
    onExecutor([threadID = std::move(threadID), prompt = std::move(prompt),
                completion = std::move(completion)](CodexAppServerClient& self) mutable {
        self.runTurn(std::move(threadID), std::move(prompt), CodexPrompts::summaryField,
                     std::string(CodexPrompts::summaryOperation), "missing summary", std::move(completion));
    });
}

void CodexAppServerClient::cleanTranscript(std::string threadID, std::string transcript, std::string additionalContext,
                                           CodexCompletion<std::string> completion) {
    std::string prompt = CodexPrompts::cleanupPrompt(transcript, additionalContext);
    onExecutor([threadID = std::move(threadID), prompt = std::move(prompt),
                completion = std::move(completion)](CodexAppServerClient& self) mutable {
        self.runTurn(std::move(threadID), std::move(prompt), CodexPrompts::cleanupField,
                     std::string(CodexPrompts::cleanupOperation), "missing cleaned transcript",
                     [completion = std::move(completion)](CodexResult<std::string> result) {
                         if (result && result->empty()) {
                             return completion(std::unexpected(
                                 CodexAppServerError::invalidResponse("cleaned transcript was empty")));
                         }
                         completion(std::move(result));
                     });
    });
}

// ---- Lifecycle.

void CodexAppServerClient::startNow(CodexCompletion<void> completion) {
    if (initialized_) return completion({});
    // The child runs in Quillon's own Codex home or not at all (see CodexPrivateHome).
    const CodexPrivateHome home(locator_.privateCodexHome(), locator_.userCodexHome(), localModelProvider_);
    if (auto prepared = home.prepare(); !prepared) {
        return completion(std::unexpected(CodexFailure::system(prepared.error())));
    }
    outputBuffer_.clear();
    errorBuffer_.clear();

    process_ = makeProcess_();
    hasInput_ = true;
    // Events of an earlier child that were already on their way are not this child's.
    const std::uint64_t launch = ++launchCount_;
    std::weak_ptr<CodexAppServerClient> weak = weak_from_this();
    Scheduler& executor = executor_;
    const auto forThisChild = [weak, &executor, launch](auto step) {
        executor.post([weak, launch, step = std::move(step)]() mutable {
            auto self = weak.lock();
            if (self && self->launchCount_ == launch) step(*self);
        });
    };
    ChildProcess::Handlers handlers{
        [forThisChild](std::string bytes) {
            forThisChild([bytes = std::move(bytes)](CodexAppServerClient& self) { self.receive(bytes); });
        },
        [forThisChild](std::string bytes) {
            forThisChild([bytes = std::move(bytes)](CodexAppServerClient& self) { self.receiveError(bytes); });
        },
        [forThisChild] { forThisChild([](CodexAppServerClient& self) { self.processDidEnd(); }); }};
    ChildProcessLaunch description{executablePath_, CodexExecutableLocator::restrictedAppServerArguments(),
                                   locator_.processEnvironment(executablePath_)};
    if (auto launched = process_->launch(description, std::move(handlers)); !launched) {
        stopNow();
        return completion(std::unexpected(CodexFailure::system(launched.error())));
    }

    Json params{{"clientInfo", {{"name", "Quillon"}, {"title", "Quillon"}, {"version", "1.0"}}},
                {"capabilities", {{"experimentalApi", true}}}};
    // The continuation is only ever called by this client, so `this` is alive when it runs.
    request("initialize", std::move(params), [this, completion = std::move(completion)](CodexResult<Json> result) {
        if (!result) {
            stopNow();
            return completion(std::unexpected(result.error()));
        }
        if (auto written = writeJSON(Json{{"method", "initialized"}, {"params", Json::object()}}); !written) {
            stopNow();
            return completion(std::unexpected(written.error()));
        }
        initialized_ = true;
        completion({});
    });
}

void CodexAppServerClient::stopNow() {
    if (process_) process_->closeInput();
    hasInput_ = false;
    if (process_) process_->terminate();
    process_.reset();
    initialized_ = false;
    failPending(CodexAppServerError::processEnded());
}

void CodexAppServerClient::processDidEnd() {
    if (!process_ && !initialized_) return;  // after stop(): its termination arrives late
    std::optional<std::string> detail;
    if (unicode::isValidUtf8(errorBuffer_)) detail = std::string(unicode::trimmed(errorBuffer_));
    errorBuffer_.clear();
    process_.reset();
    hasInput_ = false;
    initialized_ = false;
    failPending(CodexAppServerError::processEnded(std::move(detail)));
}

void CodexAppServerClient::failPending(const CodexFailure& error) {
    auto requests = std::exchange(pendingRequests_, {});
    for (auto& [id, pending] : requests) {
        pending.timeoutTask.cancel();
        pending.continuation(std::unexpected(error));
    }
    auto turns = std::exchange(turnContinuations_, {});
    for (auto& [turnID, pending] : turns) {
        pending.timeoutTask.cancel();
        pending.continuation(std::unexpected(error));
    }
    completedTurns_.clear();
    discardedTurnIDs_.clear();
    agentMessagesByTurn_.clear();
    agentMessageTurns_.clear();
}

// ---- Requests and turns.

CodexResult<void> CodexAppServerClient::writeJSON(const Json& message) {
    if (!hasInput_ || !process_) return std::unexpected(CodexAppServerError::processEnded());
    std::string line;
    try {
        line = message.dump(-1, ' ', false, Json::error_handler_t::strict);
    } catch (const Json::exception& error) {
        return std::unexpected(CodexFailure::system(std::string("Codex message could not be encoded: ") + error.what()));
    }
    line.push_back('\n');
    if (auto written = process_->write(line); !written) return std::unexpected(CodexFailure::system(written.error()));
    return {};
}

void CodexAppServerClient::request(std::string method, Json params, CodexCompletion<Json> completion) {
    if (!hasInput_) return completion(std::unexpected(CodexAppServerError::processEnded()));
    const std::int64_t id = nextRequestID_++;
    std::weak_ptr<CodexAppServerClient> weak = weak_from_this();
    TimerHandle timeout = executor_.postAfter(CodexPrompts::requestTimeout, [weak, id, method] {
        if (auto self = weak.lock()) self->requestTimedOut(id, method);
    });
    pendingRequests_.emplace(id, PendingRequest{std::move(completion), timeout});
    auto written = writeJSON(Json{{"id", id}, {"method", method}, {"params", std::move(params)}});
    if (!written) {
        auto entry = pendingRequests_.extract(id);
        timeout.cancel();
        if (!entry.empty()) entry.mapped().continuation(std::unexpected(written.error()));
    }
}

void CodexAppServerClient::requestTimedOut(std::int64_t id, const std::string& method) {
    auto entry = pendingRequests_.extract(id);
    if (entry.empty()) return;
    entry.mapped().continuation(std::unexpected(CodexAppServerError::timedOut("waiting for " + method)));
}

void CodexAppServerClient::waitForTurn(const std::string& turnID, std::string operation,
                                       CodexCompletion<Json> completion) {
    if (auto parked = completedTurns_.extract(turnID); !parked.empty()) return completion(std::move(parked.mapped()));
    std::weak_ptr<CodexAppServerClient> weak = weak_from_this();
    TimerHandle timeout = executor_.postAfter(CodexPrompts::turnTimeout, [weak, turnID] {
        if (auto self = weak.lock()) self->turnTimedOut(turnID);
    });
    auto [slot, inserted] = turnContinuations_.try_emplace(turnID);
    PendingTurn earlier = std::exchange(slot->second, PendingTurn{std::move(completion), timeout, std::move(operation)});
    if (!inserted) {
        // A child that hands out one turn id twice: the earlier waiter can no longer tell its turn.
        earlier.timeoutTask.cancel();
        earlier.continuation(std::unexpected(CodexAppServerError::invalidResponse("missing turn identifier")));
    }
}

void CodexAppServerClient::turnTimedOut(const std::string& turnID) {
    auto entry = turnContinuations_.extract(turnID);
    if (entry.empty()) return;
    discardedTurnIDs_.insert(turnID);
    entry.mapped().continuation(std::unexpected(CodexAppServerError::timedOut(entry.mapped().operation)));
}

void CodexAppServerClient::startThread(std::string_view instructions, std::string_view serviceName,
                                       CodexCompletion<std::string> completion) {
    Json params{{"model", CodexPrompts::model},
                {"ephemeral", true},
                {"approvalPolicy", CodexPrompts::approvalPolicy},
                {"sandbox", CodexPrompts::threadSandbox},
                {"cwd", locator_.summaryWorkspaceURL()},
                {"baseInstructions", instructions},
                {"serviceName", serviceName}};
    request("thread/start", std::move(params), [completion = std::move(completion)](CodexResult<Json> result) {
        if (!result) return completion(std::unexpected(result.error()));
        const Json* thread = member(*result, "thread");
        const std::string* id = thread ? stringMember(*thread, "id") : nullptr;
        if (!id) return completion(std::unexpected(CodexAppServerError::invalidResponse("missing thread identifier")));
        completion(*id);
    });
}

void CodexAppServerClient::runTurn(std::string threadID, std::string prompt, std::string_view field,
                                   std::string operation, std::string missingText,
                                   CodexCompletion<std::string> completion) {
    Json params{{"threadId", threadID},
                {"input", Json::array({Json{{"type", "text"}, {"text", std::move(prompt)}}})},
                {"model", CodexPrompts::model},
                {"approvalPolicy", CodexPrompts::approvalPolicy},
                {"effort", CodexPrompts::reasoningEffort},
                {"sandboxPolicy", CodexPrompts::turnSandboxPolicy()},
                {"outputSchema", CodexPrompts::outputSchema(field)}};
    request("turn/start", std::move(params),
            [this, threadID, field, operation = std::move(operation), missingText = std::move(missingText),
             completion = std::move(completion)](CodexResult<Json> started) mutable {
                if (!started) return completion(std::unexpected(started.error()));
                const Json* turn = member(*started, "turn");
                const std::string* turnIDText = turn ? stringMember(*turn, "id") : nullptr;
                if (!turnIDText) {
                    return completion(std::unexpected(CodexAppServerError::invalidResponse("missing turn identifier")));
                }
                std::string turnID = *turnIDText;
                waitForTurn(turnID, std::move(operation),
                            [this, threadID, turnID, field, missingText,
                             completion = std::move(completion)](CodexResult<Json> ended) mutable {
                                if (!ended && ended.error().is(CodexAppServerError::Kind::timedOut)) {
                                    // Tell the child to give the turn up; its answer does not matter.
                                    return request("turn/interrupt", Json{{"threadId", threadID}, {"turnId", turnID}},
                                                   [error = ended.error(), completion = std::move(completion)](
                                                       CodexResult<Json>) { completion(std::unexpected(error)); });
                                }
                                if (!ended) return completion(std::unexpected(ended.error()));
                                auto text = lastAgentMessageText(*ended, missingText);
                                if (!text) return completion(std::unexpected(text.error()));
                                completion(structuredString(field, *text));
                            });
            });
}

// ---- Reading from the child.

void CodexAppServerClient::receive(std::string_view data) {
    outputBuffer_.append(data, [this](std::string_view line) { handleMessage(line); });
}

void CodexAppServerClient::receiveError(std::string_view data) {
    if (data.empty()) return;
    if (data.size() >= errorTailLimit) {
        errorBuffer_.assign(data.substr(data.size() - errorTailLimit));
        return;
    }
    errorBuffer_.append(data);
    if (errorBuffer_.size() > errorTailLimit) errorBuffer_.erase(0, errorBuffer_.size() - errorTailLimit);
}

void CodexAppServerClient::handleMessage(std::string_view line) {
    Json message = Json::parse(line, nullptr, false);
    if (message.is_discarded() || !message.is_object()) return;

    if (const Json* idValue = member(message, "id")) {
        if (auto id = integerID(*idValue)) {
            if (auto entry = pendingRequests_.extract(*id); !entry.empty()) {
                entry.mapped().timeoutTask.cancel();
                auto& continuation = entry.mapped().continuation;
                const Json* error = member(message, "error");
                const Json* result = member(message, "result");
                if (error && error->is_object()) {
                    continuation(std::unexpected(CodexAppServerError::server(errorMessage(*error))));
                } else if (result && result->is_object()) {
                    continuation(std::move(message["result"]));
                } else {
                    continuation(std::unexpected(CodexAppServerError::invalidResponse("empty response")));
                }
                return;
            }
        }
    }

    const std::string* method = stringMember(message, "method");
    if (!method) return;
    if (*method == "turn/completed") return handleTurnCompleted(message);
    if (*method == "item/completed") return keepAgentMessage(message);
    // Every other notification is ignored, and a request from the child gets no answer.
}

void CodexAppServerClient::keepAgentMessage(const Json& message) {
    const Json* params = member(message, "params");
    if (!params || !params->is_object()) return;
    const std::string* turnID = stringMember(*params, "turnId");
    const Json* item = member(*params, "item");
    if (!turnID || !item || !item->is_object()) return;
    const std::string* type = stringMember(*item, "type");
    if (!type || *type != "agentMessage") return;
    auto [slot, inserted] = agentMessagesByTurn_.insert_or_assign(*turnID, *item);
    if (!inserted) return;
    agentMessageTurns_.push_back(*turnID);
    if (agentMessageTurns_.size() > agentMessageTurnLimit) {
        agentMessagesByTurn_.erase(agentMessageTurns_.front());
        agentMessageTurns_.pop_front();
    }
}

void CodexAppServerClient::handleTurnCompleted(const Json& message) {
    const Json* params = member(message, "params");
    if (!params || !params->is_object()) return;
    const Json* turn = member(*params, "turn");
    if (!turn || !turn->is_object()) return;
    const std::string* idText = stringMember(*turn, "id");
    if (!idText) return;
    const std::string turnID = *idText;

    auto delivered = agentMessagesByTurn_.extract(turnID);
    if (!delivered.empty()) std::erase(agentMessageTurns_, turnID);
    if (discardedTurnIDs_.erase(turnID) > 0) return;

    CodexResult<Json> result = *turn;
    const std::string* status = stringMember(*turn, "status");
    if (status && *status == "failed") {
        const Json* error = member(*turn, "error");
        result = std::unexpected(CodexAppServerError::turnFailed(
            error && error->is_object() ? errorMessage(*error) : std::string(defaultErrorText)));
    } else if (!delivered.empty()) {
        // Some versions deliver the agent's messages only as item/completed before an empty turn.
        const Json* items = member(*turn, "items");
        if (!items || (items->is_array() && items->empty())) {
            (*result)["items"] = Json::array({std::move(delivered.mapped())});
        }
    }

    if (auto waiting = turnContinuations_.extract(turnID); !waiting.empty()) {
        waiting.mapped().timeoutTask.cancel();
        waiting.mapped().continuation(std::move(result));
        return;
    }
    completedTurns_.insert_or_assign(turnID, std::move(result));
}

// ---- Reading results.

std::string CodexAppServerClient::errorMessage(const Json& error) {
    if (const std::string* message = stringMember(error, "message")) return *message;
    if (const std::string* details = stringMember(error, "additionalDetails")) return *details;
    return defaultErrorText;
}

CodexResult<std::string> CodexAppServerClient::lastAgentMessageText(const Json& turn, std::string_view missingText) {
    const auto missing = [&] { return std::unexpected(CodexAppServerError::invalidResponse(std::string(missingText))); };
    const Json* items = member(turn, "items");
    if (!items || !items->is_array()) return missing();
    for (const Json& item : *items) {
        if (!item.is_object()) return missing();
    }
    for (auto item = items->rbegin(); item != items->rend(); ++item) {
        const std::string* type = stringMember(*item, "type");
        if (!type || *type != "agentMessage") continue;
        const std::string* text = stringMember(*item, "text");
        if (!text) return missing();
        return *text;
    }
    return missing();
}

CodexResult<std::string> CodexAppServerClient::structuredString(std::string_view name, std::string_view text) {
    const Json reply = Json::parse(unicode::trimmed(text), nullptr, false);
    if (!reply.is_discarded() && reply.is_object()) {
        if (const std::string* value = stringMember(reply, std::string(name).c_str())) {
            return std::string(unicode::trimmed(*value));
        }
    }
    return std::unexpected(
        CodexAppServerError::invalidResponse("response did not contain valid " + std::string(name) + " output"));
}

}  // namespace quillon
