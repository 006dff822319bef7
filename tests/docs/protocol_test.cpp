// docs/protocol.md against the words that the receiver uses, its schema, and the tests that show
// what it says.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "docs/document_text.h"
#include "testing/message_schema.h"
#include "wire/messages.h"
#include "wire/rejections.h"

namespace receiver {
namespace {

using nlohmann::json;

std::string Page() {
    return TextOf(SOURCE_PATH "/docs/protocol.md");
}

// The JSON messages of the indented blocks: an arrow or a brace begins one, and it goes on over
// the lines below that are indented further. {...} stands for what is shown elsewhere.
std::vector<std::string> Messages() {
    std::vector<std::string> messages;
    std::istringstream page(Page());
    for (std::string line; std::getline(page, line);) {
        const bool begins = std::regex_search(line, std::regex("^    ((->|<-) )?\\{\""));
        const bool goesOn = !messages.empty() && std::regex_search(line, std::regex("^     +[^ ]"));
        if (begins) {
            messages.push_back(line.substr(line.find('{')));
        } else if (goesOn && !json::accept(messages.back())) {
            messages.back() += line.substr(line.find_first_not_of(' '));
        }
    }
    return messages;
}

bool IsAbridged(const std::string& message) {
    return message.find("...") != std::string::npos;
}

// The marks beneath the paragraphs: <!-- tests: SUITE.NAME, SUITE.NAME -->
std::vector<std::string> NamedTests() {
    std::vector<std::string> named;
    for (const std::string& list : AllOf(Page(), "<!-- tests: ([^>]*) -->")) {
        for (std::string& test : AllOf(list, "([A-Za-z0-9]+\\.[A-Za-z0-9_]+)")) {
            named.push_back(std::move(test));
        }
    }
    return named;
}

constexpr const char* kFinishedMessages[] = {kFinishedReferenceOpen,
                                             kFinishedReferenceDecode,
                                             kFinishedReferenceShort,
                                             kFinishedCancelledLoading,
                                             kFinishedCancelledBeforeOpen,
                                             kFinishedSourceOpen,
                                             kFinishedCancelledOpening,
                                             kFinishedStoppedDetecting,
                                             kFinishedStartNotFound,
                                             kFinishedPcmUnavailable,
                                             kFinishedSeek,
                                             kFinishedAudioListen,
                                             kFinishedStoppedBeforeReady,
                                             kFinishedProgramFormat,
                                             kFinishedAudioPrefix,
                                             kFinishedForeignException};

}  // namespace

TEST(ProtocolPage, EachTestIsThere) {
    const std::set<std::string> tests = TestsOfTheTree(SOURCE_PATH);
    const std::vector<std::string> named = NamedTests();
    EXPECT_GE(named.size(), 100u);
    for (const std::string& test : named) EXPECT_TRUE(tests.contains(test)) << test;
}

// A mark stands for what is above it, up to the mark or the heading before.
TEST(ProtocolPage, EveryPartNamesTheTestsThatShowIt) {
    std::istringstream page(Page());
    std::string heading;
    std::string open;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("#")) {
            EXPECT_EQ(open, "") << "under " << heading;
            heading = line;
            open.clear();
        } else if (line.starts_with("<!-- tests:")) {
            EXPECT_NE(open, "") << "a mark without a text under " << heading;
            open.clear();
        } else if (!line.empty() && open.empty()) {
            open = line;
        }
    }
    EXPECT_EQ(open, "") << "under " << heading;
}

TEST(ProtocolPage, EveryExampleFitsTheSchema) {
    size_t commands = 0;
    size_t messages = 0;
    for (const std::string& text : Messages()) {
        if (IsAbridged(text)) continue;
        const json example = json::parse(text, nullptr, false);
        ASSERT_TRUE(example.is_object()) << text;
        const bool isCommand = SchemaFaultOf(example, "command").empty();
        const bool isMessage = SchemaFaultOf(example, "message").empty();
        EXPECT_TRUE(isCommand != isMessage) << text;
        commands += isCommand ? 1 : 0;
        messages += isMessage ? 1 : 0;
    }
    EXPECT_EQ(commands, 4u);
    EXPECT_GE(messages, 8u);
}

TEST(ProtocolPage, TheSchemaRefusesWhatIsMissingOrOfAnotherType) {
    const json prepare = json::parse(R"({"type":"PREPARE","version":1,"requestId":"a",
        "sessionId":"s","url":"http://r/","references":[{"id":"j","role":"start","path":"/j"}]})");
    EXPECT_EQ(SchemaFaultOf(prepare, "command"), "");
    for (const char* key : {"type", "version", "requestId", "sessionId", "url", "references"}) {
        json without = prepare;
        without.erase(key);
        EXPECT_NE(SchemaFaultOf(without, "command"), "") << key;
    }
    const std::vector<json> patches = {
        {{"ioTimeoutMs", 99}},           {{"ioTimeoutMs", nullptr}},
        {{"blockBytes", 1048577}},       {{"program", {{"maximumMs", 1000}}}},
        {{"sessionId", "a b"}},          {{"url", "ftp://r/"}},
        {{"references", json::array()}}, {{"version", 2}}};
    for (const json& patch : patches) {
        json changed = prepare;
        changed.update(patch);
        EXPECT_NE(SchemaFaultOf(changed, "command"), "") << patch;
    }
}

TEST(ProtocolPage, EveryMessageOfFinishedIsListed) {
    const std::string words = TextOf(SOURCE_PATH "/src/wire/messages.h");
    EXPECT_EQ(AllOf(words, "(kFinished[A-Za-z]+) ?=").size(), std::size(kFinishedMessages));
    for (const char* message : kFinishedMessages) {
        EXPECT_NE(Page().find("| `" + std::string(message)), std::string::npos) << message;
    }
}

TEST(ProtocolPage, EveryRefusalIsListed) {
    const std::vector<std::string> refusals =
        AllOf(TextOf(SOURCE_PATH "/src/wire/rejections.h"), "kRejected\\w+ ?=\\s*\"([^\"]+)\"");
    EXPECT_GE(refusals.size(), 20u);
    for (const std::string& refusal : refusals) {
        EXPECT_NE(Page().find("`" + refusal + "`"), std::string::npos) << refusal;
    }
}

}  // namespace receiver
