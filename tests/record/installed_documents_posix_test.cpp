// The manual and the completions as cmake --install lays them down, used by the programs
// that they are for.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "platform/child_process.h"
#include "platform/clock.h"
#include "record_run.h"
#include "testing/temp_folder.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

struct Outcome {
    int exitCode;
    std::string output;
    std::string errors;
};

Outcome RunTool(const std::string& program, const std::vector<std::string>& arguments) {
    ChildProcess process(program, arguments, ChildProcess::ErrorStream::kCapture);
    const uint64_t deadline = TickMs() + kRunPatienceMs;
    Outcome outcome;
    outcome.output = process.ReadAllOutput(deadline).value_or("");
    outcome.errors = process.ReadAllErrors(deadline).value_or("");
    outcome.exitCode = process.WaitForExit(deadline).value_or(-1);
    return outcome;
}

std::set<std::string> OptionsIn(const std::string& text) {
    static const std::regex option("(^|[\\s,\\[])(--?[a-z][a-z-]*)");
    std::set<std::string> options;
    for (std::sregex_iterator at(text.begin(), text.end(), option), end; at != end; ++at) {
        options.insert((*at)[2]);
    }
    return options;
}

// As the lists of options in --help begin their lines.
std::set<std::string> OptionsOfHelp() {
    std::istringstream help(RunTool(RecordProgram(), {"--help"}).output);
    std::set<std::string> options;
    for (std::string line; std::getline(help, line);) {
        if (line.rfind("  -", 0) != 0) continue;
        options.merge(OptionsIn(line.substr(0, line.find(' ', 2))));
    }
    return options;
}

class InstalledDocumentsTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        folder_ = std::make_unique<TempFolder>();
        const Outcome outcome =
            RunTool("cmake", {"--install", BUILD_PATH, "--component", "documents", "--prefix",
                              folder_->File("prefix")});
        ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
        std::ofstream(folder_->File("jingle one.wav"));
        std::ofstream(folder_->File("jingle two.wav"));
    }
    static void TearDownTestSuite() { folder_.reset(); }

    static std::string Installed(const std::string& path) {
        return folder_->File("prefix/" + path);
    }
    // What bash offers behind these words, of which the last is being typed.
    static std::vector<std::string> BashOffers(std::vector<std::string> words) {
        words.insert(words.begin(), {"-c",
                                     "source \"$1\"; shift; COMP_WORDS=(\"$@\"); "
                                     "COMP_CWORD=$(($# - 1)); _receiver_record; "
                                     "printf '%s\\n' \"${COMPREPLY[@]}\"",
                                     "bash", Completion(), "receiver-record"});
        const Outcome outcome = RunTool("bash", words);
        EXPECT_EQ(outcome.errors, "");
        std::vector<std::string> offers;
        std::istringstream lines(outcome.output);
        for (std::string line; std::getline(lines, line);) {
            if (!line.empty()) offers.push_back(line);
        }
        std::sort(offers.begin(), offers.end());
        return offers;
    }
    static std::string Completion() {
        return Installed("share/bash-completion/completions/receiver-record");
    }
    static std::vector<std::string> Jingles() {
        return {folder_->File("jingle one.wav"), folder_->File("jingle two.wav")};
    }
    // The screen of a zsh in which this has been typed.
    static std::string ZshShows(const std::string& typed) {
        const Outcome outcome = RunTool(
            "zsh", {"-f", std::string(RECORD_TESTS_PATH) + "/zsh_completion.zsh",
                    Installed("share/zsh/site-functions"), folder_->Path().string(), typed});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.errors << outcome.output;
        static const std::regex escape("\x1b\\[[0-9;?]*[A-Za-z]");
        return std::regex_replace(outcome.output, escape, " ");
    }

    static std::unique_ptr<TempFolder> folder_;
};

std::unique_ptr<TempFolder> InstalledDocumentsTest::folder_;

}  // namespace

TEST_F(InstalledDocumentsTest, TheManualRendersWithoutAWarning) {
    const Outcome outcome =
        RunTool("groff", {"-ww", "-man", "-Tutf8", Installed("share/man/man1/receiver-record.1")});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_NE(outcome.output.find("RECEIVER-RECORD(1)"), std::string::npos);
}

TEST_F(InstalledDocumentsTest, TheManualNamesEveryOptionOfTheHelp) {
    const Outcome outcome = RunTool(
        "groff", {"-man", "-Tascii", "-P-cbou", Installed("share/man/man1/receiver-record.1")});
    const std::set<std::string> named = OptionsIn(outcome.output);
    const std::set<std::string> expected = OptionsOfHelp();
    EXPECT_GE(expected.size(), 18u);
    for (const std::string& option : expected) EXPECT_EQ(named.count(option), 1u) << option;
}

TEST_F(InstalledDocumentsTest, BashOffersEveryOptionOfTheHelp) {
    const std::vector<std::string> offers = BashOffers({"-"});
    EXPECT_EQ(std::set<std::string>(offers.begin(), offers.end()), OptionsOfHelp());
    EXPECT_EQ(BashOffers({"http://radio/", "--ve"}), std::vector<std::string>{"--verbose"});
}

TEST_F(InstalledDocumentsTest, BashOffersFilesWhereAFileIsMeant) {
    const std::string begun = folder_->File("jingle");
    EXPECT_EQ(BashOffers({"--start", begun}), Jingles());
    EXPECT_EQ(BashOffers({"--start", "news", "=", begun}), Jingles());  // as bash cuts news=...
    EXPECT_EQ(BashOffers({"-o", begun}), Jingles());
    EXPECT_TRUE(BashOffers({"--max", ""}).empty());
}

TEST_F(InstalledDocumentsTest, BashCompletesTheProgramByIt) {
    const Outcome outcome =
        RunTool("bash", {"-c", "source \"$0\" && complete -p receiver-record", Completion()});
    EXPECT_EQ(outcome.output, "complete -F _receiver_record receiver-record\n");
}

TEST_F(InstalledDocumentsTest, ZshCanReadIt) {
    const Outcome outcome =
        RunTool("zsh", {"-n", Installed("share/zsh/site-functions/_receiver-record")});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.errors, "");
}

TEST_F(InstalledDocumentsTest, ZshOffersEveryOptionOfTheHelp) {
    const std::set<std::string> shown = OptionsIn(ZshShows("receiver-record -"));
    for (const std::string& option : OptionsOfHelp()) {
        EXPECT_EQ(shown.count(option), 1u) << option;
    }
}

TEST_F(InstalledDocumentsTest, ZshCompletesFilesWhereAFileIsMeant) {
    const std::string shown = ZshShows("receiver-record --start jingle\\ t");
    EXPECT_NE(shown.find("--start jingle\\ two.wav"), std::string::npos) << shown;
    const std::string named = ZshShows("receiver-record --start news=jingle\\ t");
    EXPECT_NE(named.find("news=jingle\\ two.wav"), std::string::npos) << named;
}

}  // namespace receiver
