#pragma once

#include <string>

namespace quillon {

// The user's current locale as an identifier ("en_US", "de_DE"), from the environment in the
// order the C library reads it (LC_ALL, LC_MESSAGES, LANG), without encoding and modifier. The C
// and POSIX locales, and an environment that names none, are "en_US_POSIX".
std::string currentLocaleIdentifier();

}  // namespace quillon
