#include "platform/linux/media/MediaImportFFmpeg.h"

#include <QMimeDatabase>
#include <QMimeType>
#include <QString>

#include "core/base/Uuid.h"
#include "platform/linux/media/AudioFileReaderFFmpeg.h"
#include "platform/linux/media/AudioTrackExtractorFFmpeg.h"

namespace quillon {

namespace {

bool isAudioOrVideo(const QMimeType& type) {
    if (!type.isValid()) return false;
    QStringList names = type.allAncestors();
    names.prepend(type.name());
    for (const QString& name : names) {
        if (name.startsWith(QLatin1String("audio/")) || name.startsWith(QLatin1String("video/"))) return true;
    }
    return false;
}

// Types the content sniffing gives when it recognised nothing in particular.
bool saysNothing(const QMimeType& type) {
    return !type.isValid() || type.isDefault() || type.name() == QLatin1String("application/x-zerosize");
}

}  // namespace

MediaImportFFmpeg::MediaImportFFmpeg(std::filesystem::path temporaryDirectory, Logger logger)
    : temporaryDirectory_(std::move(temporaryDirectory)), logger_(std::move(logger)) {}

bool MediaImportFFmpeg::isSupportedMedia(const std::filesystem::path& file) const {
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) return false;
    const QMimeDatabase database;
    const QString path = QString::fromStdString(file.string());
    QMimeType type = database.mimeTypeForFile(path, QMimeDatabase::MatchContent);
    if (saysNothing(type)) type = database.mimeTypeForFile(path, QMimeDatabase::MatchExtension);
    return isAudioOrVideo(type);
}

std::expected<PreparedAudioInput, TranscriptionError> MediaImportFFmpeg::prepareAudioInput(
    const std::filesystem::path& file) {
    ffmpeg::OpenFailure failure{};
    auto input = ffmpeg::openAudioInput(file.c_str(), failure);
    if (!input) {
        if (failure == ffmpeg::OpenFailure::noAudioTrack) return std::unexpected(TranscriptionError::noAudioTrack());
        logger_.error("Could not read the media file " + file.string());
        return std::unexpected(TranscriptionError::audioLoadFailed());
    }
    if (!input->hasVideo) return PreparedAudioInput{file, [] {}};

    logger_.info("Extracting the audio track from imported media: " + file.string());
    auto output = temporaryDirectory_ / ("transcription-import-" + Uuid::random().toString() + ".m4a");
    AudioTrackExtractorFFmpeg extractor(logger_);
    if (auto extracted = extractor.extract(*input, output); !extracted) return std::unexpected(extracted.error());
    return PreparedAudioInput{output, [output] {
                                  std::error_code ignored;  // a failed deletion is not reported
                                  std::filesystem::remove(output, ignored);
                              }};
}

std::expected<std::unique_ptr<AudioFileReader>, TranscriptionError> MediaImportFFmpeg::openAudioFile(
    const std::filesystem::path& file, AudioFormat format) {
    auto reader = AudioFileReaderFFmpeg::open(file, format, logger_);
    if (!reader) return std::unexpected(reader.error());
    return std::unique_ptr<AudioFileReader>(std::move(*reader));
}

}  // namespace quillon
