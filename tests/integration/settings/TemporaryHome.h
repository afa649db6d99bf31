#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include <stdlib.h>

namespace quillon::testing {

// A private home folder for one test, removed afterwards; its .config stands for XDG_CONFIG_HOME.
class TemporaryHome {
public:
    TemporaryHome() {
        std::string pattern = (std::filesystem::temp_directory_path() / "quillon-home.XXXXXX").string();
        root_ = ::mkdtemp(pattern.data());
        std::filesystem::create_directories(configHome());
    }
    ~TemporaryHome() {
        std::error_code ignored;
        std::filesystem::permissions(root_, std::filesystem::perms::owner_all, std::filesystem::perm_options::add, ignored);
        std::filesystem::remove_all(root_, ignored);
    }
    TemporaryHome(const TemporaryHome&) = delete;
    TemporaryHome& operator=(const TemporaryHome&) = delete;

    std::filesystem::path configHome() const { return root_ / ".config"; }

private:
    std::filesystem::path root_;
};

inline void writeFile(const std::filesystem::path& path, const std::string& content) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

inline std::string readFile(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary | std::ios::ate);
    if (!stream) return {};
    std::string content(static_cast<std::size_t>(stream.tellg()), '\0');
    stream.seekg(0);
    stream.read(content.data(), static_cast<std::streamsize>(content.size()));
    return content;
}

}  // namespace quillon::testing
