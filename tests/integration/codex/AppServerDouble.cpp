// A stand-in for `codex app-server` that plays one scenario, named by QUILLON_DOUBLE_SCENARIO:
//   normal          answers everything at once
//   failed-turn     ends every turn with status "failed"
//   crash           writes to standard error and exits with status 3 on account/read
// With QUILLON_DOUBLE_RECORD set, its arguments and then its whole environment, sorted, go to
// that file, one per line.
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

using Json = nlohmann::json;

namespace {

std::string scenario;
int turns = 0;

void send(const Json& message) {
    std::cout << message.dump() << "\n" << std::flush;
}

void answerTurn(const Json& request) {
    const std::string turnID = "turn-" + std::to_string(++turns);
    send(Json{{"id", request["id"]}, {"result", {{"turn", {{"id", turnID}, {"status", "inProgress"}}}}}});
    Json turn{{"id", turnID}, {"status", "completed"}};
    if (scenario == "failed-turn") {
        turn["status"] = "failed";
        turn["error"] = {{"message", "The double failed the turn."}};
    } else {
        const std::string reply = Json{{"markdown", "# Double summary"}}.dump();
        turn["items"] = Json::array({Json{{"type", "agentMessage"}, {"id", "m1"}, {"text", reply}}});
    }
    send(Json{{"method", "turn/completed"}, {"params", {{"threadId", request["params"]["threadId"]}, {"turn", turn}}}});
}

void handle(const Json& request) {
    if (!request.contains("id")) return;  // notifications
    const std::string method = request.value("method", "");
    const Json& id = request["id"];
    if (method == "initialize") {
        send(Json{{"id", id}, {"result", {{"userAgent", "double"}}}});
    } else if (method == "account/read") {
        if (scenario == "crash") {
            std::cerr << "thread 'main' panicked: the double was told to crash\n" << std::flush;
            std::exit(3);
        }
        send(Json{{"id", id}, {"result", {{"account", {{"type", "chatgpt"}, {"email", "double@example.invalid"}}}}}});
    } else if (method == "thread/start") {
        send(Json{{"id", id}, {"result", {{"thread", {{"id", "double-thread"}}}}}});
    } else if (method == "turn/start") {
        answerTurn(request);
    } else {
        send(Json{{"id", id}, {"result", Json::object()}});
    }
}

}  // namespace

int main(int argc, char** argv) {
    const char* chosen = std::getenv("QUILLON_DOUBLE_SCENARIO");
    scenario = chosen ? chosen : "normal";
    if (const char* record = std::getenv("QUILLON_DOUBLE_RECORD")) {
        std::ofstream out(record);
        for (int i = 1; i < argc; ++i) out << argv[i] << "\n";
        std::vector<std::string> environment;
        for (char** entry = environ; *entry; ++entry) environment.emplace_back(*entry);
        std::sort(environment.begin(), environment.end());
        for (const auto& entry : environment) out << entry << "\n";
    }
    std::string line;
    while (std::getline(std::cin, line)) {
        const Json request = Json::parse(line, nullptr, false);
        if (request.is_discarded()) continue;
        handle(request);
    }
    return 0;
}
