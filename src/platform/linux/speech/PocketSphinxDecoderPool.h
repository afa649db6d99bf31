#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include <pocketsphinx.h>

#include "core/logging/Logger.h"
#include "core/ports/SpeechEngine.h"
#include "platform/linux/base/SerialQueue.h"

namespace quillon {

// PocketSphinx decoders ready to use, one kind per preset. Each decoder has its own language
// model (sphinxbase caches lookups inside the model, so a shared one races between threads); a
// decoder that a session has finished with goes back to the pool, and after each hand-out a spare
// is prepared on the pool's own thread, so the next session finds one ready instead of waiting.
//
// Lock rules: mutex_ guards the idle lists and the load state, and is held while a decoder is
// made or freed, so that loads run one at a time. It is never held while a
// decoder decodes; a leased decoder belongs to its lease's thread alone.
class PocketSphinxDecoderPool {
public:
    struct ModelPaths {
        std::filesystem::path acousticModel;  // the directory with mdef, means, ...
        std::filesystem::path languageModel;
        std::filesystem::path dictionary;

        static ModelPaths debianEnglish(const std::filesystem::path& root = "/usr/share/pocketsphinx/model/en-us");
        // The files that must exist for a decoder to load.
        std::vector<std::filesystem::path> requiredFiles() const;
    };

    // A decoder on loan; it goes back to the pool when the lease ends.
    class Lease {
    public:
        Lease() = default;
        Lease(PocketSphinxDecoderPool* pool, TranscriberPreset preset, ps_decoder_t* decoder)
            : pool_(pool), preset_(preset), decoder_(decoder) {}
        Lease(Lease&& other) noexcept { *this = std::move(other); }
        Lease& operator=(Lease&& other) noexcept;
        ~Lease() { reset(); }

        ps_decoder_t* get() const { return decoder_; }
        explicit operator bool() const { return decoder_ != nullptr; }
        void reset();

    private:
        PocketSphinxDecoderPool* pool_ = nullptr;
        TranscriberPreset preset_ = TranscriberPreset::transcription;
        ps_decoder_t* decoder_ = nullptr;
    };

    // The silence after speech that ends an utterance.
    static constexpr int endpointSilenceFrames = 50;  // frames of 10 ms

    // Without `prepareSpares` no decoder is readied ahead of need: right for a one-off command
    // that would otherwise wait at its end for a spare it never uses.
    PocketSphinxDecoderPool(ModelPaths paths, Logger logger, bool prepareSpares = true);
    ~PocketSphinxDecoderPool();

    const ModelPaths& paths() const { return paths_; }

    // A decoder for `preset`, idle or newly made; empty if the model cannot be loaded.
    Lease acquire(TranscriberPreset preset);

    // Loads the model and readies one decoder for `preset` on the pool's thread.
    void warmUp(TranscriberPreset preset);

    std::size_t idleCount(TranscriberPreset preset) const;

private:
    struct DecoderFree {
        void operator()(ps_decoder_t* decoder) const { ps_free(decoder); }
    };
    using Decoder = std::unique_ptr<ps_decoder_t, DecoderFree>;

    Decoder makeDecoder(TranscriberPreset preset);  // mutex_ held
    void restoreInitialState(ps_decoder_t* decoder);  // mutex_ held
    void release(TranscriberPreset preset, ps_decoder_t* decoder);
    void topUp(TranscriberPreset preset);

    ModelPaths paths_;
    Logger logger_;
    mutable std::mutex mutex_;
    bool loadFailed_ = false;
    bool prepareSpares_;
    std::map<TranscriberPreset, std::vector<Decoder>> idle_;
    // The cepstral means a decoder starts with. Its live estimate adapts to the audio it hears, and
    // a decoder back from a session starts over, so a file's text does not depend on the last one.
    std::map<ps_decoder_t*, std::vector<mfcc_t>> initialCmn_;
    // Readies spares. Stopped first in the destructor, so that no decoder is being made while the
    // shared model is freed.
    std::unique_ptr<SerialQueue> loader_ = std::make_unique<SerialQueue>("com.lanternmoth.Quillon.speech-models");
};

}  // namespace quillon
