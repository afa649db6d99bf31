#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <pocketsphinx.h>

#include "core/logging/Logger.h"
#include "core/ports/SpeechEngine.h"
#include "platform/linux/base/SerialQueue.h"
#include "platform/linux/speech/PocketSphinxGlossary.h"

namespace quillon {

// How the decoders search; the defaults are the engine's own.
struct PocketSphinxTuning {
    // Extra decoder arguments, as pairs of name ("-fwdflat") and value ("no").
    std::vector<std::pair<std::string, std::string>> decoderArguments;
    // A glossary term's unigram probability as a multiple of the uniform 1 / vocabulary size: a
    // little above a word of average frequency. Measured on made-up names, 50 finds them where
    // 10 misses some, while a glossary of 200 such names leaves other speech as it was; from 100
    // on, names start to replace words in unclear speech.
    float glossaryWeight = 50.0f;
};

// PocketSphinx decoders ready to use, one kind per preset and glossary. Each decoder has its own
// language model (sphinxbase caches lookups inside the model, so a shared one races between
// threads); a decoder that a session has finished with goes back to the pool, and after each
// hand-out a spare is prepared on the pool's own thread, so the next session finds one ready
// instead of waiting for a load.
//
// A glossary's terms are words of their own in the dictionary of its decoders and, as a class of
// their own, in each decoder's language model, with a raised unigram weight. A new
// glossary's pronunciations are worked out once; the previous glossary's decoders are dropped once
// their sessions end: only one glossary is kept at a time.
//
// Lock rules: mutex_ guards the glossary's pronunciations and the idle lists, and is held while a
// decoder is made or freed, so that loads run one at a time. It is never held while a decoder
// decodes; a leased decoder belongs to its lease's thread alone.
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

    using Tuning = PocketSphinxTuning;

    // The kind of a decoder: its preset and the key of its glossary.
    using Kind = std::pair<TranscriberPreset, std::string>;

    // A decoder on loan; it goes back to the pool when the lease ends.
    class Lease {
    public:
        Lease() = default;
        Lease(PocketSphinxDecoderPool* pool, Kind kind, ps_decoder_t* decoder)
            : pool_(pool), kind_(std::move(kind)), decoder_(decoder) {}
        Lease(Lease&& other) noexcept { *this = std::move(other); }
        Lease& operator=(Lease&& other) noexcept;
        ~Lease() { reset(); }

        ps_decoder_t* get() const { return decoder_; }
        explicit operator bool() const { return decoder_ != nullptr; }
        void reset();

    private:
        PocketSphinxDecoderPool* pool_ = nullptr;
        Kind kind_;
        ps_decoder_t* decoder_ = nullptr;
    };

    // The silence after speech that ends an utterance.
    static constexpr int endpointSilenceFrames = 50;  // frames of 10 ms

    // Without `prepareSpares` no decoder is readied ahead of need: right for a one-off command
    // that would otherwise wait at its end for a spare it never uses.
    PocketSphinxDecoderPool(ModelPaths paths, Logger logger, bool prepareSpares = true, Tuning tuning = {});
    ~PocketSphinxDecoderPool();

    const ModelPaths& paths() const { return paths_; }

    // A decoder for `preset` that knows `glossary`, idle or newly made; empty if the model cannot
    // be loaded.
    Lease acquire(TranscriberPreset preset, const PocketSphinxGlossary& glossary = {});

    // Loads the model and readies one decoder for `preset` and `glossary` on the pool's thread.
    void warmUp(TranscriberPreset preset, PocketSphinxGlossary glossary = {});

    std::size_t idleCount(TranscriberPreset preset, const PocketSphinxGlossary& glossary = {}) const;

private:
    struct DecoderFree {
        void operator()(ps_decoder_t* decoder) const { ps_free(decoder); }
    };
    using Decoder = std::unique_ptr<ps_decoder_t, DecoderFree>;

    // The language model of one glossary, with the glossary's words and their pronunciations.
    struct GlossaryModel {
        std::vector<std::pair<std::string, std::string>> words;  // token, phones
    };

    Decoder makeDecoder(TranscriberPreset preset, const PocketSphinxGlossary& glossary);  // mutex_ held
    const GlossaryModel& glossaryModel(ps_decoder_t* decoder, const PocketSphinxGlossary& glossary);  // mutex_ held
    void addGlossaryClass(ngram_model_t* languageModel, const GlossaryModel& model) const;
    std::string pronunciation(ps_decoder_t* decoder, const PocketSphinxGlossary::Term& term) const;
    void restoreInitialState(ps_decoder_t* decoder);  // mutex_ held
    void release(const Kind& kind, ps_decoder_t* decoder);
    bool topUp(TranscriberPreset preset, const PocketSphinxGlossary& glossary);  // whether one is idle after it

    ModelPaths paths_;
    Logger logger_;
    Tuning tuning_;
    mutable std::mutex mutex_;
    std::map<std::string, GlossaryModel> models_;  // by glossary key; at most the current one
    bool loadFailed_ = false;
    bool prepareSpares_;
    std::map<Kind, std::vector<Decoder>> idle_;
    // The cepstral means a decoder starts with. Its live estimate adapts to the audio it hears, and
    // a decoder back from a session starts over as a fresh one, so a file's text does not depend on
    // the last one.
    std::map<ps_decoder_t*, std::vector<mfcc_t>> initialCmn_;
    // Readies spares. Stopped first in the destructor, so that no decoder is being made while the
    // shared model is freed.
    std::unique_ptr<SerialQueue> loader_ = std::make_unique<SerialQueue>("com.lanternmoth.Quillon.speech-models");
};

}  // namespace quillon
