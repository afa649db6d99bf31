#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace quillon {

// What a save dialog proposes to the user.
struct SaveDialogRequest {
    std::string title;
    std::string acceptLabel;    // the button that saves
    std::string suggestedName;  // a file name, without a folder
    std::string mimeType;       // the one type of file offered
    // Shown on the live transcript window while it is visible, on its own otherwise.
    bool attachToTranscriptWindow = false;
};

// The desktop's file dialog for saving. Main thread only.
class SaveDialog {
public:
    virtual ~SaveDialog() = default;

    // Asks where to save; `answer` runs later on the main thread, with the chosen path or absent when
    // the user declined.
    virtual void present(const SaveDialogRequest& request,
                         std::function<void(std::optional<std::filesystem::path>)> answer) = 0;
};

}  // namespace quillon
