#pragma once

#include <optional>

#include "core/insertion/EventInsertionStrategy.h"
#include "core/insertion/TargetApplicationInfo.h"

namespace quillon {

// Applications whose text fields accept typed text but misbehave when written through the
// accessibility service (chat inputs of Electron apps and the like), and how to type into them.
class EventPathApplications {
public:
    static bool shouldUseEventBasedInsertion(const std::optional<TargetApplicationInfo>& application);
    static EventInsertionStrategy eventInsertionStrategy(const std::optional<TargetApplicationInfo>& application);
};

}  // namespace quillon
