#include "audio/source_failure.h"

#include <gtest/gtest.h>

#include <string>

#include "audio/ffmpeg.h"

namespace receiver {
namespace {

using Kind = SourceFailure::Kind;

struct FailureCase {
    const char* name;
    ConnectionFailure failure;
    FailedStep step;
    Kind kind;
    const char* text;
};

ConnectionFailure Code(int averror) {
    ConnectionFailure failure;
    failure.averror = averror;
    return failure;
}

ConnectionFailure Status(int status, int averror = AVERROR(EIO)) {
    ConnectionFailure failure = Code(averror);
    failure.httpStatus = status;
    failure.decoderError = kDecoderErrorOpen;
    return failure;
}

ConnectionFailure TimedOut() {
    ConnectionFailure failure = Code(AVERROR_EXIT);
    failure.timedOut = true;
    return failure;
}

ConnectionFailure Tls(const std::string& text) {
    ConnectionFailure failure = Code(AVERROR(EIO));
    failure.tlsText = text;
    return failure;
}

ConnectionFailure NameLookup() {
    ConnectionFailure failure = Code(AVERROR(EIO));
    failure.lookupFailed = true;
    return failure;
}

ConnectionFailure Cancelled() {
    ConnectionFailure failure = TimedOut();
    failure.cancelled = true;
    return failure;
}

ConnectionFailure Unreadable(uint32_t decoderError) {
    ConnectionFailure failure;
    failure.decoderError = decoderError;
    return failure;
}

class SourceFailureTest : public testing::TestWithParam<FailureCase> {};

}  // namespace

TEST_P(SourceFailureTest, IsAsTheTableSays) {
    const SourceFailure failure = DescribeFailure(GetParam().failure, GetParam().step);
    EXPECT_EQ(failure.kind, GetParam().kind);
    EXPECT_EQ(failure.text, GetParam().text);
    EXPECT_EQ(failure.httpStatus,
              GetParam().kind == Kind::kHttp ? GetParam().failure.httpStatus : 0);
}

INSTANTIATE_TEST_SUITE_P(
    Table, SourceFailureTest,
    testing::Values(
        FailureCase{"AnAnswer", Status(404), FailedStep::kOpening, Kind::kHttp,
                    "the server answers 404 Not Found"},
        FailureCase{"AnAnswerWithoutAPhrase", Status(499), FailedStep::kOpening, Kind::kHttp,
                    "the server answers 499"},
        FailureCase{"AnAnswerToTheNextSegment", Status(503), FailedStep::kReading, Kind::kHttp,
                    "the server answers 503 Service Unavailable"},
        FailureCase{"ACertificate", Tls("certificate verify failed\r\n"), FailedStep::kOpening,
                    Kind::kTls, "no trusted connection can be made: certificate verify failed"},
        FailureCase{"AName", NameLookup(), FailedStep::kOpening, Kind::kNameLookup,
                    "the host's name cannot be looked up"},
        FailureCase{"ARefusal", Code(AVERROR(ECONNREFUSED)), FailedStep::kOpening, Kind::kRefused,
                    "the host refuses the connection"},
        FailureCase{"NoNetwork", Code(AVERROR(ENETUNREACH)), FailedStep::kOpening,
                    Kind::kUnreachable, "the host cannot be reached"},
        FailureCase{"NoHost", Code(AVERROR(EHOSTUNREACH)), FailedStep::kOpening, Kind::kUnreachable,
                    "the host cannot be reached"},
        FailureCase{"AReset", Code(AVERROR(ECONNRESET)), FailedStep::kReading, Kind::kReset,
                    "the connection was broken off"},
        FailureCase{"AReadThatFailsOtherwise", Code(AVERROR(EIO)), FailedStep::kReading,
                    Kind::kReset, "the connection was broken off"},
        FailureCase{"OurTimeOut", TimedOut(), FailedStep::kReading, Kind::kTimeout,
                    "nothing came in time"},
        FailureCase{"TheSystemsTimeOut", Code(AVERROR(ETIMEDOUT)), FailedStep::kOpening,
                    Kind::kTimeout, "nothing came in time"},
        FailureCase{"AnEnd", Code(AVERROR_EOF), FailedStep::kReading, Kind::kEnded,
                    "the stream ended"},
        FailureCase{"AnEmptyBody", Status(200, AVERROR_EOF), FailedStep::kOpening, Kind::kNotAudio,
                    "what the server sends is no audio that can be read"},
        FailureCase{"AWebPage", Status(200, AVERROR_INVALIDDATA), FailedStep::kOpening,
                    Kind::kNotAudio, "what the server sends is no audio that can be read"},
        FailureCase{"AFilm", Unreadable(kDecoderErrorNoAudio), FailedStep::kOpening,
                    Kind::kNotAudio, "what the server sends is no audio that can be read"},
        FailureCase{"AnUnknownCodec", Unreadable(kDecoderErrorCodec), FailedStep::kOpening,
                    Kind::kNotAudio, "what the server sends is no audio that can be read"},
        FailureCase{"AStop", Cancelled(), FailedStep::kReading, Kind::kOther, "cancelled"},
        FailureCase{"NoMemory", Unreadable(kDecoderErrorOutOfMemory), FailedStep::kOpening,
                    Kind::kOther, "the source failed"},
        FailureCase{"SomethingElse", Code(AVERROR(EINVAL)), FailedStep::kOpening, Kind::kOther,
                    "the source failed: Invalid argument"}),
    [](const auto& failure) { return std::string(failure.param.name); });

TEST(SourceFailureText, IsOneBoundedLineWhateverTheLibrarySays) {
    const SourceFailure failure = DescribeFailure(
        Tls("bad\ncertificate \xFF" + std::string(1000, 'x')), FailedStep::kOpening);
    EXPECT_EQ(failure.text.find('\n'), std::string::npos);
    EXPECT_NE(failure.text.find("bad certificate \xEF\xBF\xBDxxx"), std::string::npos);
    EXPECT_LT(failure.text.size(), 400u);
}

}  // namespace receiver
