#include "receiver_record/request/record_options.h"

#include <gtest/gtest.h>

#include <sstream>

namespace receiver {
namespace {

CommandLine Parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "receiver-record");
    return ParseCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

RecordOptions Options(std::vector<const char*> further) {
    std::vector<const char*> arguments = {"http://radio/", "--start", "j.wav"};
    arguments.insert(arguments.end(), further.begin(), further.end());
    const CommandLine line = Parse(arguments);
    EXPECT_FALSE(line.answer) << line.answer->text;
    return line.options;
}

// Its text, expected with this exit code.
std::string Answer(std::vector<const char*> arguments, int exitCode) {
    const CommandLine line = Parse(std::move(arguments));
    EXPECT_TRUE(line.answer && line.answer->exitCode == exitCode);
    return line.answer ? line.answer->text : "";
}

// The text of the usage error.
std::string Refusal(std::vector<const char*> further) {
    std::vector<const char*> arguments = {"http://radio/", "--start", "j.wav"};
    arguments.insert(arguments.end(), further.begin(), further.end());
    return Answer(arguments, kUsageExitCode);
}

}  // namespace

TEST(RecordOptions, EveryOptionReachesTheRecording) {
    const RecordOptions options =
        Options({"--end",  "o.wav",   "--end",        "p.wav",   "--other",    "n=n.wav",
                 "--max",  "55m",     "--fade",       "3s",      "--min",      "5m",
                 "--trim", "both",    "--io-timeout", "20s",     "--block",    "4096",
                 "--wait", "1h",      "--log",        "r.log",   "--receiver", "/opt/ReceiverHost",
                 "--json", "--quiet", "--verbose",    "--force", "-o",         "a.wav"});
    EXPECT_EQ(options.url, "http://radio/");
    EXPECT_EQ(options.output, "a.wav");
    EXPECT_EQ(options.references.size(), 4u);
    EXPECT_EQ(options.limits.maximumMs, 3300000u);
    EXPECT_EQ(options.limits.minimumMs, 300000u);
    EXPECT_EQ(options.limits.fadeMs, 3000u);
    EXPECT_TRUE(options.limits.trimStart && options.limits.trimEnd);
    EXPECT_EQ(options.ioTimeoutMs, 20000u);
    EXPECT_EQ(options.blockBytes, 4096u);
    EXPECT_EQ(options.waitMs, 3600000u);
    EXPECT_EQ(options.logPath, "r.log");
    EXPECT_EQ(options.receiverProgram, "/opt/ReceiverHost");
    EXPECT_TRUE(options.json && options.quiet && options.verbose && options.force);
}

TEST(RecordOptions, WithoutAnEndOrAMaximumTheProgramHasNoBounds) {
    const CutLimits limits = Options({"-o", "a.wav"}).limits;
    EXPECT_FALSE(limits.maximumMs);
    EXPECT_EQ(limits.fadeMs, 0u);
    EXPECT_EQ(limits.minimumMs, 0u);
    EXPECT_FALSE(limits.trimStart || limits.trimEnd);
}

TEST(RecordOptions, WithoutAMaximumNoLengthEndsAProgram) {
    EXPECT_FALSE(Options({"--end", "o.wav", "--fade", "1s", "-o", "a.wav"}).limits.maximumMs);
    EXPECT_EQ(Options({"--max", "24h", "-o", "a.wav"}).limits.maximumMs, 86400000u);
}

TEST(RecordOptions, OneRecordingMayOpenAndCloseAProgram) {
    const RecordOptions options = Options({"--end", "j.wav", "-o", "a.wav"});
    ASSERT_EQ(options.references.size(), 2u);
    EXPECT_EQ(options.references[0].path, options.references[1].path);
    EXPECT_NE(options.references[0].id, options.references[1].id);
}

TEST(RecordOptions, TheRecordingsThatAreCutOffAreNamedByTheirSide) {
    EXPECT_TRUE(Options({"--trim", "start", "-o", "a.wav"}).limits.trimStart);
    const CutLimits limits = Options({"--end", "o.wav", "--trim", "end", "-o", "a.wav"}).limits;
    EXPECT_TRUE(limits.trimEnd && !limits.trimStart);
    EXPECT_NE(Refusal({"-o", "a.wav", "--trim", "all"}).find("--trim"), std::string::npos);
    EXPECT_NE(Refusal({"-o", "a.wav", "--trim", "end"}).find("--trim end"), std::string::npos);
}

