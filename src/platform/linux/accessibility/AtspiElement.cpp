#include "platform/linux/accessibility/AtspiElement.h"

#include <atspi/atspi.h>

#include "platform/linux/accessibility/AtspiThread.h"

namespace quillon {

std::string AtspiElement::busNameOf(AtspiAccessible* object) {
    const AtspiObject& base = object->parent;
    return base.app && base.app->bus_name ? base.app->bus_name : "";
}

AtspiElement::AtspiElement(AtspiAccessible* object, std::shared_ptr<AtspiThread> thread)
    : object_(object), thread_(std::move(thread)), busName_(busNameOf(object)) {
    identity_ = busName_ + object->parent.path;
}

AtspiElement::~AtspiElement() {
    thread_->post([object = object_] { g_object_unref(object); });
}

}  // namespace quillon
