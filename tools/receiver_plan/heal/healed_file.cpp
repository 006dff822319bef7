#include "receiver_plan/heal/healed_file.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>
#include <stdexcept>
#include <utility>

#include "audio_output/audio_encoder.h"
#include "audio_output/output_format.h"
#include "audio_output/part_file.h"
#include "platform/text.h"
#include "receiver_plan/heal/copy_sidecar.h"
#include "receiver_plan/plan/plan_tool_error.h"
#include "receiver_scan/cut/recording_cut.h"

namespace receiver {
namespace {

constexpr size_t kReadFrames = 8192;

[[noreturn]] void Fail(PlanExitCode code, const std::string& what, const std::string& why) {
    throw PlanToolError(code, "receiver-plan: " + what + ": " + why);
}

class CopyReader final {
public:
    CopyReader(const std::string& path, const StopRequested& stop) try
        : path_(path), reader_(path, stop) {
    } catch (const CutError& error) {
        throw PlanToolError(PlanExitCode::kUnreadable,
                            std::string("receiver-plan: ") + error.what());
    }

    const RecordingReader& Format() const { return reader_; }
    bool IsLike(const CopyReader& other) const {
        return reader_.SampleRate() == other.reader_.SampleRate() &&
               reader_.Channels() == other.reader_.Channels() &&
               reader_.Bits() == other.reader_.Bits();
    }
    // The next frames, at most so many; none at the end.
    std::span<const std::byte> Read(uint64_t most) {
        try {
            const size_t frames =
                reader_.Read(pcm_, static_cast<size_t>(std::min<uint64_t>(most, kReadFrames)));
            return std::span(pcm_).first(frames * reader_.FrameBytes());
        } catch (const CutError& error) {
            Fail(PlanExitCode::kUnreadable, path_, error.what());
        }
    }
    void SkipTo(uint64_t frame) {
        while (reader_.Position() < frame && !Read(frame - reader_.Position()).empty()) {
        }
    }

private:
    const std::string path_;
    RecordingReader reader_;
    std::vector<std::byte> pcm_;
};

std::string TextOf(const std::string& path) {
    std::ifstream file(ToFilesystemPath(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

RecordedCopy Measure(const std::string& path, CopyReader& reader, std::vector<std::string>& notes) {
    RecordedCopy copy;
    SoundAnchors anchors(reader.Format().FrameBytes());
    for (auto pcm = reader.Read(kReadFrames); !pcm.empty(); pcm = reader.Read(kReadFrames)) {
        anchors.Add(pcm);
    }
    copy.frames = reader.Format().Position();
    copy.anchors = anchors.Finish();
    const std::string sidecar = path + ".json";
    if (!IsTaken(ToFilesystemPath(sidecar))) {
        notes.push_back(path + ": there is no " + sidecar + "; it is taken to be whole");
        return copy;
    }
    try {
        copy.lacking = LackingFrames(TextOf(sidecar), copy.frames);
    } catch (const std::invalid_argument& error) {
        Fail(PlanExitCode::kUnreadable, sidecar, error.what());
    }
    return copy;
}

void WritePieces(const HealingResult& result, const StopRequested& stop, AudioEncoder& encoder) {
    std::vector<std::unique_ptr<CopyReader>> readers;
    readers.reserve(result.copies.size());
    for (const std::string& path : result.copies) {
        readers.push_back(std::make_unique<CopyReader>(path, stop));
    }
    for (const HealedPiece& piece : result.pieces) {
        CopyReader& reader = *readers[piece.copy];
        reader.SkipTo(piece.frames.from);
        if (reader.Format().Position() != piece.frames.from) {
            throw std::runtime_error("the copies go on in different orders");
        }
        while (reader.Format().Position() < piece.frames.to) {
            const auto pcm = reader.Read(piece.frames.to - reader.Format().Position());
            if (pcm.empty()) throw std::runtime_error("a copy has become shorter meanwhile");
            if (!encoder.Write(pcm.data(), pcm.size() / reader.Format().FrameBytes())) {
                throw std::runtime_error(encoder.FailureText());
            }
        }
    }
    if (!encoder.Finish()) throw std::runtime_error(encoder.FailureText());
}

// A file that is taken away unless it was committed.
class HealedFile final {
public:
    HealedFile(const std::string& path, bool overwrite)
        : file_(ToFilesystemPath(path), overwrite, true) {}
    ~HealedFile() {
        if (!committed_) file_.Discard();
    }
    HealedFile(const HealedFile&) = delete;
    HealedFile& operator=(const HealedFile&) = delete;

    PartFile& Sink() { return file_; }
    void Commit() {
        if (!file_.Commit()) throw std::runtime_error(file_.FailureText());
        committed_ = true;
    }

private:
    PartFile file_;
    bool committed_ = false;
};

void WriteAll(const HealingResult& result, const std::string& output, int bits, bool overwrite,
              const StopRequested& stop) {
    HealedFile audio(output, overwrite);
    HealedFile sidecar(output + ".json", overwrite);
    AudioEncoder encoder(LosslessFormatFor(output, bits), result.sampleRate, result.channels, {},
                         audio.Sink());
    WritePieces(result, stop, encoder);
    const std::string text = HealingJson(result, output) + "\n";
    if (!sidecar.Sink().WriteAt(0, text.data(), text.size())) {
        throw std::runtime_error(sidecar.Sink().FailureText());
    }
    audio.Commit();
    sidecar.Commit();
}

}  // namespace

uint64_t HealingResult::Frames() const {
    uint64_t frames = 0;
    for (const HealedPiece& piece : pieces) frames += piece.frames.to - piece.frames.from;
    return frames;
}

uint64_t HealingResult::LackingFrames() const {
    uint64_t frames = 0;
    for (const HealedPiece& piece : pieces) {
        if (piece.lacking) frames += piece.frames.to - piece.frames.from;
    }
    return frames;
}

HealingResult Heal(const std::vector<std::string>& copies, const std::string& output,
                   bool overwrite, const StopRequested& stop) {
    HealingResult result;
    result.copies = copies;
    std::vector<RecordedCopy> measured;
    measured.reserve(copies.size());
    CopyReader first(copies.front(), stop);
    for (const std::string& path : copies) {
        CopyReader reader(path, stop);
        if (!reader.IsLike(first)) {
            Fail(PlanExitCode::kUnreadable, path,
                 "its sampling rate, channels or bits are not those of " + copies.front());
        }
        measured.push_back(Measure(path, reader, result.notes));
    }
    result.sampleRate = first.Format().SampleRate();
    result.channels = first.Format().Channels();
    try {
        result.pieces = PlanHealing(std::move(measured));
    } catch (const std::invalid_argument& error) {
        Fail(PlanExitCode::kUnreadable, copies.front(), error.what());
    }
    try {
        WriteAll(result, output, first.Format().Bits(), overwrite, stop);
    } catch (const PlanToolError&) {
        throw;
    } catch (const Interrupted&) {
        throw;
    } catch (const std::exception& error) {
        Fail(PlanExitCode::kOutputError, output, error.what());
    }
    return result;
}

std::string HealingJson(const HealingResult& result, const std::string& output) {
    using nlohmann::json;
    json object = {{"file", output},
                   {"sampleRate", result.sampleRate},
                   {"channels", result.channels},
                   {"frames", result.Frames()},
                   {"complete", result.LackingFrames() == 0},
                   {"copies", result.copies},
                   {"pieces", json::array()}};
    uint64_t frame = 0;
    for (const HealedPiece& piece : result.pieces) {
        const uint64_t frames = piece.frames.to - piece.frames.from;
        object["pieces"].push_back({{"frame", frame},
                                    {"frames", frames},
                                    {"copy", piece.copy},
                                    {"copyFrame", piece.frames.from},
                                    {"lacking", piece.lacking}});
        frame += frames;
    }
    return object.dump(2, ' ', false, json::error_handler_t::replace);
}

}  // namespace receiver
