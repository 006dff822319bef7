// The manuals and the completions as cmake --install lays them down, used by the programs
// that they are for.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "platform/executable_path.h"
#include "testing/temp_folder.h"
#include "tool_run_posix.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

std::set<std::string> OptionsIn(const std::string& text) {
    static const std::regex option("(^|[\\s,\\[])(--?[a-z][a-z-]*)");
    std::set<std::string> options;
    for (std::sregex_iterator at(text.begin(), text.end(), option), end; at != end; ++at) {
        options.insert((*at)[2]);
    }
    return options;
}

constexpr const char* kPrograms[] = {"ReceiverHost", "receiver-hash", "receiver-record",
                                     "receiver-scan", "receiver-plan"};
// Those with options; ReceiverHost has two arguments and nothing else.
constexpr const char* kTools[] = {"receiver-hash", "receiver-record", "receiver-scan",
                                  "receiver-plan"};

// As the lists of options in --help begin their lines. Of a command of the tool, if there is one.
std::set<std::string> OptionsOfHelp(const std::string& tool, const std::string& command = "") {
    std::vector<std::string> arguments = {"--help"};
    if (!command.empty()) arguments.insert(arguments.begin(), command);
    std::istringstream help(RunTool((ExecutableDirectory() / tool).string(), arguments).output);
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
    // What bash offers behind the program and these words, of which the last is being typed.
    static std::vector<std::string> BashOffers(const std::string& program,
                                               std::vector<std::string> words) {
        words.insert(words.begin(), {"-c",
                                     "source \"$1\"; shift; COMP_WORDS=(\"$@\"); "
                                     "COMP_CWORD=$(($# - 1)); _${1//-/_}; "
                                     "printf '%s\\n' \"${COMPREPLY[@]}\"",
                                     "bash", Completion(program), program});
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
    static std::string Completion(const std::string& program) {
        return Installed("share/bash-completion/completions/" + program);
    }
    static std::string Manual(const std::string& program) {
        return Installed("share/man/man1/" + program + ".1");
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

TEST_F(InstalledDocumentsTest, EveryManualRendersWithoutAWarning) {
    for (const std::string program : kPrograms) {
        SCOPED_TRACE(program);
        const Outcome outcome = RunTool("groff", {"-ww", "-man", "-Tutf8", Manual(program)});
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_EQ(outcome.errors, "");
        std::string title = program + "(1)";
        std::transform(title.begin(), title.end(), title.begin(),
                       [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        EXPECT_NE(outcome.output.find(title), std::string::npos);
    }
}

TEST_F(InstalledDocumentsTest, TheManualNamesEveryOptionOfTheHelp) {
    for (const std::string tool : kTools) {
        const Outcome outcome = RunTool("groff", {"-man", "-Tascii", "-P-cbou", Manual(tool)});
        const std::set<std::string> named = OptionsIn(outcome.output);
        for (const std::string& option : OptionsOfHelp(tool)) {
            EXPECT_EQ(named.count(option), 1u) << tool << " " << option;
        }
    }
    EXPECT_GE(OptionsOfHelp("receiver-record").size(), 19u);
    const Outcome scan = RunTool("groff", {"-man", "-Tascii", "-P-cbou", Manual("receiver-scan")});
    const std::set<std::string> named = OptionsIn(scan.output);
    for (const std::string& option : OptionsOfHelp("receiver-scan", "listen")) {
        EXPECT_EQ(named.count(option), 1u) << option;
    }
    EXPECT_EQ(OptionsOfHelp("receiver-hash"), (std::set<std::string>{"-h", "--help", "--version"}));
}

TEST_F(InstalledDocumentsTest, BashOffersEveryOptionOfTheHelp) {
    for (const std::string tool : kTools) {
        const std::vector<std::string> offers = BashOffers(tool, {"-"});
        EXPECT_EQ(std::set<std::string>(offers.begin(), offers.end()), OptionsOfHelp(tool));
    }
    EXPECT_EQ(BashOffers("receiver-record", {"http://radio/", "--verb"}),
              std::vector<std::string>{"--verbose"});
}

TEST_F(InstalledDocumentsTest, BashOffersTheCommandsAndThenTheOptionsOfEach) {
    const std::vector<std::string> commands = BashOffers("receiver-scan", {"l"});
    EXPECT_EQ(commands, std::vector<std::string>{"listen"});
    const std::vector<std::string> offers = BashOffers("receiver-scan", {"listen", "-"});
    EXPECT_EQ(std::set<std::string>(offers.begin(), offers.end()),
              OptionsOfHelp("receiver-scan", "listen"));
    EXPECT_GE(offers.size(), 16u);
    EXPECT_EQ(BashOffers("receiver-scan", {"listen", folder_->File("jingle")}), Jingles());
    EXPECT_EQ(BashOffers("receiver-scan", {"listen", "--start", folder_->File("jingle")}),
              Jingles());
}

TEST_F(InstalledDocumentsTest, BashOffersFilesWhereAFileIsMeant) {
    const std::string begun = folder_->File("jingle");
    const std::string record = "receiver-record";
    EXPECT_EQ(BashOffers(record, {"--start", begun}), Jingles());
    // As bash cuts news=...
    EXPECT_EQ(BashOffers(record, {"--start", "news", "=", begun}), Jingles());
    EXPECT_EQ(BashOffers(record, {"-o", begun}), Jingles());
    EXPECT_TRUE(BashOffers(record, {"--max", ""}).empty());
    EXPECT_EQ(BashOffers("receiver-hash", {begun}), Jingles());
    EXPECT_EQ(BashOffers("receiver-hash", {"a.wav", begun}), Jingles());
}

TEST_F(InstalledDocumentsTest, BashOffersTheReceiverFilesForItsLogAlone) {
    const std::string begun = folder_->File("jingle");
    // As bash cuts pcm-pipe://a.
    EXPECT_EQ(BashOffers("ReceiverHost", {"pcm-pipe", ":", "//a", begun}), Jingles());
    EXPECT_TRUE(BashOffers("ReceiverHost", {begun}).empty());
    EXPECT_TRUE(BashOffers("ReceiverHost", {"pcm-pipe", ":"}).empty());
    EXPECT_TRUE(BashOffers("ReceiverHost", {"pcm-pipe", ":", folder_->Path().string()}).empty());
}

TEST_F(InstalledDocumentsTest, BashCompletesEachProgramByItsOwn) {
    for (const std::string program : kPrograms) {
        const Outcome outcome = RunTool(
            "bash", {"-c", "source \"$0\" && complete -p \"$1\"", Completion(program), program});
        std::string function = "_" + program;
        std::replace(function.begin(), function.end(), '-', '_');
        EXPECT_EQ(outcome.output, "complete -F " + function + " " + program + "\n");
    }
}

TEST_F(InstalledDocumentsTest, ZshCanReadThem) {
    for (const std::string program : kPrograms) {
        const Outcome outcome =
            RunTool("zsh", {"-n", Installed("share/zsh/site-functions/_" + program)});
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_EQ(outcome.errors, "");
    }
}

TEST_F(InstalledDocumentsTest, ZshOffersEveryOptionOfTheHelp) {
    for (const std::string tool : kTools) {
        const std::set<std::string> shown = OptionsIn(ZshShows(tool + " -"));
        for (const std::string& option : OptionsOfHelp(tool)) {
            EXPECT_EQ(shown.count(option), 1u) << tool << " " << option;
        }
    }
}

TEST_F(InstalledDocumentsTest, ZshOffersTheCommandsAndThenTheOptionsOfEach) {
    EXPECT_NE(ZshShows("receiver-scan ").find("listen"), std::string::npos);
    const std::set<std::string> shown = OptionsIn(ZshShows("receiver-scan listen -"));
    for (const std::string& option : OptionsOfHelp("receiver-scan", "listen")) {
        EXPECT_EQ(shown.count(option), 1u) << option;
    }
}

TEST_F(InstalledDocumentsTest, ZshCompletesFilesWhereAFileIsMeant) {
    for (const std::string begun :
         {"receiver-record --start ", "receiver-record --start news=", "receiver-hash ",
          "receiver-hash a.wav ", "ReceiverHost pcm-pipe://a ", "receiver-scan listen ",
          "receiver-scan listen --start news="}) {
        const std::string shown = ZshShows(begun + "jingle\\ t");
        EXPECT_NE(shown.find("jingle\\ two.wav"), std::string::npos) << begun << "\n" << shown;
    }
    const std::string shown = ZshShows("ReceiverHost jingle\\ t");
    EXPECT_EQ(shown.find("jingle\\ two.wav"), std::string::npos) << shown;
}

}  // namespace receiver
