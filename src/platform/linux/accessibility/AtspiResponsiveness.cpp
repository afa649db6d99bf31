#include "platform/linux/accessibility/AtspiResponsiveness.h"

#include <atspi/atspi.h>

#include <string>

#include "platform/linux/accessibility/AtspiElement.h"
#include "platform/linux/accessibility/AtspiThread.h"

namespace quillon {

using Clock = std::chrono::steady_clock;

AtspiResponsiveness::AtspiResponsiveness(Logger logger, std::chrono::milliseconds callTimeout,
                                         std::chrono::milliseconds unresponsiveFor)
    : logger_(std::move(logger)), callTimeout_(callTimeout), unresponsiveFor_(unresponsiveFor) {}

AtspiResponsiveness::Call::Call(AtspiResponsiveness& owner, AtspiAccessible* object)
    : owner_(owner), object_(object), start_(Clock::now()) {
    AtspiThread::keepConnectionHere(object_);
}

AtspiResponsiveness::Call::~Call() {
    // The call may have met an application whose own connection libatspi opened meanwhile.
    AtspiThread::keepDesktopConnectionsHere();
    owner_.noteSlowCall(object_, Clock::now() - start_);
    if (error_) g_error_free(error_);
}

bool AtspiResponsiveness::isResponsive(AtspiAccessible* object) {
    const auto found = unresponsiveUntil_.find(AtspiElement::busNameOf(object));
    if (found == unresponsiveUntil_.end()) return true;
    if (Clock::now() >= found->second) {
        unresponsiveUntil_.erase(found);
        return true;
    }
    return false;
}

void AtspiResponsiveness::noteSlowCall(AtspiAccessible* object, Clock::duration elapsed) {
    if (elapsed < callTimeout_ * 8 / 10) return;
    const std::string bus = AtspiElement::busNameOf(object);
    if (!unresponsiveUntil_.contains(bus)) {
        logger_.error("An application (" + bus + ", pid " +
                      std::to_string(atspi_accessible_get_process_id(object, nullptr)) + ") took " +
                      std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count()) +
                      " ms to answer the accessibility bus; skipping it for a while");
    }
    unresponsiveUntil_[bus] = Clock::now() + unresponsiveFor_;
}

}  // namespace quillon
