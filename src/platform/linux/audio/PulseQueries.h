#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/audio/PulseConnection.h"

namespace quillon::pulse {

// Blocking queries of the server's state. Each needs the connection's lock and returns absent
// when the server does not answer.
struct ServerDefaults {
    std::string sink;
    std::string source;
};
std::optional<ServerDefaults> serverDefaults(PulseConnection& connection);

struct SourceSummary {
    std::string name;
    bool isMonitor = false;
};
std::optional<std::vector<SourceSummary>> sources(PulseConnection& connection);

// The monitor source of a sink, given by name or by index.
std::optional<std::string> monitorOfSink(PulseConnection& connection, const std::string& sinkName);
std::optional<std::uint32_t> monitorOfSink(PulseConnection& connection, std::uint32_t sinkIndex);

}  // namespace quillon::pulse
