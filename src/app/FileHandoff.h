#pragma once

#include <QLocalServer>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class QLocalSocket;

namespace quillon {

// Files given to a second launch (`quillon FILE...`, the desktop's "Open With") travel to the
// running Quillon over a local socket beside its lock, only the user can open. The running one
// answers with an empty line when it took the files, or with its refusal in the user's words.
class FileHandoff {
public:
    // What the running one does with the files: nothing to say when they were taken, otherwise why
    // not.
    using Receiver = std::function<std::string(const std::vector<std::filesystem::path>&)>;

    explicit FileHandoff(const std::filesystem::path& runtimeDirectory);
    ~FileHandoff();

    // Starts listening, in the running Quillon. False (and the reason in `error`) when it cannot.
    bool listen(Receiver receiver, std::string& error);

    // Sends `files` (made absolute here) to the running Quillon and waits for its answer. The exit
    // status of the launch: 0 when they were taken, 1 when refused (the reason goes to standard
    // error) or when no running Quillon answered.
    int handOff(const std::vector<std::filesystem::path>& files) const;

    // The files of a command line: paths, or file:// addresses as desktops pass them.
    static std::vector<std::filesystem::path> filesFromArguments(int argc, char** argv);

private:
    void serve(QLocalSocket* socket);

    std::filesystem::path socketPath_;
    std::unique_ptr<QLocalServer> server_;
    Receiver receiver_;
};

}  // namespace quillon
