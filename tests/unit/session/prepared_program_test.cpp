#include "session/prepared_program.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "platform/text.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {

using nlohmann::json;

namespace {

class PreparedProgramTest : public testing::Test {
protected:
    PreparedProgramTest() {
        WriteFileBytes(file_, "any bytes");
        request_ = {{"sessionId", "s-1"},
                    {"url", "http://radio.example/live"},
                    {"references", json::array({Reference("a", "start")})}};
    }

    json Reference(const std::string& id, const std::string& role) const {
        return {{"id", id}, {"role", role}, {"path", file_}};
    }

    json References(size_t count) const {
        json list = json::array();
        for (size_t i = 0; i < count; ++i)
            list.push_back(Reference("r" + std::to_string(i), "start"));
        return list;
    }

    PreparedProgram Parse() const { return ParsePreparedProgram(request_); }

    // Parses the request with this one change; "" when it passes.
    std::string TextWith(const std::string& pointer, const json& value) const {
        json changed = request_;
        changed[json::json_pointer(pointer)] = value;
        return TextOf(changed);
    }

    std::string TextWithout(const std::string& key) const {
        json changed = request_;
        changed.erase(key);
        return TextOf(changed);
    }

    static std::string TextOf(const json& request) {
        try {
            ParsePreparedProgram(request);
        } catch (const std::exception& error) {
            return error.what();
        }
        return "";
    }

    const TempFolder folder_;
    const std::string file_ = folder_.File("reference.wav");
    json request_;
};

constexpr const char* kNumberExpected =
    "[json.exception.type_error.302] type must be number, but is ";
constexpr const char* kStringExpected =
    "[json.exception.type_error.302] type must be string, but is ";

std::string Missing(const std::string& key) {
    return "[json.exception.out_of_range.403] key '" + key + "' not found";
}

}  // namespace

TEST_F(PreparedProgramTest, ARequestWithoutOptionalKeysGetsTheDefaults) {
    const PreparedProgram program = Parse();
    EXPECT_EQ(program.sessionId, "s-1");
    EXPECT_EQ(program.url, "http://radio.example/live");
    EXPECT_EQ(program.ioTimeoutMs, 15000u);
    EXPECT_EQ(program.blockBytes, 8192u);
    EXPECT_EQ(program.maximumMs, 0u);
    EXPECT_EQ(program.fadeMs, 0u);
    ASSERT_EQ(program.references.size(), 1u);
    EXPECT_EQ(program.references[0].id, "a");
    EXPECT_EQ(program.references[0].role, ReferenceRole::kStart);
    EXPECT_EQ(program.references[0].path, file_);
}

TEST_F(PreparedProgramTest, UnknownKeysAreIgnored) {
    EXPECT_EQ(TextWith("/colour", "blue"), "");
    EXPECT_EQ(TextWith("/references/0/colour", "blue"), "");
}

TEST_F(PreparedProgramTest, ABodyThatIsNoObjectGetsTheLibrarysText) {
    EXPECT_EQ(TextOf(json::array()), "[json.exception.type_error.304] cannot use at() with array");
}

TEST_F(PreparedProgramTest, AMissingKeyIsNamed) {
    EXPECT_EQ(TextWithout("sessionId"), Missing("sessionId"));
    EXPECT_EQ(TextWithout("url"), Missing("url"));
    EXPECT_EQ(TextWithout("references"), Missing("references"));
}

TEST_F(PreparedProgramTest, AStringOfAnotherTypeGetsTheLibrarysText) {
    EXPECT_EQ(TextWith("/sessionId", 1), std::string(kStringExpected) + "number");
    EXPECT_EQ(TextWith("/url", nullptr), std::string(kStringExpected) + "null");
}

TEST_F(PreparedProgramTest, ASessionIdFollowsTheIdentifierRule) {
    EXPECT_EQ(TextWith("/sessionId", std::string(80, 'x')), "");
    for (const char* bad : {"", "a b", "a.b", "a/b", "a\nb", "\xC3\xA9"}) {
        EXPECT_EQ(TextWith("/sessionId", bad), "Invalid sessionId") << bad;
    }
    EXPECT_EQ(TextWith("/sessionId", std::string(81, 'x')), "Invalid sessionId");
}

