#pragma once

#include <filesystem>
#include <vector>

class QMimeData;

namespace quillon {

// The local files of a drag (text/uri-list), or none when anything in it is not a local file.
std::vector<std::filesystem::path> droppedFiles(const QMimeData* data);

}  // namespace quillon
