#include "command_line/tool_command_line.h"

#include <gtest/gtest.h>

#include <sstream>

namespace receiver {
namespace {

ToolDescription SomeTool() {
    ToolDescription tool = {};
    tool.name = "some-tool";
    tool.purpose = "do something";
    tool.usage = "[OPTIONS] FILE...";
    tool.description = "Does something.";
    tool.notes = {"A note."};
    tool.details = {"A detail."};
    tool.examples = {{"with a file", "some-tool a.wav"}};
    tool.exitCodes = {{0, "all is well"}, {2, "wrong command line"}};
    tool.environment = {{"SOME_VARIABLE", "It changes something."}};
    return tool;
}

class ToolCommandLineTest : public testing::Test {
protected:
    std::optional<CommandLineAnswer> Parse(std::vector<const char*> arguments) {
        arguments.insert(arguments.begin(), "some-tool");
        return ParseToolCommandLine(
            SomeTool(),
            [this](CLI::App& app) {
                app.add_option("FILE", files_, "A file, of any kind")->type_name("")->required();
                app.add_option("--input,-i", input_, "Another [file]")
                    ->type_name("[ID=]FILE")
                    ->group("First");
                app.add_option("--count", count_,
                               "How often, which takes so many words to say that they do not fit "
                               "into one line of the help")
                    ->type_name("NUMBER")
                    ->group("Second");
                app.add_flag("--force", force_, "Do it anyway")->group("Second");
            },
            static_cast<int>(arguments.size()), arguments.data());
    }
    std::string Text(std::vector<const char*> arguments) {
        const std::optional<CommandLineAnswer> answer = Parse(std::move(arguments));
        EXPECT_TRUE(answer && answer->exitCode == 0);
        return answer ? answer->text : "";
    }
    std::string Mistake(std::vector<const char*> arguments) {
        const std::optional<CommandLineAnswer> answer = Parse(std::move(arguments));
        EXPECT_TRUE(answer && answer->exitCode == kUsageExitCode);
        return answer ? answer->text : "";
    }

    std::vector<std::string> files_;
    std::string input_;
    std::string count_;
    bool force_ = false;
};

void ExpectParts(const std::string& text, const std::vector<std::string>& parts) {
    for (const std::string& part : parts) {
        EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
    }
}

}  // namespace

TEST_F(ToolCommandLineTest, ACompleteCommandLineLetsTheToolWork) {
    EXPECT_FALSE(Parse({"a", "--count", "3", "b", "--force"}));
    EXPECT_EQ(files_, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(count_, "3");
    EXPECT_TRUE(force_);
}

TEST_F(ToolCommandLineTest, TheHelpHasUsageGroupsNotesExamplesAndExitCodes) {
    const std::string help = Text({"--help"});
    EXPECT_EQ(Text({"-h"}), help);
    ExpectParts(help, {"Usage: some-tool [OPTIONS] FILE...\n", "\n\nFirst:\n", "\n\nSecond:\n",
                       "\n\nOther:\n", "--version", "A note.\n",
                       "Examples:\n  # with a file\n  some-tool a.wav\n",
                       "Exit codes:\n  0  all is well\n  2  wrong command line"});
    EXPECT_EQ(help.find("A detail."), std::string::npos);
    EXPECT_EQ(help.find("\n\n\n"), std::string::npos);
    EXPECT_NE(help.back(), '\n');
}

TEST_F(ToolCommandLineTest, TheOptionsOfTheHelpFitIntoAUsualTerminal) {
    std::istringstream help(Text({"--help"}));
    for (std::string line; std::getline(help, line);) EXPECT_LE(line.size(), 80u) << line;
}

TEST_F(ToolCommandLineTest, TheVersionComesWithTheLicence) {
    const std::string version = Text({"--version"});
    EXPECT_EQ(version.rfind("some-tool " RECEIVER_VERSION "\nLicence: MIT", 0), 0u) << version;
    ExpectParts(version, {"FFmpeg", "FFTW"});
}

TEST_F(ToolCommandLineTest, AMistakeIsNamedAndPointsToTheHelp) {
    EXPECT_EQ(Mistake({}), "some-tool: FILE is required\nTry \"some-tool --help\" for more.");
    ExpectParts(Mistake({"a", "--colour"}), {"--colour"});
    ExpectParts(Mistake({"a", "--count"}), {"--count"});
    EXPECT_EQ(UsageError(SomeTool(), "why").text,
              "some-tool: why\nTry \"some-tool --help\" for more.");
}

TEST_F(ToolCommandLineTest, TheManualHasEverythingThatTheToolSaysOfItself) {
    const std::string manual = Text({"--generate", "man"});
    EXPECT_EQ(manual.rfind(".TH SOME\\-TOOL 1\n.SH NAME\nsome\\-tool \\- do something\n", 0), 0u);
    ExpectParts(manual, {"\\fBsome\\-tool\\fR [\\fIOPTIONS\\fR] \\fIFILE\\fR", "\nA note.\n",
                         "\nA detail.\n", ".TP\n\\fIFILE\\fR\nA file, of any kind.\n",
                         ".SS Second\n", "\\fB\\-i\\fR, \\fB\\-\\-input\\fR \\fI[ID=]FILE\\fR\n",
                         ".SH EXIT STATUS\n.TP\n\\fB0\\fR\nAll is well.\n", "SOME_VARIABLE",
                         "With a file.\n", "\nsome\\-tool a.wav\n"});
    EXPECT_EQ(manual.find("generate"), std::string::npos);
}

TEST_F(ToolCommandLineTest, CompletionsOfferFilesWhereAFileIsMeant) {
    const std::string bash = Text({"--generate", "bash"});
    ExpectParts(bash, {"        -i|--input|=)\n", "        --count)\n", "compgen -f -- \"$word\"",
                       "\"-i --input --count --force -h --help --version\"",
                       "complete -F _some_tool some-tool"});
    const std::string zsh = Text({"--generate", "zsh"});
    EXPECT_EQ(zsh.rfind("#compdef some-tool\n", 0), 0u);
    ExpectParts(zsh, {"--input[Another \\[file\\]]", "FILE:{compset -P \"*=\"; _files}'",
                      ":NUMBER:'", "'*:FILE:_files'"});
}

TEST_F(ToolCommandLineTest, OtherDocumentsDoNotExist) {
    ExpectParts(Mistake({"--generate", "html"}), {"man, bash or zsh"});
}

TEST_F(ToolCommandLineTest, OnlyTheBuildIsGivenDocuments) {
    ExpectParts(Mistake({"--generate", "man", "a"}), {"--generate"});
}

}  // namespace receiver
