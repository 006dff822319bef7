#include "testing/recording.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace receiver {

using nlohmann::json;

namespace {

std::vector<std::string> KeysOf(const json& object) {
    std::vector<std::string> keys;
    for (const auto& item : object.items()) keys.push_back(item.key());
    return keys;
}

bool IsMatch(const json& match) {
    return KeysOf(match) == std::vector<std::string>{"ber", "observedAfterSample", "referenceId",
                                                     "role", "sample"} &&
           match["ber"].is_number_float() && match["ber"] >= 0.0 && match["ber"] <= 0.14 &&
           match["sample"].is_number_unsigned() &&
           match["observedAfterSample"].is_number_unsigned() &&
           match["sample"] < match["observedAfterSample"];
}

bool IsProgram(const json& program) {
    return KeysOf(program) == std::vector<std::string>{"endSample", "fadeFrames", "reason",
                                                       "sampleRate", "startSample"} &&
           program["sampleRate"] == 44100 && program["startSample"].is_number_unsigned() &&
           program["endSample"].is_number_unsigned() &&
           program["fadeFrames"].is_number_unsigned() &&
           program["fadeFrames"] <=
               program["endSample"].get<uint64_t>() - program["startSample"].get<uint64_t>();
}

// The keys of a type's own, besides sequence, sessionId, type and version.
std::vector<std::string> OwnKeysOf(const std::string& type) {
    if (type == "CONNECTED") return {};
    if (type == "DETECTED") return {"ber", "observedAfterSample", "referenceId", "role", "sample"};
    if (type == "PROGRAM_END") return {"program"};
    if (type == "READY") return {"sourceSample", "uri"};
    if (type == "SOURCE_ERROR") return {"buffer", "canDrain", "error", "sourceEndSample"};
    throw std::runtime_error("unknown event " + type);
}

void ExpectSoundEvent(const json& event, const std::string& type) {
    if (type == "FINISHED") return;  // looked at by itself
    std::vector<std::string> keys = OwnKeysOf(type);
    keys.insert(keys.end(), {"sequence", "sessionId", "type", "version"});
    std::sort(keys.begin(), keys.end());
    EXPECT_EQ(KeysOf(event), keys);
    json body = event;
    for (const char* envelope : {"sequence", "sessionId", "type", "version"}) body.erase(envelope);
    if (type == "DETECTED") {
        EXPECT_TRUE(IsMatch(body)) << event;
    }
    if (type == "PROGRAM_END") {
        EXPECT_TRUE(IsProgram(body["program"])) << event;
    }
    if (type == "SOURCE_ERROR") ExpectSoundStatistics(body["buffer"]);
}

void ExpectSoundFinish(const Recording& recording, bool withProgram) {
    const json& finished = recording.finished;
    EXPECT_EQ(finished["state"], "FINISHED");
    EXPECT_EQ(finished["canDrain"], false);
    EXPECT_FALSE(finished.contains("uri"));
    EXPECT_EQ(finished.contains("sourceSample"), !recording.ready.is_null());
    if (finished.contains("buffer")) ExpectSoundStatistics(finished["buffer"]);
    if (finished["reason"] == "eof") {
        EXPECT_EQ(finished["message"], "");
    }

    const std::vector<json> ends = recording.All("PROGRAM_END");
    if (!withProgram) {
        EXPECT_TRUE(ends.empty());
    }
    EXPECT_EQ(finished.contains("program"), !ends.empty());
    if (!ends.empty()) {
        EXPECT_EQ(finished["program"], ends.back()["program"]);
    }

    json matches = json::array();
    for (json match : recording.All("DETECTED")) {
        for (const char* key : {"sequence", "sessionId", "type", "version"}) match.erase(key);
        matches.push_back(match);
    }
    EXPECT_EQ(finished["matches"], matches);
}

}  // namespace

json PrepareCommand(const std::string& sessionId, const std::string& url,
                    const std::vector<ReferenceFile>& references) {
    json command = {{"type", "PREPARE"}, {"sessionId", sessionId}, {"url", url}};
    command["references"] = json::array();
    for (const ReferenceFile& reference : references) {
        command["references"].push_back(
            {{"id", reference.id}, {"role", reference.role}, {"path", reference.path}});
    }
    return command;
}

json PrepareCommand(const std::string& sessionId, const std::string& url,
                    const std::vector<ReferenceFile>& references, uint32_t maximumMs,
                    uint32_t fadeMs) {
    json command = PrepareCommand(sessionId, url, references);
    command["program"] = {{"maximumMs", maximumMs}, {"fadeMs", fadeMs}};
    return command;
}

std::vector<std::string> Recording::EventTypes() const {
    std::vector<std::string> types;
    for (const json& event : events) types.push_back(event["type"]);
    return types;
}

