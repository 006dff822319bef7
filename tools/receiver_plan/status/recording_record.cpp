#include "receiver_plan/status/recording_record.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace receiver {

using namespace std::chrono;
using nlohmann::json;

namespace {

constexpr int kMaxDepth = 8;  // a record has three levels
constexpr size_t kMaxKinds = 20;
constexpr uint64_t kMaxSampleRate = 1000000;

// Whatever lies deeper than a record does is left out before it can take memory.
bool IsShallow(int depth, json::parse_event_t, json&) {
    return depth <= kMaxDepth;
}

std::string TextOf(const json& object, const char* key) {
    return object.at(key).get_ref<const std::string&>();
}

bool BoolOf(const json& object, const char* key) {
    return object.at(key).get_ref<const json::boolean_t&>();
}

// Other than get<uint64_t>() this takes no truth, no fraction and nothing negative for a number.
uint64_t NumberOf(const json& object, const char* key) {
    return object.at(key).get_ref<const json::number_unsigned_t&>();
}

const json::array_t& ListOf(const json& object, const char* key) {
    static const json::array_t kNone;
    const auto found = object.find(key);
    return found == object.end() ? kNone : found->get_ref<const json::array_t&>();
}

UtcMoment MomentOf(const json& object, const char* key) {
    const std::optional<UtcMoment> moment = ParseUtc(TextOf(object, key));
    if (!moment) throw NoRecord(std::string("\"") + key + "\" is no moment");
    return *moment;
}

double RateOf(const json& object) {
    const uint64_t rate = NumberOf(object, "sampleRate");
    if (rate == 0 || rate > kMaxSampleRate) throw NoRecord("\"sampleRate\" is not one of audio");
    return static_cast<double>(rate);
}

RecordingRecord Healed(const json& object) {
    RecordingRecord record;
    record.isHealed = true;
    record.isComplete = BoolOf(object, "complete");
    for (const json& copy : ListOf(object, "copies")) {
        record.copies.push_back(copy.get_ref<const std::string&>());
    }
    double frames = 0.0;
    for (const json& piece : ListOf(object, "pieces")) {
        const auto lacking = piece.find("lacking");
        if (lacking == piece.end() || !lacking->get_ref<const json::boolean_t&>()) continue;
        frames += static_cast<double>(NumberOf(piece, "frames"));
        ++record.gaps;
    }
    record.missingSeconds = frames / RateOf(object);
    if (!record.isComplete) record.message = "Every copy lacks some of it";
    return record;
}

RecordingRecord Recorded(const json& object) {
    RecordingRecord record;
    record.isComplete = BoolOf(object, "complete");
    record.outcome = TextOf(object, "outcome");
    record.message = TextOf(object, "message");
    record.startedAt = MomentOf(object, "startedAt");
    record.finishedAt = MomentOf(object, "finishedAt");
    if (record.finishedAt < record.startedAt) throw NoRecord("it ends before it begins");
    double frames = 0.0;
    for (const json& gap : ListOf(object, "gaps")) {
        frames += static_cast<double>(NumberOf(gap, "lostFrames"));
        ++record.gaps;
    }
    for (const json& damage : ListOf(object, "damage")) {
        frames += static_cast<double>(NumberOf(damage, "frames"));
        if (record.kinds.size() < kMaxKinds) record.kinds.insert(TextOf(damage, "kind"));
        ++record.damage;
    }
    if (frames > 0.0) record.missingSeconds = frames / RateOf(object);
    return record;
}

}  // namespace

RecordingRecord ReadRecord(std::string_view text) {
    try {
        const json object = json::parse(text, IsShallow);
        if (!object.is_object()) throw NoRecord("it is no JSON object");
        return object.contains("pieces") ? Healed(object) : Recorded(object);
    } catch (const json::exception&) {
        throw NoRecord("it is not what receiver-record writes");
    }
}

std::optional<UtcMoment> ParseUtc(std::string_view text) {
    constexpr std::string_view kForm = "0000-00-00T00:00:00.000Z";
    std::string moment(text);
    if (moment.size() == kForm.size() - 4 && moment.back() == 'Z') {
        moment.insert(moment.size() - 1, ".000");
    }
    if (moment.size() != kForm.size()) return {};
    std::array<int, 7> numbers{};
    size_t part = 0;
    for (size_t i = 0; i < kForm.size(); ++i) {
        if (kForm[i] != '0') {
            if (moment[i] != kForm[i]) return {};
            ++part;
        } else if (moment[i] < '0' || moment[i] > '9') {
            return {};
        } else {
            numbers.at(part) = numbers.at(part) * 10 + (moment[i] - '0');
        }
    }
    const year_month_day date(year(numbers[0]), month(static_cast<unsigned>(numbers[1])),
                              day(static_cast<unsigned>(numbers[2])));
    if (!date.ok() || numbers[3] > 23 || numbers[4] > 59 || numbers[5] > 60) return {};
    return sys_days(date) + hours(numbers[3]) + minutes(numbers[4]) + seconds(numbers[5]) +
           milliseconds(numbers[6]);
}

std::string UtcText(UtcMoment moment) {
    const year_month_day date(floor<days>(moment));
    const hh_mm_ss clock(moment - floor<days>(moment));
    std::array<char, 80> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()),
                  static_cast<int>(clock.subseconds().count()));
    return text.data();
}

}  // namespace receiver
