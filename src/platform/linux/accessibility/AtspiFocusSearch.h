#pragma once

#include <atspi/atspi.h>

#include "platform/linux/accessibility/AtspiResponsiveness.h"

namespace quillon {

// Finds the running application of a process and the element that has the focus inside it:
// a Collection query where the toolkit offers one, else a walk of the showing elements.
//
// Threads: the libatspi thread only. Returned objects carry a reference for the caller.
class AtspiFocusSearch {
public:
    // `ownProcess` is never asked: Qt answers the bus on this process's GUI thread, which may be
    // the very thread waiting for the answer.
    AtspiFocusSearch(AtspiResponsiveness& responsiveness, int walkLimit, int ownProcess);

    // Null for this process itself.
    AtspiAccessible* applicationForProcess(int processIdentifier);
    AtspiAccessible* focusedDescendant(AtspiAccessible* root);

    static bool hasState(AtspiAccessible* object, AtspiStateType state);

private:
    AtspiAccessible* bestFocusedMatch(GArray* matches);
    AtspiAccessible* walkForFocus(AtspiAccessible* element, int& budget);

    AtspiResponsiveness& responsiveness_;
    int walkLimit_;
    int ownProcess_;
};

}  // namespace quillon