std::vector<json> Recording::All(const std::string& type) const {
    std::vector<json> all;
    std::copy_if(events.begin(), events.end(), std::back_inserter(all),
                 [&](const json& event) { return event["type"] == type; });
    return all;
}

Recording Record(ReceiverDriver& receiver, const json& prepare,
                 const std::function<void()>& onReady) {
    Recording recording;
    const json reply = receiver.Ask(prepare);
    if (reply["type"] != "ACK") throw std::runtime_error("PREPARE was answered " + reply.dump());
    recording.acknowledged = reply["session"];

    const Patience patience("FINISHED", kMaxHoldMs);
    const auto take = [&] {
        patience.Check();
        recording.events.push_back(receiver.NextEvent());
        return recording.events.back()["type"].get<std::string>();
    };
    std::string type;
    do {
        type = take();
    } while (type != "READY" && type != "FINISHED");
    if (type == "READY") {
        recording.ready = recording.events.back();
        if (onReady) onReady();
        RawAudioClient audio;
        if (!audio.Connect(recording.ready["uri"]) || !audio.ReadHeader()) {
            throw std::runtime_error("no audio stream");
        }
        recording.header = audio.StreamHeader();
        if (!audio.ReadToEnd()) {
            throw std::runtime_error("the audio stream breaks off, error " +
                                     std::to_string(audio.LastError()));
        }
        recording.end = audio.LastRecord();
        recording.pcm = audio.Pcm();
        EXPECT_LE(audio.LargestChunkBytes(), 441u * 2 * audio.StreamHeader().channels);
        EXPECT_TRUE(audio.Acknowledge());
        while (type != "FINISHED") type = take();
    }
    recording.finished = recording.events.back();
    return recording;
}

void ExpectSoundEvents(const Recording& recording, bool withProgram) {
    uint64_t sequence = 0;
    for (const json& event : recording.events) {
        SCOPED_TRACE(event.dump());
        EXPECT_EQ(event["sequence"], ++sequence);
        EXPECT_EQ(event["version"], 1);
        EXPECT_EQ(event["sessionId"], recording.acknowledged["sessionId"]);
        ExpectSoundEvent(event, event["type"]);
    }
    const std::vector<std::string> types = recording.EventTypes();
    if (types.size() > 1) {
        EXPECT_EQ(types.front(), "CONNECTED");
    }
    for (const char* once : {"CONNECTED", "READY", "SOURCE_ERROR"}) {
        EXPECT_LE(std::count(types.begin(), types.end(), once), 1) << once;
    }
    EXPECT_EQ(std::count(types.begin(), types.end(), "FINISHED"), 1);
    EXPECT_EQ(types.back(), "FINISHED");
    ExpectSoundFinish(recording, withProgram);
}

void ExpectSoundStatistics(const json& statistics) {
    SCOPED_TRACE(statistics.dump());
    ASSERT_EQ(KeysOf(statistics),
              (std::vector<std::string>{"availableBytes", "blockAlign", "blocks", "error",
                                        "finished", "firstSample", "nextSample", "ownerThread",
                                        "peakRetainedBytes", "readBytes", "readSample",
                                        "receivedBytes", "retainedBytes", "sampleRate"}));
    for (const auto& item : statistics.items()) {
        if (item.key() == "finished") {
            EXPECT_TRUE(item.value().is_boolean());
        } else {
            EXPECT_TRUE(item.value().is_number_unsigned()) << item.key();
        }
    }
    const auto number = [&](const char* key) { return statistics[key].get<uint64_t>(); };
    if (number("blockAlign") == 0) {  // the source never opened
        for (const char* key : {"receivedBytes", "retainedBytes", "readBytes", "nextSample",
                                "firstSample", "readSample", "blocks", "sampleRate"}) {
            EXPECT_EQ(number(key), 0u) << key;
        }
        return;
    }
    EXPECT_EQ(number("sampleRate"), 44100u);
    EXPECT_NE(number("ownerThread"), 0u);
    EXPECT_EQ(number("receivedBytes"), number("nextSample") * number("blockAlign"));
    EXPECT_EQ(number("retainedBytes"),
              (number("nextSample") - number("firstSample")) * number("blockAlign"));
    EXPECT_EQ(number("availableBytes"),
              number("receivedBytes") - number("readSample") * number("blockAlign"));
    EXPECT_LE(number("retainedBytes"), number("peakRetainedBytes"));
    EXPECT_LE(number("peakRetainedBytes"), number("receivedBytes"));
    EXPECT_LE(number("readSample"), number("nextSample"));
    EXPECT_EQ(number("blocks") == 0, number("retainedBytes") == 0);
}

}  // namespace receiver
