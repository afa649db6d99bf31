#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/ports/AudioFileWriter.h"

namespace quillon::testing {

// Files that record what was written to them, in memory. `openFailure` fails the next open;
// `writeFailure` fails every write while set.
class FakeAudioFileWriterFactory final : public quillon::AudioFileWriterFactory {
public:
    struct File {
        std::filesystem::path path;
        std::vector<std::size_t> writes;  // samples per write call
        bool closed = false;
    };

    std::expected<std::unique_ptr<AudioFileWriter>, std::string> open(const std::filesystem::path& path) override {
        if (openFailure) return std::unexpected(*std::exchange(openFailure, std::nullopt));
        files.push_back(std::make_shared<File>(File{path, {}, false}));
        return std::make_unique<Writer>(*this, files.back());
    }

    std::vector<std::shared_ptr<File>> files;
    std::optional<std::string> openFailure;
    std::optional<std::string> writeFailure;

private:
    class Writer final : public AudioFileWriter {
    public:
        Writer(FakeAudioFileWriterFactory& factory, std::shared_ptr<File> file) : factory_(factory), file_(std::move(file)) {}
        ~Writer() override { file_->closed = true; }
        std::expected<void, std::string> write(std::span<const std::int16_t> samples) override {
            file_->writes.push_back(samples.size());
            if (factory_.writeFailure) return std::unexpected(*factory_.writeFailure);
            return {};
        }

    private:
        FakeAudioFileWriterFactory& factory_;
        std::shared_ptr<File> file_;
    };
};

}  // namespace quillon::testing
