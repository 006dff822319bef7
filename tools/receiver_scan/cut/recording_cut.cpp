#include "receiver_scan/cut/recording_cut.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <numeric>
#include <utility>

#include "audio/media_properties.h"
#include "audio_output/audio_encoder.h"
#include "audio_output/part_file.h"
#include "platform/text.h"
#include "receiver_scan/cut/quietest_sample.h"

namespace receiver {
namespace {

constexpr size_t kReadFrames = 8192;

std::string ForPeople(const std::string& path) {
    return ReplaceIllFormedUtf8(AnsiToUtf8(path).value_or(path));
}

// A file that is being written; it is taken away unless it was finished.
class CutFile final {
public:
    CutFile(const Cut& cut, const RecordingReader& reader, bool overwrite)
        : cut_(cut),
          format_(LosslessFormatFor(cut.output, reader.Bits())),
          file_(ToFilesystemPath(cut.output), overwrite),
          encoder_(format_, reader.SampleRate(), reader.Channels(), {}, file_) {}
    ~CutFile() {
        if (!finished_) file_.Discard();
    }
    CutFile(const CutFile&) = delete;
    CutFile& operator=(const CutFile&) = delete;

    // Takes its share of `frames` frames that begin at `position`.
    void Take(uint64_t position, const std::byte* pcm, size_t frames, size_t frameBytes) {
        const uint64_t from = std::max(position, cut_.from);
        const uint64_t to = std::min(position + frames, cut_.to);
        if (from >= to) return;
        if (!encoder_.Write(pcm + (from - position) * frameBytes, static_cast<size_t>(to - from))) {
            throw CutError(ForPeople(cut_.output) + ": " + encoder_.FailureText());
        }
        end_ = to;
    }

    uint64_t Finish() {
        if (end_ <= cut_.from) {
            throw CutSourceError("the recording ends before " + ForPeople(cut_.output) + " begins");
        }
        if (!encoder_.Finish() || !file_.Commit()) {
            throw CutError(
                ForPeople(cut_.output) + ": " +
                (encoder_.FailureText().empty() ? file_.FailureText() : encoder_.FailureText()));
        }
        finished_ = true;
        return end_;
    }

private:
    const Cut cut_;
    const OutputFormat& format_;
    PartFile file_;
    AudioEncoder encoder_;
    uint64_t end_ = 0;
    bool finished_ = false;
};

double Magnitude(const std::byte* sample, int bits) {
    if (bits == 16) {
        int16_t value;
        std::memcpy(&value, sample, sizeof(value));
        return std::abs(static_cast<double>(value));
    }
    int32_t value;
    std::memcpy(&value, sample, sizeof(value));
    return std::abs(static_cast<double>(value));
}

// The quietest sample within kSnapMs of `wanted`; the end of the recording when it is nearer.
uint64_t Quietest(RecordingReader& reader, uint64_t wanted) {
    const uint64_t reach = uint64_t{reader.SampleRate()} * kSnapMs / 1000;
    reader.SkipTo(wanted - std::min(wanted, reach));
    const uint64_t first = reader.Position();
    const int storedBits = reader.Bits() > 16 ? 32 : 16;
    const size_t sampleBytes = static_cast<size_t>(storedBits) / 8;
    std::vector<double> levels;
    std::vector<std::byte> pcm;
    while (first + levels.size() < wanted + reach + 1) {
        const size_t frames =
            reader.Read(pcm, static_cast<size_t>(std::min<uint64_t>(
                                 kReadFrames, wanted + reach + 1 - first - levels.size())));
        if (frames == 0) break;
        for (size_t i = 0; i < frames; ++i) {
            double level = 0.0;
            for (size_t channel = 0; channel < reader.Channels(); ++channel) {
                level +=
                    Magnitude(&pcm[i * reader.FrameBytes() + channel * sampleBytes], storedBits);
            }
            levels.push_back(level);
        }
    }
    if (levels.empty() || first + levels.size() <= wanted) return first + levels.size();
    constexpr uint32_t kAroundPerSecond = 1000;  // a millisecond on either side
    return first + QuietestSample(levels, static_cast<size_t>(wanted - first),
                                  reader.SampleRate() / kAroundPerSecond);
}

}  // namespace

RecordingReader::RecordingReader(const std::string& path, StopRequested stop)
    : stop_(std::move(stop)) {
    const std::optional<MediaProperties> properties = PropertiesOf(path);
    if (!properties) throw CutSourceError(ForPeople(path) + ": cannot be opened as audio");
    bits_ = properties->bits <= 16 ? 16 : properties->bits <= 24 ? 24 : 32;
    decoder_.SetOutputSampleRate(properties->sampleRate);
    decoder_.SetOutputBitsPerSample(bits_ == 16 ? 16 : 32);
    if (!decoder_.Open(path) || decoder_.GetFormat(&format_) != CAudioFile::kFormatOk) {
        throw CutSourceError(ForPeople(path) + ": cannot be opened as audio");
    }
}

size_t RecordingReader::Read(std::vector<std::byte>& pcm, size_t frames) {
    if (IsStopRequested(stop_)) throw Interrupted();
    pcm.resize(frames * FrameBytes());
    const int32_t read = decoder_.Read(pcm.data(), static_cast<uint32_t>(pcm.size()));
    if (read < 0) throw CutSourceError("the recording cannot be decoded to its end");
    const size_t got = static_cast<size_t>(read) / FrameBytes();
    position_ += got;
    return got;
}

void RecordingReader::SkipTo(uint64_t position) {
    while (position_ < position) {
        const auto frames =
            static_cast<size_t>(std::min<uint64_t>(kReadFrames, position - position_));
        if (Read(skipped_, frames) == 0) return;
    }
}

std::vector<CutResult> WriteCuts(const std::string& source, const std::vector<Cut>& cuts,
                                 bool overwrite, const StopRequested& stop) {
    RecordingReader reader(source, stop);
    std::vector<size_t> order(cuts.size());  // by where they begin
    std::iota(order.begin(), order.end(), size_t{0});
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return cuts[a].from < cuts[b].from; });
    std::vector<CutResult> results;
    results.reserve(cuts.size());
    for (const Cut& cut : cuts) {
        results.push_back(
            {cut.from, cut.to, reader.SampleRate(), reader.Channels(), reader.Bits()});
    }
    std::vector<std::pair<size_t, std::unique_ptr<CutFile>>> writing;
    std::vector<std::byte> pcm;
    size_t next = 0;
    while (next < order.size() || !writing.empty()) {
        if (writing.empty()) reader.SkipTo(cuts[order[next]].from);
        const uint64_t position = reader.Position();
        const size_t frames = reader.Read(pcm, kReadFrames);
        while (next < order.size() && (frames == 0 || cuts[order[next]].from < position + frames)) {
            writing.emplace_back(order[next],
                                 std::make_unique<CutFile>(cuts[order[next]], reader, overwrite));
            ++next;
        }
        for (auto& [index, file] : writing) {
            file->Take(position, pcm.data(), frames, reader.FrameBytes());
            if (frames == 0 || cuts[index].to <= position + frames) {
                results[index].to = file->Finish();
                file.reset();
            }
        }
        std::erase_if(writing, [](const auto& one) { return !one.second; });
    }
    return results;
}

Cut SnapToQuiet(const std::string& source, const Cut& cut, const StopRequested& stop) {
    RecordingReader beginning(source, stop);
    Cut snapped = cut;
    snapped.from = Quietest(beginning, cut.from);
    RecordingReader end(source, stop);
    snapped.to = Quietest(end, cut.to);
    return snapped;
}

}  // namespace receiver
