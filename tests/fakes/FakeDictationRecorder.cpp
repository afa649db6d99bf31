#include "fakes/FakeDictationRecorder.h"

#include <fstream>

namespace quillon::testing {

namespace {
std::string flag(bool value) { return value ? "true" : "false"; }
}  // namespace

std::expected<void, std::string> FakeDictationRecorder::startRecording(bool tapToggleMode, bool captureToFile) {
    note(journal, "recorder.startRecording(" + flag(tapToggleMode) + ", " + flag(captureToFile) + ")");
    ++startCount;
    if (startFailure) return std::unexpected(*startFailure);
    if (running_) return {};
    running_ = true;
    capturesToFile_ = captureToFile;
    tapToggleMode_ = tapToggleMode;
    maxDurationArmed_ = tapToggleMode;
    return {};
}

void FakeDictationRecorder::stopRecording() {
    note(journal, "recorder.stopRecording");
    if (!running_) return;
    running_ = false;
    maxDurationArmed_ = false;
    if (capturesToFile_ && onRecordingComplete) onRecordingComplete(makeChunkFile());
}

void FakeDictationRecorder::setTapToggleMode(bool enabled) {
    note(journal, "recorder.setTapToggleMode(" + flag(enabled) + ")");
    tapToggleMode_ = enabled;
    maxDurationArmed_ = enabled && running_;
}

void FakeDictationRecorder::setIsTapToggleMode(bool enabled) {
    note(journal, "recorder.setIsTapToggleMode(" + flag(enabled) + ")");
    tapToggleMode_ = enabled;
}

void FakeDictationRecorder::cancelMaxDurationTimer() {
    note(journal, "recorder.cancelMaxDurationTimer");
    maxDurationArmed_ = false;
}

void FakeDictationRecorder::setOnPCM16Data(PCM16Handler handler) {
    note(journal, handler ? "recorder.setOnPCM16Data(handler)" : "recorder.setOnPCM16Data(none)");
    pcmHandler_ = std::move(handler);
}

void FakeDictationRecorder::deliverPCM16(std::size_t bytes) {
    if (!pcmHandler_) return;
    std::vector<std::byte> block(bytes, std::byte{0});
    pcmHandler_(block);
}

void FakeDictationRecorder::rollOver() {
    if (!tapToggleMode_) return;
    automaticRollover = true;
    stopRecording();
    (void)startRecording(true, true);
    automaticRollover = false;
}

std::filesystem::path FakeDictationRecorder::makeChunkFile() {
    std::filesystem::path file;
    if (!directory.empty()) {
        file = directory / ("recording_" + std::to_string(chunkFiles.size() + 1) + ".wav");
        std::ofstream(file) << "RIFF";
    } else {
        file = "recording_" + std::to_string(chunkFiles.size() + 1) + ".wav";
    }
    chunkFiles.push_back(file);
    return file;
}

}  // namespace quillon::testing
