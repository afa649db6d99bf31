#include "platform/linux/sound/SoundPlayerPulse.h"

#include <atomic>
#include <cstdint>
#include <vector>

#include "platform/linux/media/AudioFileReaderFFmpeg.h"

namespace quillon {

namespace {

constexpr AudioFormat sampleFormat{48000.0, 1};

}  // namespace

struct SoundPlayerPulse::Sample {
    enum class Upload { none, uploading, uploaded, failed };

    std::string name;
    std::vector<std::int16_t> samples;
    Logger logger;
    Upload upload = Upload::none;
    int pendingPlays = 0;
    pa_stream* stream = nullptr;
    // Connections lost so far, and how many there had been when the upload was made: a new
    // server starts with an empty cache.
    std::shared_ptr<std::atomic<unsigned>> connectionsLost;
    unsigned uploadedIn = 0;

    void forgetUploadOfLostServer();

    void start(pa_context* context);
    void play(pa_context* context);
    void dropStream();

    static void streamState(pa_stream* stream, void* self);
};

void SoundPlayerPulse::Sample::dropStream() {
    if (!stream) return;
    pa_stream_set_state_callback(stream, nullptr, nullptr);
    pa_stream_unref(stream);
    stream = nullptr;
}

void SoundPlayerPulse::Sample::forgetUploadOfLostServer() {
    if (uploadedIn == connectionsLost->load()) return;
    dropStream();
    upload = Upload::none;
    pendingPlays = 0;
    uploadedIn = connectionsLost->load();
}

void SoundPlayerPulse::Sample::start(pa_context* context) {
    forgetUploadOfLostServer();
    if (upload == Upload::uploading || upload == Upload::uploaded) return;
    const pa_sample_spec sampleSpecification{PA_SAMPLE_S16LE, static_cast<std::uint32_t>(sampleFormat.sampleRate), 1};
    stream = pa_stream_new(context, name.c_str(), &sampleSpecification, nullptr);
    if (!stream) {
        logger.error("Could not upload sound " + name + ": " + pa_strerror(pa_context_errno(context)));
        upload = Upload::failed;
        return;
    }
    upload = Upload::uploading;
    pa_stream_set_state_callback(stream, &Sample::streamState, this);
    if (pa_stream_connect_upload(stream, samples.size() * sizeof(std::int16_t)) < 0) {
        logger.error("Could not upload sound " + name + ": " + pa_strerror(pa_context_errno(context)));
        dropStream();
        upload = Upload::failed;
    }
}

void SoundPlayerPulse::Sample::streamState(pa_stream* stream, void* self) {
    auto* sample = static_cast<Sample*>(self);
    switch (pa_stream_get_state(stream)) {
        case PA_STREAM_READY:
            // An upload stream takes its whole length at once.
            pa_stream_write(stream, sample->samples.data(), sample->samples.size() * sizeof(std::int16_t), nullptr, 0,
                            PA_SEEK_RELATIVE);
            pa_stream_finish_upload(stream);
            break;
        case PA_STREAM_TERMINATED: {
            pa_context* context = pa_stream_get_context(stream);
            sample->dropStream();
            sample->upload = Upload::uploaded;
            for (; sample->pendingPlays > 0; --sample->pendingPlays) sample->play(context);
            break;
        }
        case PA_STREAM_FAILED:
            sample->logger.error("Could not upload sound " + sample->name + ": " +
                                 pa_strerror(pa_context_errno(pa_stream_get_context(stream))));
            sample->dropStream();
            sample->upload = Upload::failed;
            sample->pendingPlays = 0;
            break;
        default:
            break;
    }
}

void SoundPlayerPulse::Sample::play(pa_context* context) {
    forgetUploadOfLostServer();
    switch (upload) {
        case Upload::uploaded: {
            pa_operation* operation = pa_context_play_sample(context, name.c_str(), nullptr, PA_VOLUME_NORM, nullptr, nullptr);
            if (operation) pa_operation_unref(operation);
            break;
        }
        case Upload::none:
        case Upload::failed:
            start(context);
            if (upload == Upload::uploading) ++pendingPlays;
            break;
        case Upload::uploading:
            ++pendingPlays;
            break;
    }
}

namespace {

class PulseSound final : public Sound {
public:
    PulseSound(PulseServerConnection& connection, std::shared_ptr<SoundPlayerPulse::Sample> sample, Logger logger)
        : connection_(connection), sample_(std::move(sample)), logger_(std::move(logger)) {}

    void play() override {
        connection_.withContext([sample = sample_, logger = logger_](pa_context* context) {
            if (!context) {
                logger.error("Could not play sound " + sample->name + ": the sound server is not running");
                return;
            }
            sample->play(context);
        });
    }

private:
    PulseServerConnection& connection_;
    std::shared_ptr<SoundPlayerPulse::Sample> sample_;
    Logger logger_;
};

}  // namespace

SoundPlayerPulse::SoundPlayerPulse(PulseServerConnection& connection, std::vector<std::filesystem::path> resourceDirectories,
                                   Logger logger)
    : connection_(connection), resourceDirectories_(std::move(resourceDirectories)), logger_(std::move(logger)) {
    connection_.addStateObserver([lost = connectionsLost_](PulseServerConnection::State state) {
        if (state == PulseServerConnection::State::failed) ++*lost;
    });
}

SoundPlayerPulse::~SoundPlayerPulse() {
    connection_.lock();
    for (auto& [path, sample] : samples_) sample->dropStream();
    connection_.unlock();
}

std::string SoundPlayerPulse::cacheName(const std::filesystem::path& file) { return "quillon-" + file.stem().string(); }

std::optional<std::filesystem::path> SoundPlayerPulse::soundResource(std::string_view name, std::string_view extension) {
    const std::string fileName = std::string(name) + "." + std::string(extension);
    for (const auto& directory : resourceDirectories_) {
        std::error_code ignored;
        if (std::filesystem::is_regular_file(directory / fileName, ignored)) return directory / fileName;
    }
    return std::nullopt;
}

std::shared_ptr<Sound> SoundPlayerPulse::loadSound(const std::filesystem::path& file) {
    auto found = samples_.find(file);
    if (found == samples_.end()) {
        auto reader = AudioFileReaderFFmpeg::open(file, logger_);
        if (!reader || !(*reader)->setOutputFormat(sampleFormat)) return nullptr;
        auto sample = std::make_shared<Sample>(Sample{.name = cacheName(file),
                                                      .samples = {},
                                                      .logger = logger_,
                                                      .connectionsLost = connectionsLost_,
                                                      .uploadedIn = connectionsLost_->load()});
        while (true) {
            auto block = (*reader)->read();
            if (!block) return nullptr;
            if (block->empty()) break;
            sample->samples.insert(sample->samples.end(), block->begin(), block->end());
        }
        if (sample->samples.empty()) return nullptr;
        found = samples_.emplace(file, std::move(sample)).first;
    }
    // Uploads now, so that the first play finds the sound in the server's cache.
    connection_.withContext([sample = found->second](pa_context* context) {
        if (context) sample->start(context);
    });
    return std::make_shared<PulseSound>(connection_, found->second, logger_);
}

}  // namespace quillon