TEST_F(PreparedProgramTest, OnlyLowerCaseHttpAndHttpsUrlsPass) {
    for (const char* good : {"http://", "https://", "https://anything at all"}) {
        EXPECT_EQ(TextWith("/url", good), "") << good;
    }
    for (const char* bad : {"", "HTTP://x", "Https://x", "ftp://x", "http:/x", "http:", "https:/",
                            " http://x", "file:///etc/passwd"}) {
        EXPECT_EQ(TextWith("/url", bad), "Expected HTTP(S) source") << bad;
    }
}

TEST_F(PreparedProgramTest, AUrlMayBe4096BytesLong) {
    const std::string longest = "http://" + std::string(4096 - 7, 'x');
    EXPECT_EQ(TextWith("/url", longest), "");
    EXPECT_EQ(TextWith("/url", longest + "x"), "Expected HTTP(S) source");
}

TEST_F(PreparedProgramTest, IoTimeoutMsIsWithin100And60000) {
    for (const json& good : {json(100), json(60000), json(100.9), json(60000.9)}) {
        EXPECT_EQ(TextWith("/ioTimeoutMs", good), "") << good;
    }
    for (const json& bad : {json(99), json(60001), json(-1), json(0), json(99.9), json(1e300),
                            json(-1e300), json(-0.5), json(UINT64_MAX), json(INT64_MIN)}) {
        EXPECT_EQ(TextWith("/ioTimeoutMs", bad), "ioTimeoutMs outside 100..60000") << bad;
    }
}

TEST_F(PreparedProgramTest, AnIntegerBeyond32BitsDoesNotWrapIntoTheRangeOfAnOptionalNumber) {
    EXPECT_EQ(TextWith("/ioTimeoutMs", 4294967296 + 1000), "ioTimeoutMs outside 100..60000");
}

TEST_F(PreparedProgramTest, AFractionOfAnOptionalNumberIsCutOff) {
    request_["ioTimeoutMs"] = 100.9;
    request_["blockBytes"] = 4.99;
    EXPECT_EQ(Parse().ioTimeoutMs, 100u);
    EXPECT_EQ(Parse().blockBytes, 4u);
}

TEST_F(PreparedProgramTest, BlockBytesIsWithin4And1048576) {
    for (const int good : {4, 1048576}) EXPECT_EQ(TextWith("/blockBytes", good), "") << good;
    for (const json& bad : {json(3), json(1048577), json(-1), json(3.9), json(4294967300)}) {
        EXPECT_EQ(TextWith("/blockBytes", bad), "blockBytes outside 4..1048576") << bad;
    }
}

TEST_F(PreparedProgramTest, AnOptionalNumberOfAnotherTypeGetsTheLibrarysText) {
    EXPECT_EQ(TextWith("/ioTimeoutMs", true), std::string(kNumberExpected) + "boolean");
    EXPECT_EQ(TextWith("/ioTimeoutMs", nullptr), std::string(kNumberExpected) + "null");
    EXPECT_EQ(TextWith("/ioTimeoutMs", "100"), std::string(kNumberExpected) + "string");
    EXPECT_EQ(TextWith("/blockBytes", "8192"), std::string(kNumberExpected) + "string");
    EXPECT_EQ(TextWith("/blockBytes", false), std::string(kNumberExpected) + "boolean");
}

TEST_F(PreparedProgramTest, TheTypesOfBothOptionalNumbersAreCheckedBeforeTheirRanges) {
    request_["ioTimeoutMs"] = 99;
    EXPECT_EQ(TextWith("/blockBytes", "x"), std::string(kNumberExpected) + "string");
}

TEST_F(PreparedProgramTest, IoTimeoutMsIsJudgedBeforeBlockBytes) {
    request_["ioTimeoutMs"] = 99;
    EXPECT_EQ(TextWith("/blockBytes", 3), "ioTimeoutMs outside 100..60000");
}