TEST(RecordOptions, AMinimumNeedsAnEndAndIsLessThanTheMaximum) {
    EXPECT_NE(Refusal({"-o", "a.wav", "--min", "1m"}).find("--min"), std::string::npos);
    EXPECT_NE(
        Refusal({"-o", "a.wav", "--end", "o.wav", "--min", "1m", "--max", "1m"}).find("--min"),
        std::string::npos);
}

TEST(RecordOptions, AHyphenIsStandardOutput) {
    EXPECT_TRUE(Options({"-o", "-"}).ToStandardOutput());
    EXPECT_FALSE(Options({"-o", "./-.wav"}).ToStandardOutput());
}

TEST(RecordOptions, ARunningReceiverCanBeJoined) {
    EXPECT_EQ(Options({"--control", "pcm-pipe://r", "-o", "a.wav"}).controlUri, "pcm-pipe://r");
}

TEST(RecordOptions, HelpIsNoErrorAndNamesExamplesAndExitCodes) {
    const std::string help = Answer({"--help"}, 0);
    for (const char* part : {"--start", "What to listen for", "Examples:", "Exit codes:", ".wav"}) {
        EXPECT_NE(help.find(part), std::string::npos) << part;
    }
    EXPECT_EQ(help.find("--generate"), std::string::npos);
}

TEST(RecordOptions, AStartOrNowSaysWhenItBegins) {
    EXPECT_NE(Answer({"http://radio/", "-o", "a.wav"}, 2).find("--start is required, or --now"),
              std::string::npos);
    Answer({"http://radio/", "--now", "--start", "j.wav", "-o", "a.wav"}, 2);
    const CommandLine line =
        Parse({"http://radio/", "--now", "--until", "18:30", "--repeat", "-o", "%F.wav"});
    ASSERT_FALSE(line.answer) << line.answer->text;
    EXPECT_TRUE(line.options.schedule.startNow && line.options.schedule.repeat);
    EXPECT_EQ(line.options.schedule.until->hour, 18);
    EXPECT_TRUE(line.options.references.empty());
    EXPECT_NE(Refusal({"-o", "a.wav", "--until", "25:00"}).find("--until: invalid time"),
              std::string::npos);
    EXPECT_NE(Refusal({"-o", "-", "--repeat"}).find("--repeat"), std::string::npos);
}

TEST(RecordOptions, TheConnectionIsAsItWasAskedFor) {
    const CommandLine line =
        Parse({" HTTP://Radio/ ", "--start", "j.wav", "-o", "a.wav", "--reconnect", "10s",
               "--user-agent", "Me", "--header", "X-A: b", "--header", "X-C: d"});
    ASSERT_FALSE(line.answer) << line.answer->text;
    EXPECT_EQ(line.options.url, "http://Radio/");
    EXPECT_EQ(line.options.connection.reconnectMs, 10000u);
    EXPECT_EQ(line.options.connection.http.userAgent, "Me");
    EXPECT_EQ(line.options.connection.http.headers.size(), 2u);
}

TEST(RecordOptions, WhatIsMissingIsAUsageError) {
    Answer({}, 2);
    Answer({"http://radio/", "-o", "a.wav"}, 2);
    Answer({"http://radio/", "--start", "j.wav"}, 2);
    Answer({"--start", "j.wav", "-o", "a.wav"}, 2);
}

TEST(RecordOptions, OnlyHttpSourcesAreTaken) {
    Answer({"ftp://radio/", "--start", "j.wav", "-o", "a.wav"}, 2);
    EXPECT_FALSE(Parse({"https://radio/", "--start", "j.wav", "-o", "a.wav"}).answer);
}

