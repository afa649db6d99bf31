#pragma once

#include <memory>

#include "core/base/ManualScheduler.h"
#include "core/logging/LogService.h"
#include "core/logging/Logger.h"
#include "fakes/FakeLogOutput.h"
#include "fakes/FakeWallClock.h"

namespace quillon::testing {

// A whole log for one test: the ring runs on the given scheduler, lines reach `output`.
struct TestLog {
    explicit TestLog(quillon::Scheduler& ringQueue)
        : service(std::make_shared<quillon::LogService>(ringQueue, output, clock)) {}

    quillon::Logger logger(quillon::LogCategory category) const { return quillon::Logger(service, category); }

    FakeLogOutput output;
    FakeWallClock clock;
    std::shared_ptr<quillon::LogService> service;
};

}  // namespace quillon::testing
