// Every include of the core checked against src/core/Layers.txt: the folders of the core depend
// on each other one way only, and the core includes no platform header.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace quillon {
namespace {

namespace fs = std::filesystem;
using Layers = std::map<std::string, std::set<std::string>>;

const fs::path sourceRoot{QUILLON_SOURCE_DIR};

Layers readLayers() {
    Layers layers;
    std::ifstream file(sourceRoot / "src/core/Layers.txt");
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line.starts_with('#')) continue;
        const auto colon = line.find(':');
        std::istringstream allowed(line.substr(colon + 1));
        auto& edges = layers[line.substr(0, colon)];
        for (std::string folder; allowed >> folder;) edges.insert(folder);
    }
    return layers;
}

struct Include {
    fs::path file;
    int line;
    std::string target;
    bool quoted;
};

std::vector<Include> coreIncludes() {
    static const std::regex directive(R"(^\s*#\s*include\s*([<"])([^>"]+)[>"])");
    std::vector<Include> result;
    for (const auto& entry : fs::recursive_directory_iterator(sourceRoot / "src/core")) {
        const auto extension = entry.path().extension();
        if (extension != ".h" && extension != ".cpp") continue;
        std::ifstream file(entry.path());
        int number = 0;
        for (std::string line; std::getline(file, line);) {
            ++number;
            std::smatch match;
            if (std::regex_search(line, match, directive)) {
                result.push_back(
                    {fs::relative(entry.path(), sourceRoot), number, match[2], match[1] == "\""});
            }
        }
    }
    return result;
}

// The folder of the core that `path` (relative to the source root, or an include target) is in.
std::string coreFolder(const fs::path& path) {
    auto part = path.begin();
    if (part != path.end() && *part == "src") ++part;
    if (part == path.end() || *part != "core") return {};
    ++part;
    return part == path.end() ? std::string() : part->string();
}

TEST(CoreLayers, EveryIncludeFollowsTheDeclaredDirection) {
    const Layers layers = readLayers();
    ASSERT_TRUE(layers.contains("base") && layers.contains("ports")) << "src/core/Layers.txt is unreadable";
    const auto includes = coreIncludes();
    ASSERT_GT(includes.size(), 100u);
    for (const auto& include : includes) {
        const std::string where =
            include.file.string() + ":" + std::to_string(include.line) + " includes " + include.target;
        if (!include.quoted) {
            // The standard library, ICU and nlohmann/json only: anything else is a platform header.
            const bool standard =
                include.target.find('/') == std::string::npos && !include.target.ends_with(".h");
            EXPECT_TRUE(standard || include.target.starts_with("unicode/") ||
                        include.target.starts_with("nlohmann/"))
                << where << ": the core takes no platform header";
            continue;
        }
        const std::string from = coreFolder(include.file);
        const std::string to = coreFolder(include.target);
        ASSERT_TRUE(layers.contains(from))
            << include.file << " is in a folder src/core/Layers.txt does not list";
        EXPECT_TRUE(!to.empty() && layers.contains(to)) << where << ": the core includes only the core";
        EXPECT_TRUE(to == from || layers.at(from).contains(to))
            << where << ": " << from << " may not depend on " << to;
    }
}

TEST(CoreLayers, DeclaredDirectionHasNoCycle) {
    const Layers layers = readLayers();
    std::map<std::string, int> state;  // 1 while on the path, 2 when done
    std::function<bool(const std::string&)> acyclic = [&](const std::string& folder) {
        if (state[folder] == 1) return false;
        if (state[folder] == 2) return true;
        state[folder] = 1;
        for (const auto& next : layers.at(folder)) {
            if (!layers.contains(next) || !acyclic(next)) {
                ADD_FAILURE() << folder << " -> " << next;
                return false;
            }
        }
        state[folder] = 2;
        return true;
    };
    for (const auto& [folder, edges] : layers) EXPECT_TRUE(acyclic(folder)) << folder;
    EXPECT_TRUE(layers.at("base").empty());
    EXPECT_EQ(layers.at("ports"), std::set<std::string>{"base"});
}

}  // namespace
}  // namespace quillon
