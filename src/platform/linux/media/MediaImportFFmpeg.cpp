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

MediaImportFFmpeg::MediaImportFFmpeg(TemporaryFiles& temporaryFiles, Logger logger)
    : temporaryFiles_(temporaryFiles), logger_(std::move(logger)) {}

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
    if (auto reason = ffmpeg::unreadableReason(file.c_str())) {
        return std::unexpected(TranscriptionError::unreadableFile(std::move(*reason)));
    }
    ffmpeg::OpenFailure failure{};
    auto input = ffmpeg::openAudioInput(file.c_str(), failure);
    if (!input) {
        if (failure == ffmpeg::OpenFailure::noAudioTrack) return std::unexpected(TranscriptionError::noAudioTrack());
        logger_.error("Could not read the media file " + file.string());
        return std::unexpected(TranscriptionError::audioLoadFailed());
    }
    if (!input->hasVideo) return PreparedAudioInput{file, [] {}};

    logger_.info("Extracting the audio track from imported media: " + file.string());
    const std::string name = "transcription-import-" + Uuid::random().toString() + ".m4a";
    auto output = temporaryFiles_.createFile(name);
    if (!output) {
        logger_.error("Could not make a private temporary file for the extracted audio: " + output.error().message());
        return std::unexpected(TranscriptionError::audioLoadFailed());
    }
    AudioTrackExtractorFFmpeg extractor(logger_);
    TemporaryFiles& files = temporaryFiles_;
    if (auto extracted = extractor.extract(*input, *output); !extracted) {
        (void)files.remove(name);  // a failed deletion is not reported
        return std::unexpected(extracted.error());
    }
    return PreparedAudioInput{*output, [&files, name] { (void)files.remove(name); }};
}

std::expected<std::unique_ptr<AudioFileReader>, TranscriptionError> MediaImportFFmpeg::openAudioFile(
    const std::filesystem::path& file) {
    auto reader = AudioFileReaderFFmpeg::open(file, logger_);
    if (!reader) return std::unexpected(reader.error());
    return std::unique_ptr<AudioFileReader>(std::move(*reader));
}

}  // namespace quillon
