#pragma once

#include "core/audio/LiveAudioConfiguration.h"
#include "core/ports/KeyValueStore.h"

namespace quillon {

// The live transcript's stored source choice, under "liveTranscript.audioMode",
// "liveTranscript.systemAudioBundleIdentifier" and "liveTranscript.systemAudioDisplayName".
// Reading never writes. The store has no removal, so an absent application identifier is
// written as an empty string, which reads back as absent.
class LiveAudioPreferences {
public:
    static LiveAudioConfiguration configuration(const KeyValueStore& store);
    static void setConfiguration(KeyValueStore& store, const LiveAudioConfiguration& configuration);
};

}  // namespace quillon
