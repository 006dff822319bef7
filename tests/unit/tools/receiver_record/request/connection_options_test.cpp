#include "receiver_record/request/connection_options.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

std::string RefusalOf(const ConnectionValues& values) {
    try {
        CheckConnection(values);
    } catch (const std::invalid_argument& e) {
        return e.what();
    }
    return "";
}

}  // namespace

TEST(ConnectionOptions, ALostSourceIsTriedForFiveMinutesUnlessToldOtherwise) {
    EXPECT_EQ(CheckConnection({}).reconnectMs, 300000u);
    EXPECT_EQ(CheckConnection({.reconnect = "0"}).reconnectMs, 0u);
    EXPECT_EQ(CheckConnection({.reconnect = "24h"}).reconnectMs, 86400000u);
    EXPECT_EQ(RefusalOf({.reconnect = "25h"}), "--reconnect: 25h is not between 0s and 24h");
    EXPECT_EQ(RefusalOf({.reconnect = "x"}), "--reconnect: invalid duration \"x\"");
}

TEST(ConnectionOptions, HeadersAreTakenApart) {
    const HttpOptions http =
        CheckConnection({.userAgent = "Radio/1", .headers = {"X-Key:  a: b ", "Cookie:c"}}).http;
    EXPECT_EQ(http.userAgent, "Radio/1");
    EXPECT_EQ(http.headers,
              (std::map<std::string, std::string>{{"Cookie", "c"}, {"X-Key", "a: b"}}));
}

TEST(ConnectionOptions, NoRefusalShowsAHeadersValue) {
    for (const std::string header : {"secret", ": secret", "X Y: secret", "X-Key: se\ncret"}) {
        const std::string refusal = RefusalOf({.headers = {header}});
        EXPECT_EQ(refusal.rfind("--header: ", 0), 0u) << header;
        EXPECT_EQ(refusal.find("cret"), std::string::npos) << refusal;
    }
    EXPECT_EQ(RefusalOf({.headers = {"A: secret", "A: secret"}}), "--header: A is given twice");
    EXPECT_EQ(RefusalOf({.userAgent = "two\nlines"}).rfind("--user-agent: ", 0), 0u);
}

TEST(ConnectionOptions, ACertificateFileIsThere) {
    const TempFolder folder;
    const std::string file = folder.File("ca.pem");
    EXPECT_EQ(RefusalOf({.caFile = file}), "--ca-file: no such file: " + file);
    WriteFileBytes(file, "any");
    EXPECT_EQ(CheckConnection({.caFile = file}).http.caFile, file);
}

TEST(ConnectionOptions, AUrlMayHaveBlanksAroundItAndASchemeOfAnyCase) {
    EXPECT_EQ(CheckUrl(" HTTP://Radio.example/Live \n"), "http://Radio.example/Live");
    EXPECT_EQ(CheckUrl("HttpS://a/"), "https://a/");
    for (const char* url : {"", " ", "ftp://a/", "a/", "http:/a"}) {
        EXPECT_THROW(CheckUrl(url), std::invalid_argument) << url;
    }
}

}  // namespace receiver
