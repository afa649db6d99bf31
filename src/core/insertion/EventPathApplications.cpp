#include "core/insertion/EventPathApplications.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace quillon {

namespace {

enum class Field { bundleIdentifier, localizedName, flatpakId, processName };
enum class Test { equals, contains };

struct Entry {
    Field field;
    Test test;
    std::string_view value;
    EventInsertionStrategy strategy;
};

using enum EventInsertionStrategy;

// Checked in order; the first match decides. Values are lower case. The macOS bundle
// identifiers stay so that settings and logs read the same everywhere; the Linux identities
// follow (desktop file ids of the Debian and AppImage packages, Flathub ids, executable names).
constexpr std::array entries{
    Entry{Field::bundleIdentifier, Test::equals, "com.hnc.discord", perCharacterTyping},
    Entry{Field::bundleIdentifier, Test::equals, "com.todesktop.230313mzl4w4u92", unicodeTyping},
    Entry{Field::bundleIdentifier, Test::equals, "com.cursor.cursor", unicodeTyping},
    Entry{Field::bundleIdentifier, Test::contains, "codex", unicodeTyping},
    Entry{Field::bundleIdentifier, Test::contains, "openai", unicodeTyping},
    Entry{Field::localizedName, Test::equals, "discord", perCharacterTyping},
    Entry{Field::localizedName, Test::equals, "cursor", unicodeTyping},
    Entry{Field::localizedName, Test::equals, "codex", unicodeTyping},
    Entry{Field::bundleIdentifier, Test::equals, "discord", perCharacterTyping},
    Entry{Field::bundleIdentifier, Test::equals, "com.discordapp.discord", perCharacterTyping},
    Entry{Field::flatpakId, Test::equals, "com.discordapp.discord", perCharacterTyping},
    Entry{Field::processName, Test::equals, "discord", perCharacterTyping},
    Entry{Field::bundleIdentifier, Test::equals, "cursor", unicodeTyping},
    Entry{Field::processName, Test::equals, "cursor", unicodeTyping},
    Entry{Field::flatpakId, Test::contains, "codex", unicodeTyping},
    Entry{Field::flatpakId, Test::contains, "openai", unicodeTyping},
    Entry{Field::processName, Test::equals, "codex", unicodeTyping},
};

std::string lowercased(std::string_view text) {
    std::string result(text);
    std::ranges::transform(result, result.begin(), [](unsigned char c) {
        return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    });
    return result;
}

const std::string& fieldOf(const TargetApplicationInfo& info, Field field) {
    switch (field) {
        case Field::bundleIdentifier: return info.bundleIdentifier;
        case Field::localizedName: return info.localizedName;
        case Field::flatpakId: return info.flatpakId;
        case Field::processName: return info.processName;
    }
    return info.bundleIdentifier;
}

const Entry* matchingEntry(const std::optional<TargetApplicationInfo>& application) {
    if (!application) return nullptr;
    for (const Entry& entry : entries) {
        const std::string value = lowercased(fieldOf(*application, entry.field));
        const bool matches = entry.test == Test::equals ? value == entry.value
                                                        : value.find(entry.value) != std::string::npos;
        if (matches) return &entry;
    }
    return nullptr;
}

}  // namespace

bool EventPathApplications::shouldUseEventBasedInsertion(const std::optional<TargetApplicationInfo>& application) {
    return matchingEntry(application) != nullptr;
}

EventInsertionStrategy EventPathApplications::eventInsertionStrategy(
    const std::optional<TargetApplicationInfo>& application) {
    const Entry* entry = matchingEntry(application);
    return entry ? entry->strategy : unicodeTyping;
}

}  // namespace quillon
