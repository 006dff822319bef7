#include "receiver_scan/report/report_data.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "receiver_scan/listen/result_json.h"
#include "receiver_scan/listen/result_text.h"
#include "receiver_scan/report/envelope.h"
#include "receiver_scan/report/html_text.h"

namespace receiver {
namespace {

using nlohmann::json;

constexpr double kBerScale = 65535.0;
// Around each mark the curve is there in full, for a look from near.
constexpr size_t kDetailWords = 400;  // on either side, 5 s
constexpr size_t kMaxPictureColumns = 600;

std::string PackedRates(const std::vector<float>& rates) {
    std::vector<uint8_t> bytes;
    for (const float rate : rates) {
        const auto value = static_cast<uint32_t>(std::lround(rate * kBerScale));
        bytes.push_back(static_cast<uint8_t>(value & 0xFF));
        bytes.push_back(static_cast<uint8_t>(value >> 8));
    }
    return Base64(bytes);
}

json Curve(const std::vector<float>& curve) {
    const size_t bucket = BucketSize(curve.size(), kMaxReportPoints);
    const auto least = [](float a, float b) { return std::min(a, b); };
    return {{"bucket", bucket}, {"rates", PackedRates(Envelope(curve, bucket, least))}};
}

json Details(const std::vector<float>& curve, const std::vector<size_t>& marks) {
    json details = json::array();
    if (BucketSize(curve.size(), kMaxReportPoints) == 1) return details;  // all is there anyhow
    for (const size_t mark : marks) {
        const size_t begin = mark > kDetailWords ? mark - kDetailWords : 0;
        const size_t end = std::min(curve.size(), mark + kDetailWords);
        if (begin >= end) continue;
        const auto at = curve.begin();
        const std::vector<float> rates(at + static_cast<ptrdiff_t>(begin),
                                       at + static_cast<ptrdiff_t>(end));
        details.push_back({{"word", begin}, {"rates", PackedRates(rates)}});
    }
    return details;
}

// The levels in steps of half a decibel below full scale; 255 is silence.
json Levels(const std::vector<WordLevel>& levels) {
    const size_t bucket = BucketSize(levels.size(), kMaxReportPoints);
    const auto louder = [](const WordLevel& a, const WordLevel& b) {
        return WordLevel{std::max(a.peak, b.peak), std::max(a.rms, b.rms)};
    };
    std::vector<uint8_t> bytes;
    const auto append = [&](float level) {
        const double steps = level > 0.0f ? -40.0 * std::log10(level) : 255.0;
        bytes.push_back(static_cast<uint8_t>(std::clamp(std::lround(steps), 0L, 255L)));
    };
    for (const WordLevel& level : Envelope(levels, bucket, louder)) {
        append(level.peak);
        append(level.rms);
    }
    return {{"bucket", bucket}, {"levels", Base64(bytes)}};
}

// For each column, of one word or several, how many of each bit's bits differ, 0..255.
json BitPicture(const BitErrors& errors) {
    const size_t bucket = BucketSize(errors.differing.size(), kMaxPictureColumns);
    std::vector<uint8_t> bytes;
    for (size_t begin = 0; begin < errors.differing.size(); begin += bucket) {
        const size_t words = std::min(errors.differing.size() - begin, bucket);
        for (size_t bit = 0; bit < kWordBits; ++bit) {
            size_t differing = 0;
            for (size_t i = 0; i < words; ++i) {
                differing += errors.differing[begin + i] >> bit & 1u;
            }
            bytes.push_back(static_cast<uint8_t>(size_t{255} * differing / words));
        }
    }
    return {{"bucket", bucket}, {"bits", Base64(bytes)}};
}

json MatchMark(const ScanResult& result, const JudgedMatch& judged) {
    return {{"time", SecondsOf(judged.match.sample)},
            {"ber", judged.match.ber},
            {"text", Describe(judged.fate)},
            {"length", SecondsOf(result.references[judged.match.referenceIndex].LengthFrames())}};
}

json ReferenceObject(const ScanResult& result, size_t index) {
    const ScanReference& reference = result.references[index];
    const ReferenceView& view = result.views[index];
    json object = {{"id", reference.id},
                   {"role", NameOf(reference.role)},
                   {"seconds", SecondsOf(reference.LengthFrames())},
                   {"curve", Curve(view.curve)},
                   {"matches", json::array()},
                   {"misses", json::array()}};
    std::vector<size_t> marks;
    for (const JudgedMatch& judged : result.judgement.matches) {
        if (judged.match.referenceIndex != index) continue;
        object["matches"].push_back(MatchMark(result, judged));
        marks.push_back(WordAtFrame(result.heard, judged.match.sample));
    }
    for (const NearMiss& miss : view.misses) {
        const BitErrors errors =
            FindBitErrors(result.heard.words, reference.print.words, miss.word);
        object["misses"].push_back({{"time", SecondsOf(miss.sample)},
                                    {"ber", miss.ber},
                                    {"text", Describe(miss.cause)},
                                    {"length", SecondsOf(reference.LengthFrames())},
                                    {"picture", BitPicture(errors)}});
        marks.push_back(miss.word);
    }
    object["details"] = Details(view.curve, marks);
    return object;
}

}  // namespace

json ReportData(const ScanResult& result) {
    json data = {{"seconds", SecondsOf(result.heard.frames)},
                 {"hop", 0.0125},
                 {"threshold", kBerThreshold},
                 {"level", Levels(result.heard.levels)},
                 {"references", json::array()}};
    for (size_t i = 0; i < result.references.size(); ++i) {
        data["references"].push_back(ReferenceObject(result, i));
    }
    if (const std::optional<Programme>& programme = result.judgement.programme) {
        data["programme"] = {{"from", SecondsOf(programme->startSample)},
                             {"to", SecondsOf(programme->endSample)},
                             {"fade", SecondsOf(programme->fadeFrames)},
                             {"goesOn", programme->goesOn},
                             {"text", DescribeEnd(*programme)}};
    }
    return data;
}

}  // namespace receiver
