#include "platform/linux/audio/PulseQueries.h"

namespace quillon::pulse {

namespace {

template <class Result>
struct Query {
    PulseConnection* connection;
    Result result{};
};

}  // namespace

std::optional<ServerDefaults> serverDefaults(PulseConnection& connection) {
    Query<ServerDefaults> query{&connection};
    const bool done = connection.await(pa_context_get_server_info(
        connection.context(),
        [](pa_context*, const pa_server_info* info, void* user) {
            auto& q = *static_cast<Query<ServerDefaults>*>(user);
            if (info && info->default_sink_name) q.result.sink = info->default_sink_name;
            if (info && info->default_source_name) q.result.source = info->default_source_name;
            q.connection->signal();
        },
        &query));
    if (!done) return std::nullopt;
    return query.result;
}

std::optional<std::vector<SourceSummary>> sources(PulseConnection& connection) {
    Query<std::vector<SourceSummary>> query{&connection};
    const bool done = connection.await(pa_context_get_source_info_list(
        connection.context(),
        [](pa_context*, const pa_source_info* info, int, void* user) {
            auto& q = *static_cast<Query<std::vector<SourceSummary>>*>(user);
            if (info) q.result.push_back({info->name, info->monitor_of_sink != PA_INVALID_INDEX});
            q.connection->signal();
        },
        &query));
    if (!done) return std::nullopt;
    return query.result;
}

namespace {
struct Monitor {
    std::string name;
    std::uint32_t index = PA_INVALID_INDEX;
};
void takeMonitor(pa_context*, const pa_sink_info* info, int, void* user) {
    auto& q = *static_cast<Query<Monitor>*>(user);
    if (info) q.result = {info->monitor_source_name ? info->monitor_source_name : "", info->monitor_source};
    q.connection->signal();
}
}  // namespace

std::optional<std::string> monitorOfSink(PulseConnection& connection, const std::string& sinkName) {
    Query<Monitor> query{&connection};
    const bool done = connection.await(
        pa_context_get_sink_info_by_name(connection.context(), sinkName.c_str(), &takeMonitor, &query));
    if (!done || query.result.name.empty()) return std::nullopt;
    return query.result.name;
}

std::optional<std::uint32_t> monitorOfSink(PulseConnection& connection, std::uint32_t sinkIndex) {
    Query<Monitor> query{&connection};
    const bool done =
        connection.await(pa_context_get_sink_info_by_index(connection.context(), sinkIndex, &takeMonitor, &query));
    if (!done || query.result.index == PA_INVALID_INDEX) return std::nullopt;
    return query.result.index;
}

}  // namespace quillon::pulse
