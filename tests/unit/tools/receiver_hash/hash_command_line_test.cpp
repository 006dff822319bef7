#include "receiver_hash/hash_command_line.h"

#include <gtest/gtest.h>

namespace receiver {
namespace {

HashCommandLine Parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "receiver-hash");
    return ParseHashCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

}  // namespace

TEST(HashCommandLine, EveryArgumentIsAFile) {
    const HashCommandLine line = Parse({"a.wav", "b=c.mp3"});
    EXPECT_FALSE(line.answer);
    EXPECT_EQ(line.files, (std::vector<std::string>{"a.wav", "b=c.mp3"}));
}

TEST(HashCommandLine, WithoutAFileItIsAMistake) {
    ASSERT_TRUE(Parse({}).answer);
    EXPECT_EQ(Parse({}).answer->exitCode, 2);
}

TEST(HashCommandLine, TheHelpSaysWhatIsWrittenAndHowItExits) {
    const std::optional<CommandLineAnswer> answer = Parse({"--help"}).answer;
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->exitCode, 0);
    for (const char* part : {"FILE.hash", "Usage: receiver-hash", "Examples:", "Exit codes:"}) {
        EXPECT_NE(answer->text.find(part), std::string::npos) << part;
    }
}

}  // namespace receiver