TEST_F(PreparedProgramTest, ProgramBoundsAreStored) {
    request_["program"] = {{"maximumMs", 3600000}, {"fadeMs", 3600000}};
    EXPECT_EQ(Parse().maximumMs, 3600000u);
    EXPECT_EQ(Parse().fadeMs, 3600000u);
}

TEST_F(PreparedProgramTest, ProgramHasToBeAnObject) {
    EXPECT_EQ(TextWith("/program", 5),
              "[json.exception.type_error.304] cannot use at() with number");
    EXPECT_EQ(TextWith("/program", nullptr),
              "[json.exception.type_error.304] cannot use at() with null");
    EXPECT_EQ(TextWith("/program", json::array({1})),
              "[json.exception.type_error.304] cannot use at() with array");
}

TEST_F(PreparedProgramTest, ProgramNamesItsMissingKey) {
    EXPECT_EQ(TextWith("/program", json::object()), Missing("maximumMs"));
    EXPECT_EQ(TextWith("/program", {{"fadeMs", 0}}), Missing("maximumMs"));
    EXPECT_EQ(TextWith("/program", {{"maximumMs", 1000}}), Missing("fadeMs"));
    EXPECT_EQ(TextWith("/program", {{"maximumMs", 1}}), Missing("fadeMs"));
}

TEST_F(PreparedProgramTest, MaximumMsIsWithin1000And3600000) {
    for (const json& bad : {json(999), json(3600001), json(-1), json(true), json(999.9),
                            json(1e300), json(-1e300), json(4294968296.0)}) {
        EXPECT_EQ(TextWith("/program", {{"maximumMs", bad}, {"fadeMs", 0}}),
                  "Invalid program maximumMs")
            << bad;
    }
}

TEST_F(PreparedProgramTest, FadeMsIsAtMost3600000) {
    for (const json& bad : {json(3600001), json(-1), json(1e300), json(-1.5)}) {
        EXPECT_EQ(TextWith("/program", {{"maximumMs", 1000}, {"fadeMs", bad}}),
                  "Invalid program fadeMs")
            << bad;
    }
}

TEST_F(PreparedProgramTest, MaximumMsIsJudgedBeforeFadeMs) {
    EXPECT_EQ(TextWith("/program", {{"maximumMs", 999}, {"fadeMs", 3600001}}),
              "Invalid program maximumMs");
}

TEST_F(PreparedProgramTest, TheTypesOfBothProgramBoundsAreCheckedBeforeTheirRanges) {
    EXPECT_EQ(TextWith("/program", {{"maximumMs", 999}, {"fadeMs", "x"}}),
              std::string(kNumberExpected) + "string");
    EXPECT_EQ(TextWith("/program", {{"maximumMs", nullptr}, {"fadeMs", 0}}),
              std::string(kNumberExpected) + "null");
    EXPECT_EQ(TextWith("/program", {{"maximumMs", 1000}, {"fadeMs", nullptr}}),
              std::string(kNumberExpected) + "null");
    // A wrong maximum is seen before a missing fade.
    EXPECT_EQ(TextWith("/program", {{"maximumMs", "1000"}}),
              std::string(kNumberExpected) + "string");
}

TEST_F(PreparedProgramTest, ABooleanIsAProgramBoundOf0Or1) {
    request_["program"] = {{"maximumMs", 1000}, {"fadeMs", true}};
    EXPECT_EQ(Parse().fadeMs, 1u);
    request_["program"]["fadeMs"] = false;
    EXPECT_EQ(Parse().fadeMs, 0u);
}

TEST_F(PreparedProgramTest, AFractionOfAProgramBoundIsCutOff) {
    request_["program"] = {{"maximumMs", 1000.9}, {"fadeMs", -0.9}};
    EXPECT_EQ(Parse().maximumMs, 1000u);
    EXPECT_EQ(Parse().fadeMs, 0u);
}

TEST_F(PreparedProgramTest, AnIntegerProgramBoundWrapsTo32Bits) {
    request_["program"] = {{"maximumMs", 4294967296 + 1000}, {"fadeMs", -4294967296 + 7}};
    EXPECT_EQ(Parse().maximumMs, 1000u);
    EXPECT_EQ(Parse().fadeMs, 7u);
}

