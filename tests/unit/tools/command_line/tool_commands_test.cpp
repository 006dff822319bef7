#include "command_line/tool_commands.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

namespace receiver {
namespace {

class ToolCommandsTest : public testing::Test {
protected:
    ToolCommandsTest() {
        tool_.name = "some-tool";
        tool_.purpose = "do things";
        tool_.usage = "COMMAND ...";
        tool_.description = "Does things.";
        tool_.exitCodes = {{0, "all is well"}};
        ToolCommand sing;
        sing.description.name = "sing";
        sing.description.purpose = "sing a song";
        sing.description.usage = "[OPTIONS] FILE";
        sing.description.description = "Sings.";
        sing.description.exitCodes = {{3, "no voice"}};
        sing.declare = [this](CLI::App& app) {
            app.add_option("FILE", file_, "A song")->type_name("")->required();
            app.add_option("--key", key_, "How high")->type_name("KEY")->group("Tone");
        };
        sing.run = [this]() -> int {
            if (key_ == "H") throw std::invalid_argument("--key: no such key");
            return 7;
        };
        ToolCommand dance = sing;
        dance.description.name = "dance";
        dance.description.purpose = "dance to it";
        dance.declare = [](CLI::App&) {};
        dance.run = [] { return 8; };
        commands_ = {sing, dance};
    }

    std::optional<CommandLineAnswer> Parse(std::vector<const char*> arguments) {
        arguments.insert(arguments.begin(), "some-tool");
        return ParseToolCommands(tool_, commands_, static_cast<int>(arguments.size()),
                                 arguments.data(), &chosen_);
    }
    std::string Text(std::vector<const char*> arguments, int exitCode = 0) {
        const auto answer = Parse(std::move(arguments));
        EXPECT_TRUE(answer && answer->exitCode == exitCode);
        return answer ? answer->text : "";
    }

    ToolDescription tool_{};
    std::vector<ToolCommand> commands_;
    const ToolCommand* chosen_ = nullptr;
    std::string file_, key_;
};

void ExpectParts(const std::string& text, const std::vector<std::string>& parts) {
    for (const std::string& part : parts) {
        EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
    }
}

}  // namespace

TEST_F(ToolCommandsTest, TheFirstWordChoosesTheCommandAndTheRestIsItsOwn) {
    EXPECT_FALSE(Parse({"sing", "a.wav", "--key", "C"}));
    EXPECT_STREQ(chosen_->description.name, "sing");
    EXPECT_EQ(file_, "a.wav");
    EXPECT_EQ(key_, "C");
    EXPECT_FALSE(Parse({"dance"}));
    EXPECT_STREQ(chosen_->description.name, "dance");
}

TEST_F(ToolCommandsTest, WhatTheCommandReturnsIsTheExitCode) {
    const std::vector<const char*> arguments = {"some-tool", "sing", "a.wav"};
    EXPECT_EQ(RunTool(tool_, commands_, 3, arguments.data()), 7);
}

TEST_F(ToolCommandsTest, AMistakeThatTheCommandFindsIsOneOfUsage) {
    const std::vector<const char*> arguments = {"some-tool", "sing", "a.wav", "--key", "H"};
    testing::internal::CaptureStderr();
    EXPECT_EQ(RunTool(tool_, commands_, 5, arguments.data()), kUsageExitCode);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "some-tool sing: --key: no such key\nTry \"some-tool sing --help\" for more.\n");
}

TEST_F(ToolCommandsTest, TheHelpListsTheCommandsAndEachHasItsOwn) {
    ExpectParts(Text({"--help"}), {"Usage: some-tool COMMAND ...\n",
                                   "Commands:\n  sing        sing a song\n  dance       dance to"});
    ExpectParts(Text({"sing", "--help"}), {"Usage: some-tool sing [OPTIONS] FILE\n", "\nTone:\n",
                                           "Exit codes:\n  3  no voice"});
    EXPECT_EQ(Text({"--version"}).rfind("some-tool ", 0), 0u);
}

TEST_F(ToolCommandsTest, MistakesPointToTheHelpThatIsMeant) {
    ExpectParts(Text({}, 2), {"some-tool: a command is missing\nTry \"some-tool --help\""});
    ExpectParts(Text({"cook"}, 2), {"no command \"cook\""});
    ExpectParts(Text({"sing"}, 2),
                {"some-tool sing: FILE is required\nTry \"some-tool sing --help"});
    ExpectParts(Text({"--loud"}, 2), {"--loud"});
}

TEST_F(ToolCommandsTest, TheManualHasASectionForEachCommand) {
    ExpectParts(
        Text({"--generate", "man"}),
        {".TH SOME\\-TOOL 1\n", "\\fBsome\\-tool sing\\fR [\\fIOPTIONS\\fR] \\fIFILE\\fR\n",
         ".br\n\\fBsome\\-tool dance\\fR", ".SH COMMANDS\n.TP\n\\fBsing\\fR\nSing a song.\n",
         ".SH SING\nSings.\n", ".SS Tone\n.TP\n\\fB\\-\\-key\\fR \\fIKEY\\fR\nHow high.\n",
         ".SS Exit status\n.TP\n\\fB3\\fR\nNo voice.\n", ".SH DANCE\n"});
}

TEST_F(ToolCommandsTest, CompletionsOfferTheCommandsAndThenTheirOptions) {
    ExpectParts(Text({"--generate", "bash"}),
                {"\"-h --help --version sing dance\"", "_some_tool_sing() {\n",
                 "        sing) _some_tool_sing ;;\n", "\"--key -h --help --version\"",
                 "complete -F _some_tool some-tool"});
    ExpectParts(Text({"--generate", "zsh"}),
                {"#compdef some-tool\n", "sing\\:\"sing a song\" dance\\:\"dance to it\"",
                 "sing)\n_arguments -s \\\n    '*--key[How high]:KEY:'"});
}

}  // namespace receiver
