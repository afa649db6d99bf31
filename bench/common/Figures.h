#pragma once

// What the benchmarks that print their own figures share: the spread of a set of measurements and
// what a process costs.
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace quillon::bench {

inline double milliseconds(std::chrono::steady_clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

// "median M unit, min m, max x (n)" of `values`, with `decimals` decimals.
inline std::string spread(std::vector<double> values, const char* unit = "ms", int decimals = 0) {
    if (values.empty()) return "no measurement";
    std::ranges::sort(values);
    char text[160];
    std::snprintf(text, sizeof text, "median %.*f %s, min %.*f %s, max %.*f %s (%zu)", decimals,
                  values[values.size() / 2], unit, decimals, values.front(), unit, decimals, values.back(),
                  unit, values.size());
    return text;
}

// CPU seconds (user and system) this process has used so far.
inline double processCpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

// User and system CPU seconds of process `pid` so far: fields 14 and 15 of its stat line.
inline double cpuSeconds(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string line, skipped;
    std::getline(stat, line);
    std::istringstream fields(line.substr(line.rfind(')') + 2));
    for (int field = 3; field < 14; ++field) fields >> skipped;
    long user = 0, system = 0;
    fields >> user >> system;
    return static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// The resident memory of process `pid` now, in MiB.
inline double residentMB(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmRSS:")) return static_cast<double>(std::stol(line.substr(6))) / 1024.0;
    return 0;
}

}  // namespace quillon::bench
