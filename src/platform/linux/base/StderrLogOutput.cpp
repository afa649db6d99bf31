#include "platform/linux/base/StderrLogOutput.h"

#include <unistd.h>

#include <string>

namespace quillon {

bool StderrLogOutput::isEnabled(LogLevel level) const {
    return static_cast<int>(level) >= static_cast<int>(minimumLevel_);
}

void StderrLogOutput::write(LogLevel level, LogCategory category, std::string_view message) {
    std::string line;
    line.reserve(message.size() + 32);
    line.append("quillon[");
    line.append(logCategoryText(category));
    line.append("] ");
    line.append(logLevelText(level));
    line.append(": ");
    line.append(message);
    line.push_back('\n');
    std::size_t written = 0;
    while (written < line.size()) {
        ssize_t result = ::write(STDERR_FILENO, line.data() + written, line.size() - written);
        if (result <= 0) break;  // a closed stderr loses the line; the ring still has it
        written += static_cast<std::size_t>(result);
    }
}

}  // namespace quillon
