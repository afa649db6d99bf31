#pragma once

#include <memory>
#include <source_location>
#include <string_view>

#include "core/logging/LogService.h"

namespace quillon {

// What each class that logs holds: the shared log and its own category.
class Logger {
public:
    Logger(std::shared_ptr<LogService> service, LogCategory category)
        : service_(std::move(service)), category_(category) {}

    void debug(std::string_view message, std::source_location location = std::source_location::current()) const {
        service_->write(LogLevel::debug, category_, message, location);
    }
    void info(std::string_view message, std::source_location location = std::source_location::current()) const {
        service_->write(LogLevel::info, category_, message, location);
    }
    void error(std::string_view message, std::source_location location = std::source_location::current()) const {
        service_->write(LogLevel::error, category_, message, location);
    }

    LogCategory category() const { return category_; }
    const std::shared_ptr<LogService>& service() const { return service_; }

private:
    std::shared_ptr<LogService> service_;
    LogCategory category_;
};

}  // namespace quillon
