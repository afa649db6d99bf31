#pragma once

#include <pulse/pulseaudio.h>

#include <expected>
#include <functional>
#include <string>
#include <vector>

#include "core/ports/AudioDevices.h"

namespace quillon {

// Asks the server for its sources and answers with the microphones among them: every source that
// is not the monitor of a sink, keyed by source name, named by its description. Call with the loop
// lock held; the completion runs on the loop's thread.
void listPulseMicrophones(pa_context* context, AudioDevices::ListCompletion completion);

}  // namespace quillon
