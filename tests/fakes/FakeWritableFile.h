#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/ports/WritableFile.h"

namespace quillon::testing {

// A file in memory. A test makes the next write, seek or close fail, and reads what was written.
struct FakeFileContents {
    std::vector<std::byte> bytes;
    bool closed = false;
    int failWritesAfter = -1;  // how many more writes succeed; -1 for all
    bool failSeek = false;
    bool failClose = false;
};

class FakeWritableFile final : public quillon::WritableFile {
public:
    explicit FakeWritableFile(std::shared_ptr<FakeFileContents> contents) : contents_(std::move(contents)) {}

    std::expected<void, std::string> write(std::span<const std::byte> bytes) override {
        if (contents_->closed) return std::unexpected("Bad file descriptor");
        if (contents_->failWritesAfter == 0) return std::unexpected("No space left on device");
        if (contents_->failWritesAfter > 0) --contents_->failWritesAfter;
        auto& out = contents_->bytes;
        if (out.size() < position_ + bytes.size()) out.resize(position_ + bytes.size());
        std::ranges::copy(bytes, out.begin() + static_cast<std::ptrdiff_t>(position_));
        position_ += bytes.size();
        return {};
    }
    std::expected<void, std::string> seek(std::uint64_t offset) override {
        if (contents_->failSeek) return std::unexpected("Illegal seek");
        position_ = offset;
        return {};
    }
    std::expected<void, std::string> close() override {
        if (contents_->failClose || contents_->closed) return std::unexpected("Input/output error");
        contents_->closed = true;
        return {};
    }

private:
    std::shared_ptr<FakeFileContents> contents_;
    std::uint64_t position_ = 0;
};

}  // namespace quillon::testing
