#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace quillon::testing {

// A real application started for a test, with its standard input and output on pipes.
// The destructor ends it (SIGCONT, then SIGKILL) and reaps it.
class TestApplication {
public:
    // With `mergeErrors` the program's standard error joins its output.
    TestApplication(const std::string& program, const std::vector<std::string>& arguments, bool mergeErrors = false);
    ~TestApplication();
    TestApplication(const TestApplication&) = delete;
    TestApplication& operator=(const TestApplication&) = delete;

    int pid() const { return pid_; }
    bool started() const { return pid_ > 0; }

    void send(const std::string& line);
    // The next line of output, or absent when none came before the deadline.
    std::optional<std::string> readLine(std::chrono::milliseconds timeout = std::chrono::seconds(10));
    // Sends `command` and returns the first reply line.
    std::optional<std::string> ask(const std::string& command);

    void signal(int number);
    // Waits for the process to end; its exit status, or absent on time-out.
    std::optional<int> waitForExit(std::chrono::milliseconds timeout);

private:
    int pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    std::string buffered_;
    bool reaped_ = false;
};

}  // namespace quillon::testing
