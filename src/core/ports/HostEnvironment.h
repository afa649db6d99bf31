#pragma once

#include <map>
#include <string>

namespace quillon {

// The program's own environment as the operating system gives it: its variables (HOME, PATH,
// XDG_DATA_HOME ...) and the one file check the standard library cannot make.
class HostEnvironment {
public:
    virtual ~HostEnvironment() = default;

    // Every variable of the program's environment.
    virtual std::map<std::string, std::string> variables() const = 0;

    // True when `path` names a regular file (following links) that this user may execute.
    virtual bool isExecutableFile(const std::string& path) const = 0;
};

}  // namespace quillon
