#pragma once

#include <filesystem>
#include <vector>

namespace quillon {

// The desktop's file dialog for "Transcribe File…", showing audio and video files. Empty when the
// user cancelled.
std::vector<std::filesystem::path> chooseMediaFiles();

}  // namespace quillon
