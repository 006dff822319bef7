#include "session/prepared_additions.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "session/prepared_program.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {

using nlohmann::json;

namespace {

class PreparedAdditionsTest : public testing::Test {
protected:
    PreparedAdditionsTest() {
        WriteFileBytes(file_, "any bytes");
        request_ = {
            {"sessionId", "s-1"},
            {"url", "http://radio.example/live"},
            {"references", json::array({{{"id", "a"}, {"role", "start"}, {"path", file_}}})}};
    }

    PreparedAdditions Parse() const { return ParsePreparedProgram(request_).additions; }
    PreparedAdditions With(const std::string& key, const json& value) const {
        json changed = request_;
        changed[key] = value;
        return ParsePreparedProgram(changed).additions;
    }
    // Parses the request with this one change; "" when it passes.
    std::string TextWith(const std::string& key, const json& value) const {
        try {
            With(key, value);
        } catch (const std::exception& error) {
            return error.what();
        }
        return "";
    }
    std::string TextWithHeader(const std::string& name, const json& value) const {
        return TextWith("http", {{"headers", {{name, value}}}});
    }

    const TempFolder folder_;
    const std::string file_ = folder_.File("reference.wav");
    json request_;
};

constexpr const char* kNumberExpected =
    "[json.exception.type_error.302] type must be number, but is ";
constexpr const char* kBooleanExpected =
    "[json.exception.type_error.302] type must be boolean, but is ";
constexpr const char* kStringExpected =
    "[json.exception.type_error.302] type must be string, but is ";

}  // namespace

TEST_F(PreparedAdditionsTest, ARequestThatAsksForNothingMoreGetsNothingMore) {
    const PreparedAdditions additions = Parse();
    EXPECT_FALSE(additions.lookBackMs);
    EXPECT_EQ(additions.reconnectMs, 0u);
    EXPECT_FALSE(additions.reconnectLostOnly);
    EXPECT_FALSE(additions.startNow);
    EXPECT_FALSE(additions.preRollMs);
    EXPECT_FALSE(additions.reportsCause || additions.reportsDamage || additions.reportsTitles);
    EXPECT_EQ(additions.http.userAgent, "");
    EXPECT_EQ(additions.http.caFile, "");
    EXPECT_TRUE(additions.http.headers.empty());
    EXPECT_TRUE(additions.keys.empty());
}

TEST_F(PreparedAdditionsTest, TheKeysOfTheRequestAreKept) {
    request_["http"] = json::object();
    request_["startNow"] = false;
    request_["unknown"] = 1;
    request_["lookBackMs"] = 1000;
    EXPECT_EQ(Parse().keys, (std::vector<std::string>{"lookBackMs", "startNow", "http"}));
}

TEST_F(PreparedAdditionsTest, WhatIsLostAloneMayBeOpenedAgain) {
    EXPECT_TRUE(With("reconnectLostOnly", true).reconnectLostOnly);
    EXPECT_FALSE(With("reconnectLostOnly", false).reconnectLostOnly);
    EXPECT_EQ(With("reconnectLostOnly", true).keys, std::vector<std::string>{"reconnectLostOnly"});
}

TEST_F(PreparedAdditionsTest, LengthsAreKeptToTheirBounds) {
    EXPECT_EQ(With("lookBackMs", 1000).lookBackMs, 1000u);
    EXPECT_EQ(With("lookBackMs", 3600000).lookBackMs, 3600000u);
    EXPECT_EQ(TextWith("lookBackMs", 999), "lookBackMs outside 1000..3600000");
    EXPECT_EQ(TextWith("lookBackMs", 3600001), "lookBackMs outside 1000..3600000");
    EXPECT_EQ(With("reconnectMs", 0).reconnectMs, 0u);
    EXPECT_EQ(With("reconnectMs", 86400000).reconnectMs, 86400000u);
    EXPECT_EQ(TextWith("reconnectMs", 86400001), "reconnectMs outside 0..86400000");
    EXPECT_EQ(TextWith("reconnectMs", -1), "reconnectMs outside 0..86400000");
    EXPECT_EQ(With("preRollMs", 0).preRollMs, 0u);
    EXPECT_EQ(With("preRollMs", 60000).preRollMs, 60000u);
    EXPECT_EQ(TextWith("preRollMs", 60001), "preRollMs outside 0..60000");
}

TEST_F(PreparedAdditionsTest, ValuesOfAnotherTypeAreRefusedInTheLibrarysWords) {
    EXPECT_EQ(TextWith("lookBackMs", "1000"), std::string(kNumberExpected) + "string");
    EXPECT_EQ(TextWith("reconnectMs", nullptr), std::string(kNumberExpected) + "null");
    EXPECT_EQ(TextWith("preRollMs", true), std::string(kNumberExpected) + "boolean");
    EXPECT_EQ(TextWith("reconnectLostOnly", 1), std::string(kBooleanExpected) + "number");
    EXPECT_EQ(TextWith("startNow", 1), std::string(kBooleanExpected) + "number");
    EXPECT_EQ(TextWith("report", {1}), std::string(kStringExpected) + "number");
    EXPECT_EQ(TextWith("http", {{"userAgent", 1}}), std::string(kStringExpected) + "number");
    EXPECT_EQ(TextWithHeader("X-A", 1), std::string(kStringExpected) + "number");
    EXPECT_EQ(TextWith("report", "cause"), "Invalid report");
    EXPECT_EQ(TextWith("http", "agent"), "Invalid http");
    EXPECT_EQ(TextWith("http", {{"headers", "X-A: b"}}), "Invalid http header");
}