TEST_F(PreparedProgramTest, OneTo32ReferencesAreExpected) {
    EXPECT_EQ(TextWith("/references", References(32)), "");
    for (const json& bad :
         {References(0), References(33), json::object(), json(1), json("start"), json()}) {
        EXPECT_EQ(TextWith("/references", bad), "Expected 1..32 references") << bad;
    }
}

TEST_F(PreparedProgramTest, AReferenceHasToBeAnObject) {
    EXPECT_EQ(TextWith("/references/0", 5),
              "[json.exception.type_error.304] cannot use at() with number");
}

TEST_F(PreparedProgramTest, AReferencesKeysAreReadInTheOrderIdRolePath) {
    json reference = json::object();
    EXPECT_EQ(TextWith("/references/0", reference), Missing("id"));
    reference["id"] = 1;
    EXPECT_EQ(TextWith("/references/0", reference), std::string(kStringExpected) + "number");
    reference["id"] = "!";  // its content is judged after all three are read
    EXPECT_EQ(TextWith("/references/0", reference), Missing("role"));
    reference["role"] = json::array();
    EXPECT_EQ(TextWith("/references/0", reference), std::string(kStringExpected) + "array");
    reference["role"] = "!";
    EXPECT_EQ(TextWith("/references/0", reference), Missing("path"));
    reference["path"] = false;
    EXPECT_EQ(TextWith("/references/0", reference), std::string(kStringExpected) + "boolean");
    reference["path"] = "";
    EXPECT_EQ(TextWith("/references/0", reference), "Invalid or duplicate reference id");
    reference["id"] = "a";
    EXPECT_EQ(TextWith("/references/0", reference), "Invalid reference role");
    reference["role"] = "start";
    EXPECT_EQ(TextWith("/references/0", reference), "Expected reference file path");
    reference["path"] = file_;
    EXPECT_EQ(TextWith("/references/0", reference), "");
}

TEST_F(PreparedProgramTest, AReferenceIdFollowsTheIdentifierRule) {
    EXPECT_EQ(TextWith("/references/0/id", std::string(80, 'x')), "");
    for (const std::string& bad : {std::string(), std::string(81, 'x'), std::string("a b"),
                                   std::string("a.b"), std::string("\xC3\xA4")}) {
        EXPECT_EQ(TextWith("/references/0/id", bad), "Invalid or duplicate reference id") << bad;
    }
}

TEST_F(PreparedProgramTest, ReferenceIdsDifferByCase) {
    EXPECT_EQ(TextWith("/references/1", Reference("A", "end")), "");
}

TEST_F(PreparedProgramTest, ARepeatedReferenceIdIsRefused) {
    EXPECT_EQ(TextWith("/references/1", Reference("a", "end")),
              "Invalid or duplicate reference id");
}

TEST_F(PreparedProgramTest, ARoleIsSpelledInLowerCase) {
    for (const char* bad : {"", "Start", "END", "outro"}) {
        EXPECT_EQ(TextWith("/references/0/role", bad), "Invalid reference role") << bad;
    }
}

TEST_F(PreparedProgramTest, ReferencesKeepTheirOrderAndRoles) {
    request_["references"] =
        json::array({Reference("a", "other"), Reference("b", "end"), Reference("c", "start")});
    const std::vector<PreparedReference> references = Parse().references;
    ASSERT_EQ(references.size(), 3u);
    EXPECT_EQ(references[0].id, "a");
    EXPECT_EQ(references[0].role, ReferenceRole::kOther);
    EXPECT_EQ(references[1].id, "b");
    EXPECT_EQ(references[1].role, ReferenceRole::kEnd);
    EXPECT_EQ(references[2].id, "c");
    EXPECT_EQ(references[2].role, ReferenceRole::kStart);
}

TEST_F(PreparedProgramTest, WithoutAStartReferenceTheRequestIsRefused) {
    EXPECT_EQ(TextWith("/references/0/role", "end"), "A start reference is required");
    request_["references"] = json::array({Reference("a", "end"), Reference("b", "other")});
    EXPECT_EQ(TextOf(request_), "A start reference is required");
}