TEST(RecordOptions, ValuesOutOfRangeNameTheirOption) {
    EXPECT_NE(Refusal({"-o", "a.wav", "--max", "999ms"}).find("--max"), std::string::npos);
    EXPECT_NE(Refusal({"-o", "a.wav", "--max", "25h"}).find("--max"), std::string::npos);
    EXPECT_NE(Refusal({"-o", "a.wav", "--fade", "2h"}).find("--fade"), std::string::npos);
    EXPECT_NE(Refusal({"-o", "a.wav", "--io-timeout", "99ms"}).find("--io-timeout"),
              std::string::npos);
    EXPECT_NE(Refusal({"-o", "a.wav", "--block", "3"}).find("--block"), std::string::npos);
    EXPECT_NE(Refusal({"-o", "a.wav", "--block", "1048577"}).find("--block"), std::string::npos);
    EXPECT_NE(Refusal({"-o", "a.wav", "--block", "4k"}).find("--block"), std::string::npos);
    EXPECT_NE(Refusal({"-o", "a.wav", "--wait", "soon"}).find("--wait"), std::string::npos);
}

TEST(RecordOptions, ValuesThatAreNoneAreNamedWithTheirOption) {
    EXPECT_NE(Refusal({"-o", "a.wav", "--max", "x"}).find("--max: invalid duration \"x\"\n"),
              std::string::npos);
    EXPECT_NE(
        Refusal({"-o", "a.wav", "--max", "25h"}).find("--max: 25h is not between 1s and 24h\n"),
        std::string::npos);
    EXPECT_NE(Refusal({"-o", "a.wav", "--block", "4k"}).find("--block: invalid number \"4k\"\n"),
              std::string::npos);
}

TEST(RecordOptions, AnUnknownOutputFormatNamesThePossibleOnes) {
    EXPECT_NE(Refusal({"-o", "a.xyz"}).find(".flac"), std::string::npos);
}

TEST(RecordOptions, OptionsThatContradictEachOtherAreRefused) {
    Refusal({"-o", "-", "--json"});
    Refusal({"-o", "a.wav", "--control", "pcm-pipe://r", "--log", "r.log"});
}

TEST(RecordOptions, MoreThan32RecordingsAreRefused) {
    std::vector<const char*> arguments = {"-o", "a.wav"};
    for (int i = 0; i < 31; ++i) arguments.insert(arguments.end(), {"--other", "n.wav"});
    Options(arguments);
    arguments.insert(arguments.end(), {"--other", "n.wav"});
    Refusal(arguments);
}

TEST(RecordOptions, TheUrlMayStandAnywhere) {
    const CommandLine line = Parse(
        {"--start", "j.wav", "http://radio/", "--end", "o.wav", "--other", "n.wav", "-o", "a.wav"});
    EXPECT_FALSE(line.answer) << line.answer->text;
    EXPECT_EQ(line.options.url, "http://radio/");
    EXPECT_EQ(line.options.references.size(), 3u);
}

TEST(RecordOptions, TheManualHasExamplesExitCodesAndEnvironment) {
    const std::string manual = Answer({"--generate", "man"}, 0);
    for (const char* part : {"\\-\\-io\\-timeout", ".SH EXIT STATUS", "NO_COLOR", "show.flac"}) {
        EXPECT_NE(manual.find(part), std::string::npos) << part;
    }
}

TEST(RecordOptions, CompletionsOfferFilesWhereAFileIsMeant) {
    const std::string bash = Answer({"--generate", "bash"}, 0);
    EXPECT_NE(bash.find("--start|--end|--other|-o|--output|--ca-file|--receiver|--log|"
                        "--metrics-file|=)"),
              std::string::npos)
        << bash;
    EXPECT_NE(
        bash.find("--wait|--until|--max|--min|--trim|--fade|--bitrate|--quality|--reconnect|"
                  "--user-agent|--header|--io-timeout|--block|--control|--metrics|--metrics-id)"),
        std::string::npos)
        << bash;
    EXPECT_NE(Answer({"--generate", "zsh"}, 0).find("'1:URL:_urls'"), std::string::npos);
}

TEST(RecordOptions, NoTwoEmptyLinesOfTheHelpStandTogether) {
    const std::string help = Answer({"--help"}, 0);
    EXPECT_NE(help.find("\n\nOutput:\n"), std::string::npos);
    EXPECT_EQ(help.find("\n\n\n"), std::string::npos);
}

TEST(RecordOptions, TheOptionsOfTheHelpFitIntoAUsualTerminal) {
    std::istringstream help(Answer({"--help"}, 0));
    for (std::string line; std::getline(help, line);) {
        if (line.rfind("  ", 0) == 0) {
            EXPECT_LE(line.size(), 80u) << line;
        }
    }
}

}  // namespace receiver
