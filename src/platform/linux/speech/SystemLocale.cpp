#include "platform/linux/speech/SystemLocale.h"

#include <cstdlib>
#include <string_view>

namespace quillon {

std::string currentLocaleIdentifier() {
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(variable);
        if (!value || !*value) continue;
        std::string_view name(value);
        name = name.substr(0, name.find_first_of(".@"));
        if (name == "C" || name == "POSIX") break;
        return std::string(name);
    }
    return "en_US_POSIX";
}

}  // namespace quillon
