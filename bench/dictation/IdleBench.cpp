// What the tray app costs while it waits for the hotkey: its CPU time over a minute and its
// resident memory, with the speech model's size on disk printed apart. Starts the real program;
// run it inside tests/integration/desktop-session.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

namespace {

// User and system CPU seconds of `pid` so far: fields 14 and 15 of its stat line.
double cpuSeconds(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string line, skipped;
    std::getline(stat, line);
    std::istringstream fields(line.substr(line.rfind(')') + 2));
    for (int field = 3; field < 14; ++field) fields >> skipped;
    long user = 0, system = 0;
    fields >> user >> system;
    return static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

long residentKB(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmRSS:")) return std::stol(line.substr(6));
    return 0;
}

std::uintmax_t folderSize(const std::filesystem::path& folder) {
    std::uintmax_t total = 0;
    std::error_code error;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder, error))
        if (entry.is_regular_file(error)) total += entry.file_size(error);
    return total;
}

}  // namespace

int main(int argc, char** argv) {
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 60;
    const std::filesystem::path home =
        std::filesystem::temp_directory_path() / ("quillon-idle-" + std::to_string(getpid()));
    std::filesystem::create_directories(home / "config");
    std::filesystem::permissions(home, std::filesystem::perms::owner_all);
    const pid_t pid = fork();
    if (pid == 0) {
        setenv("XDG_CONFIG_HOME", (home / "config").c_str(), 1);
        setenv("XDG_RUNTIME_DIR", home.c_str(), 1);
        setenv("QUILLON_LOG_LEVEL", "error", 1);
        execl(QUILLON_BINARY, QUILLON_BINARY, static_cast<char*>(nullptr));
        _exit(127);
    }
    // Launch, the microphone request and the model's background load are over well within this.
    std::this_thread::sleep_for(std::chrono::seconds(15));
    if (int status = 0; waitpid(pid, &status, WNOHANG) == pid) {
        std::fprintf(stderr, "quillon ended at launch (status %d)\n", status);
        return 1;
    }
    const double before = cpuSeconds(pid);
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    const double used = cpuSeconds(pid) - before;
    const long resident = residentKB(pid);
    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
    std::filesystem::remove_all(home);

    const double model = static_cast<double>(folderSize("/usr/share/pocketsphinx/model/en-us")) / 1e6;
    std::printf("Quillon idle, after launch:\n");
    std::printf("  CPU over %d s: %.2f s (%.3f %% of a core)\n", seconds, used, 100.0 * used / seconds);
    std::printf("  resident memory: %.1f MB, speech model and decoders included\n", resident / 1024.0);
    std::printf("  the speech model on disk (en-us, Debian): %.1f MB\n", model);
    return 0;
}
