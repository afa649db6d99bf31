#pragma once

#include <map>
#include <set>
#include <string>

#include "core/ports/HostEnvironment.h"

namespace quillon::testing {

// An environment made up by the test: its variables, and the paths that count as executables.
class FakeHostEnvironment final : public quillon::HostEnvironment {
public:
    std::map<std::string, std::string> variables() const override { return vars; }
    bool isExecutableFile(const std::string& path) const override { return executables.contains(path); }

    std::map<std::string, std::string> vars;
    std::set<std::string> executables;
};

}  // namespace quillon::testing