TEST_F(PreparedProgramTest, ABadReferenceIsReportedBeforeTheMissingStart) {
    request_["references"] = json::array({Reference("a", "end"), Reference("b", "wrong")});
    EXPECT_EQ(TextOf(request_), "Invalid reference role");
}

TEST_F(PreparedProgramTest, APathThatLooksLikeAUrlIsRefused) {
    EXPECT_EQ(TextWith("/references/0/path", "file:///a.wav"), "Expected reference file path");
    EXPECT_EQ(TextWith("/references/0/path", "a://"), "Expected reference file path");
    EXPECT_EQ(TextWith("/references/0/path", "/tmp/a://b"), "Expected reference file path");
}

TEST_F(PreparedProgramTest, APathMayBe4096BytesLong) {
    const std::string longest(4096, 'x');
    EXPECT_EQ(TextWith("/references/0/path", longest), "Reference file does not exist");
    EXPECT_EQ(TextWith("/references/0/path", longest + "x"), "Expected reference file path");
}

TEST_F(PreparedProgramTest, APathHasToNameAnExistingFile) {
    EXPECT_EQ(TextWith("/references/0/path", folder_.File("absent.wav")),
              "Reference file does not exist");
    EXPECT_EQ(TextWith("/references/0/path", folder_.Path().string()),
              "Reference file does not exist");
}

TEST_F(PreparedProgramTest, TheFirstFaultInTheOrderOfTheChecksIsReported) {
    json request = {
        {"sessionId", ""},           {"url", ""},
        {"ioTimeoutMs", "x"},        {"blockBytes", 3},
        {"program", json::object()}, {"references", {{{"id", ""}, {"role", "x"}, {"path", ""}}}}};
    EXPECT_EQ(TextOf(request), "Invalid sessionId");
    request["sessionId"] = "s";
    EXPECT_EQ(TextOf(request), "Expected HTTP(S) source");
    request["url"] = "http://x";
    EXPECT_EQ(TextOf(request), std::string(kNumberExpected) + "string");
    request["ioTimeoutMs"] = 99;
    request["blockBytes"] = "y";  // its type is looked at before the range of the other
    EXPECT_EQ(TextOf(request), std::string(kNumberExpected) + "string");
    request["blockBytes"] = 3;
    EXPECT_EQ(TextOf(request), "ioTimeoutMs outside 100..60000");
    request["ioTimeoutMs"] = 100;
    EXPECT_EQ(TextOf(request), "blockBytes outside 4..1048576");
    request["blockBytes"] = 4;
    EXPECT_EQ(TextOf(request), Missing("maximumMs"));
    request["program"] = {{"maximumMs", 1}};
    EXPECT_EQ(TextOf(request), Missing("fadeMs"));
    request["program"]["fadeMs"] = -1;
    EXPECT_EQ(TextOf(request), "Invalid program maximumMs");
    request["program"]["maximumMs"] = 1000;
    EXPECT_EQ(TextOf(request), "Invalid program fadeMs");
    request["program"]["fadeMs"] = 0;
    EXPECT_EQ(TextOf(request), "Invalid or duplicate reference id");
    request["references"][0]["id"] = "a";
    EXPECT_EQ(TextOf(request), "Invalid reference role");
    request["references"][0]["role"] = "end";
    EXPECT_EQ(TextOf(request), "Expected reference file path");
    request["references"][0]["path"] = file_;
    EXPECT_EQ(TextOf(request), "A start reference is required");
    request["references"][0]["role"] = "start";
    EXPECT_EQ(TextOf(request), "");
}

TEST_F(PreparedProgramTest, APathKeepsItsNonAsciiCharacters) {
    const std::u8string name = u8"R\u00e9f\u00e9rence \u65e5\u672c.wav";
    const auto path = folder_.Path() / std::filesystem::path(name);
    std::filesystem::copy_file(std::filesystem::path(file_), path);
    EXPECT_EQ(TextWith("/references/0/path", ToUtf8(path)), "");
}

}  // namespace receiver
