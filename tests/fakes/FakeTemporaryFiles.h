#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "core/ports/TemporaryFiles.h"
#include "fakes/FakeWritableFile.h"

namespace quillon::testing {

// Temporary files held in memory under a made-up folder. `failure`, when set, fails every
// operation with that error, as a full disk or a folder that could not be made would.
class FakeTemporaryFiles final : public TemporaryFiles {
public:
    std::filesystem::path folder = "/run/user/1000/quillon";
    std::optional<std::error_code> failure;

    std::string content(const std::string& name) const { return read(name).value_or(""); }

    std::filesystem::path directory() const override { return folder; }

    std::expected<std::filesystem::path, std::error_code> createFile(std::string_view name) override {
        std::lock_guard lock(mutex_);
        if (failure) return std::unexpected(*failure);
        if (!files_.emplace(name, "").second) return std::unexpected(std::make_error_code(std::errc::file_exists));
        return folder / name;
    }
    // The file's bytes stay readable in `writables` by name.
    std::expected<std::unique_ptr<WritableFile>, std::error_code> createWritable(std::string_view name) override {
        std::lock_guard lock(mutex_);
        if (failure) return std::unexpected(*failure);
        auto contents = std::make_shared<FakeFileContents>();
        if (!writables.emplace(name, contents).second) return std::unexpected(std::make_error_code(std::errc::file_exists));
        return std::make_unique<FakeWritableFile>(contents);
    }
    std::expected<std::uintmax_t, std::error_code> append(std::string_view name, std::string_view bytes) override {
        std::lock_guard lock(mutex_);
        if (failure) return std::unexpected(*failure);
        return (files_[std::string(name)] += bytes).size();
    }
    std::expected<std::string, std::error_code> read(std::string_view name) const override {
        std::lock_guard lock(mutex_);
        if (failure) return std::unexpected(*failure);
        const auto found = files_.find(std::string(name));
        if (found == files_.end()) return std::unexpected(std::make_error_code(std::errc::no_such_file_or_directory));
        return found->second;
    }
    std::expected<void, std::error_code> replace(std::string_view name, std::string_view bytes) override {
        std::lock_guard lock(mutex_);
        if (failure) return std::unexpected(*failure);
        files_[std::string(name)] = bytes;
        return {};
    }
    std::expected<void, std::error_code> remove(std::string_view name) override {
        std::lock_guard lock(mutex_);
        if (failure) return std::unexpected(*failure);
        files_.erase(std::string(name));
        writables.erase(std::string(name));
        return {};
    }

    std::map<std::string, std::shared_ptr<FakeFileContents>, std::less<>> writables;

private:
    mutable std::mutex mutex_;
    std::map<std::string, std::string, std::less<>> files_;
};

}  // namespace quillon::testing
