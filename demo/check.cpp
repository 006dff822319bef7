#include "check.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <span>
#include <stdexcept>
#include <vector>

#include "testing/pcm_reading.h"

namespace receiver {
namespace {

bool Report(bool holds, const std::string& what) {
    std::cout << (holds ? "  ok     " : "  WRONG  ") << what << "\n";
    return holds;
}

std::vector<int16_t> ReadStereo(const std::filesystem::path& path) {
    TestPcm pcm = DecodeFile(path.string(), kStudioRate);
    if (pcm.channels != kStudioChannels) {
        throw std::runtime_error(path.string() + " is not stereo");
    }
    return std::move(pcm.samples);
}

std::string Milliseconds(int64_t frames) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << static_cast<double>(frames) * 1000.0 / kStudioRate
         << " ms";
    return text.str();
}

// How alike two stretches are, 1 for equal but for loudness.
double Correlation(std::span<const int16_t> a, std::span<const int16_t> b) {
    double ab = 0.0;
    double aa = 0.0;
    double bb = 0.0;
    for (size_t i = 0; i < a.size(); ++i) {
        ab += static_cast<double>(a[i]) * b[i];
        aa += static_cast<double>(a[i]) * a[i];
        bb += static_cast<double>(b[i]) * b[i];
    }
    return aa > 0.0 && bb > 0.0 ? ab / std::sqrt(aa * bb) : 0.0;
}

struct Alignment {
    int64_t lag = 0;  // frames by which the broadcast must be shifted to match
    double correlation = -1.0;
};

Alignment Align(const std::vector<int16_t>& recorded, const std::vector<int16_t>& broadcast,
                uint64_t expectedFrame) {
    constexpr int64_t kWidest = kStudioRate / 20;
    constexpr size_t kLength = size_t{kStudioRate} * kStudioChannels;
    Alignment best;
    for (int64_t lag = -kWidest; lag <= kWidest; ++lag) {
        const auto at =
            static_cast<size_t>(static_cast<int64_t>(expectedFrame) + lag) * kStudioChannels;
        const double correlation = Correlation(std::span(recorded).first(kLength),
                                               std::span(broadcast).subspan(at, kLength));
        if (correlation > best.correlation) best = {lag, correlation};
    }
    return best;
}

bool CheckAgainstTape(const DemoRecording& recording, const std::vector<int16_t>& recorded) {
    const std::vector<int16_t> tape = ReadStereo(recording.tape);
    const uint64_t frames = recording.endSample - recording.startSample;
    const bool inTape = recording.startSample < recording.endSample &&
                        recording.endSample * kStudioChannels <= tape.size();
    bool good = Report(inTape && frames * kStudioChannels == recorded.size(),
                       "length: " + std::to_string(recorded.size() / kStudioChannels) +
                           " samples, from " + std::to_string(recording.startSample) + " to " +
                           std::to_string(recording.endSample) + " of the stream");
    good = good && Report(std::equal(recorded.begin(), recorded.end(),
                                     tape.begin() + static_cast<std::ptrdiff_t>(
                                                        recording.startSample * kStudioChannels)),
                          "every sample equals that of the stream as sent");
    return good;
}

bool CheckAgainstBroadcast(const std::vector<int16_t>& recorded, const Broadcast& broadcast) {
    constexpr int64_t kPrecise = kStudioRate / 50;  // 20 ms
    if (!Report(recorded.size() >= size_t{kStudioRate} * kStudioChannels * 2,
                "long enough to compare with the broadcast")) {
        return false;
    }
    const Alignment start = Align(recorded, broadcast.audio.samples, broadcast.startJingleFrame);
    bool good = Report(std::abs(start.lag) <= kPrecise,
                       "begins " + Milliseconds(std::abs(start.lag)) +
                           (start.lag < 0 ? " before" : " after") + " the start jingle does");

    const int64_t aired = static_cast<int64_t>(broadcast.tailFrame) -
                          static_cast<int64_t>(broadcast.startJingleFrame);
    const int64_t off = static_cast<int64_t>(recorded.size() / kStudioChannels) + start.lag - aired;
    good &= Report(std::abs(off) <= kPrecise, "ends " + Milliseconds(std::abs(off)) +
                                                  (off < 0 ? " before" : " after") +
                                                  " the end jingle has played out");

    const auto at =
        static_cast<size_t>(static_cast<int64_t>(broadcast.startJingleFrame) + start.lag) *
        kStudioChannels;
    const size_t length = std::min(recorded.size(), broadcast.audio.samples.size() - at);
    const double alike = Correlation(std::span(recorded).first(length),
                                     std::span(broadcast.audio.samples).subspan(at, length));
    std::ostringstream text;
    text << "is the programme that the studio made (correlation " << std::fixed
         << std::setprecision(3) << alike << " through the MP3)";
    return Report(alike > 0.95, text.str()) && good;
}

}  // namespace

bool CheckRecording(const DemoRecording& recording, const Broadcast& broadcast) {
    const std::vector<int16_t> recorded = ReadStereo(recording.wav);
    const bool exact = CheckAgainstTape(recording, recorded);
    return CheckAgainstBroadcast(recorded, broadcast) && exact;
}

}  // namespace receiver