TEST_F(PreparedAdditionsTest, TheyAreCheckedAfterAllElse) {
    request_["lookBackMs"] = 1;
    EXPECT_EQ(TextWith("url", "ftp://x"), "Expected HTTP(S) source");
    EXPECT_EQ(TextWith("references", json::array()), "Expected 1..32 references");
    request_["preRollMs"] = 60001;
    EXPECT_EQ(TextWith("reconnectMs", 86400001), "lookBackMs outside 1000..3600000");
}

TEST_F(PreparedAdditionsTest, OnlyAProgrammeThatStartsNowNeedsNoReference) {
    EXPECT_TRUE(With("startNow", true).startNow);
    EXPECT_FALSE(With("startNow", false).startNow);
    const json endOnly = json::array({{{"id", "a"}, {"role", "end"}, {"path", file_}}});
    EXPECT_EQ(TextWith("references", endOnly), "A start reference is required");
    request_["startNow"] = true;
    EXPECT_EQ(TextWith("references", endOnly), "");
    EXPECT_EQ(TextWith("references", json::array()), "");
    EXPECT_EQ(TextWith("references", json::object()), "Expected 1..32 references");
    request_["startNow"] = 1;
    EXPECT_EQ(TextWith("references", endOnly), "A start reference is required");
}

TEST_F(PreparedAdditionsTest, ReportsAreAskedForOneByOne) {
    EXPECT_TRUE(With("report", {"cause"}).reportsCause);
    EXPECT_FALSE(With("report", {"cause"}).reportsDamage);
    EXPECT_TRUE(With("report", {"damage"}).reportsDamage);
    EXPECT_FALSE(With("report", {"damage"}).reportsTitles);
    EXPECT_TRUE(With("report", {"cause", "titles", "titles"}).reportsTitles);
    EXPECT_EQ(TextWith("report", {"cause", "Titles"}), "Invalid report");
    EXPECT_EQ(TextWith("report", json::array()), "");
}

TEST_F(PreparedAdditionsTest, WhatIsSaidToTheServerIsTakenAsItStands) {
    const PreparedHttp http =
        With("http", {{"userAgent", "Deck/2 (studio 1)"},
                      {"headers", {{"Authorization", "Bearer a.b"}, {"X-Empty", ""}}},
                      {"caFile", file_}})
            .http;
    EXPECT_EQ(http.userAgent, "Deck/2 (studio 1)");
    EXPECT_EQ(http.caFile, file_);
    using Header = std::pair<std::string, std::string>;
    EXPECT_EQ(http.headers,
              (std::vector<Header>{{"Authorization", "Bearer a.b"}, {"X-Empty", ""}}));
}

TEST_F(PreparedAdditionsTest, NothingCanBeSaidToTheServerThatBreaksOutOfItsLine) {
    for (const std::string bad : {"a\r\nX-Evil: 1", "a\nb", "a\rb", "\x7F", "\x01"}) {
        EXPECT_EQ(TextWith("http", {{"userAgent", bad}}), "Invalid http userAgent") << bad;
        EXPECT_EQ(TextWithHeader("X-A", bad), "Invalid http header") << bad;
    }
    EXPECT_EQ(TextWithHeader("X-A", std::string("a\0b", 3)), "Invalid http header");
    EXPECT_EQ(TextWith("http", {{"userAgent", ""}}), "Invalid http userAgent");
    EXPECT_EQ(TextWith("http", {{"userAgent", std::string(257, 'a')}}), "Invalid http userAgent");
    EXPECT_EQ(TextWith("http", {{"userAgent", std::string(256, 'a')}}), "");
    for (const char* name : {"", "X A", "X:A", "X\nA", "Ä"}) {
        EXPECT_EQ(TextWithHeader(name, "v"), "Invalid http header") << name;
    }
}

TEST_F(PreparedAdditionsTest, HeadersThatFrameTheRequestAreNotForOthersToSet) {
    for (const char* name : {"Host", "connection", "Content-Length", "TRANSFER-ENCODING", "Range",
                             "User-Agent", "Icy-MetaData"}) {
        EXPECT_EQ(TextWithHeader(name, "v"), "Invalid http header") << name;
    }
    EXPECT_EQ(TextWithHeader("Hosts", "v"), "");
}

TEST_F(PreparedAdditionsTest, HeadersAreBoundedInNumberAndLength) {
    json headers = json::object();
    for (int i = 0; i < 32; ++i) headers["X-" + std::to_string(i)] = "v";
    EXPECT_EQ(TextWith("http", {{"headers", headers}}), "");
    headers["X-32"] = "v";
    EXPECT_EQ(TextWith("http", {{"headers", headers}}), "Invalid http header");
    EXPECT_EQ(TextWithHeader("X", std::string(4095, 'v')), "");
    EXPECT_EQ(TextWithHeader("X", std::string(4096, 'v')), "Invalid http header");
}

TEST_F(PreparedAdditionsTest, ACertificateFileIsALocalFileThatExists) {
    EXPECT_EQ(TextWith("http", {{"caFile", ""}}), "Invalid http caFile");
    EXPECT_EQ(TextWith("http", {{"caFile", "http://x/ca.pem"}}), "Invalid http caFile");
    EXPECT_EQ(TextWith("http", {{"caFile", folder_.File("none")}}), "http caFile does not exist");
}

}  // namespace receiver
