#pragma once

#include <mutex>
#include <string>
#include <vector>

#include <sys/types.h>

#include "core/ports/UrlOpener.h"

namespace quillon {

// Opens addresses with xdg-open, which hands them to the desktop's default browser. The call does
// not wait for xdg-open (some browsers keep it waiting for as long as they run); finished ones
// are reaped at the next call and when the opener is destroyed. mutex_ guards launched_.
class UrlOpenerXdg final : public UrlOpener {
public:
    explicit UrlOpenerXdg(std::string program = "xdg-open") : program_(std::move(program)) {}
    ~UrlOpenerXdg() override;

    std::expected<void, std::string> open(const std::string& url) override;

private:
    void reapFinished();

    std::string program_;
    std::mutex mutex_;
    std::vector<pid_t> launched_;
};

}  // namespace quillon
