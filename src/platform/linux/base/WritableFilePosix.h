#pragma once

#include "core/ports/WritableFile.h"

namespace quillon {

// A POSIX file descriptor with a position. Closes it when released if close() was not called.
class WritableFilePosix final : public WritableFile {
public:
    explicit WritableFilePosix(int descriptor) : descriptor_(descriptor) {}
    ~WritableFilePosix() override;
    WritableFilePosix(const WritableFilePosix&) = delete;
    WritableFilePosix& operator=(const WritableFilePosix&) = delete;

    std::expected<void, std::string> write(std::span<const std::byte> bytes) override;
    std::expected<void, std::string> seek(std::uint64_t offset) override;
    std::expected<void, std::string> close() override;

private:
    int descriptor_;
};

}  // namespace quillon
