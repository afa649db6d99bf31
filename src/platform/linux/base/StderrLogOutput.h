#pragma once

#include "core/ports/LogOutput.h"

namespace quillon {

// The platform log on Linux: one line per message on standard error, which journald keeps for
// a desktop session. Each line is written with a single write(2), so lines from several threads
// never interleave.
class StderrLogOutput final : public LogOutput {
public:
    explicit StderrLogOutput(LogLevel minimumLevel = LogLevel::info) : minimumLevel_(minimumLevel) {}

    bool isEnabled(LogLevel level) const override;
    void write(LogLevel level, LogCategory category, std::string_view message) override;

private:
    LogLevel minimumLevel_;
};

}  // namespace quillon
