#pragma once

#include <memory>
#include <string>

#include "core/ports/AccessibilityElement.h"

typedef struct _AtspiAccessible AtspiAccessible;

namespace quillon {

class AtspiThread;

// An element on the accessibility bus: a reference to libatspi's proxy, released on the libatspi
// thread, and its identity (the owner's unique bus name and the object path).
class AtspiElement final : public AccessibilityElement {
public:
    // Takes over one reference to `object`.
    AtspiElement(AtspiAccessible* object, std::shared_ptr<AtspiThread> thread);
    ~AtspiElement() override;
    AtspiElement(const AtspiElement&) = delete;
    AtspiElement& operator=(const AtspiElement&) = delete;

    // Use on the libatspi thread only.
    AtspiAccessible* object() const { return object_; }
    const std::string& busName() const { return busName_; }
    const std::string& identity() const { return identity_; }

    static std::string busNameOf(AtspiAccessible* object);

private:
    AtspiAccessible* object_;
    std::shared_ptr<AtspiThread> thread_;
    std::string busName_;
    std::string identity_;
};

}  // namespace quillon
