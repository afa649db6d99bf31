#include "fakes/FakeMediaImport.h"

namespace quillon::testing {

namespace {

const std::string extractedSuffix = ".extracted.m4a";

class FakeAudioFileReader final : public quillon::AudioFileReader {
public:
    explicit FakeAudioFileReader(FakeMediaImport::File file) : file_(std::move(file)) {}

    std::optional<double> durationSeconds() const override { return file_.durationSeconds; }

    std::expected<std::vector<std::int16_t>, quillon::TranscriptionError> read() override {
        if (file_.failReadAtBlock && *file_.failReadAtBlock == next_) {
            return std::unexpected(quillon::TranscriptionError::audioLoadFailed());
        }
        if (next_ >= file_.blocks.size()) return std::vector<std::int16_t>{};
        return file_.blocks[next_++];
    }

private:
    FakeMediaImport::File file_;
    std::size_t next_ = 0;
};

}  // namespace

void FakeMediaImport::add(const std::filesystem::path& path, File file) {
    std::lock_guard lock(mutex_);
    files_[path] = std::move(file);
}

int FakeMediaImport::cleanups() const {
    std::lock_guard lock(mutex_);
    return cleanups_;
}

std::vector<quillon::AudioFormat> FakeMediaImport::openedFormats() const {
    std::lock_guard lock(mutex_);
    return openedFormats_;
}

std::vector<std::filesystem::path> FakeMediaImport::openedPaths() const {
    std::lock_guard lock(mutex_);
    return openedPaths_;
}

bool FakeMediaImport::isSupportedMedia(const std::filesystem::path& file) const {
    std::lock_guard lock(mutex_);
    auto found = files_.find(file);
    return found != files_.end() && found->second.supported;
}

std::expected<quillon::PreparedAudioInput, quillon::TranscriptionError> FakeMediaImport::prepareAudioInput(
    const std::filesystem::path& file) {
    std::lock_guard lock(mutex_);
    auto found = files_.find(file);
    if (found == files_.end()) return std::unexpected(quillon::TranscriptionError::audioLoadFailed());
    if (found->second.prepareError) return std::unexpected(*found->second.prepareError);
    if (!found->second.needsExtraction) return quillon::PreparedAudioInput{file, [] {}};
    auto extracted = std::filesystem::path(file.string() + extractedSuffix);
    files_[extracted] = found->second;
    return quillon::PreparedAudioInput{extracted, [this] {
                                           std::lock_guard inner(mutex_);
                                           ++cleanups_;
                                       }};
}

std::expected<std::unique_ptr<quillon::AudioFileReader>, quillon::TranscriptionError> FakeMediaImport::openAudioFile(
    const std::filesystem::path& file, quillon::AudioFormat format) {
    std::lock_guard lock(mutex_);
    openedFormats_.push_back(format);
    openedPaths_.push_back(file);
    auto found = files_.find(file);
    if (found == files_.end()) return std::unexpected(quillon::TranscriptionError::audioLoadFailed());
    if (found->second.openError) return std::unexpected(*found->second.openError);
    return std::make_unique<FakeAudioFileReader>(found->second);
}

}  // namespace quillon::testing
