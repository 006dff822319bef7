#include "command_line/listening_options.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace receiver {
namespace {

class ListeningOptionsTest : public testing::Test {
protected:
    void Parse(std::vector<std::string> arguments, bool startIsRequired) {
        CLI::App app;
        DeclareRecordings(app, {starts_, ends_, others_}, startIsRequired);
        DeclareProgramme(app, maximum_, fade_);
        std::reverse(arguments.begin(), arguments.end());  // as CLI11 takes them
        app.parse(std::move(arguments));
    }

    std::vector<std::string> starts_, ends_, others_;
    std::string maximum_, fade_;
};

TEST_F(ListeningOptionsTest, EachRecordingTakesOneFileAndMayBeRepeated) {
    Parse({"--start", "a", "--start", "x=b", "--end", "c", "--other", "d", "--max", "5m", "--fade",
           "3s"},
          true);
    EXPECT_EQ(starts_, (std::vector<std::string>{"a", "x=b"}));
    EXPECT_EQ(ends_, std::vector<std::string>{"c"});
    EXPECT_EQ(others_, std::vector<std::string>{"d"});
    EXPECT_EQ(maximum_, "5m");
    EXPECT_EQ(fade_, "3s");
    EXPECT_THROW(Parse({"--start", "a", "b"}, true), CLI::ParseError);
}

TEST_F(ListeningOptionsTest, AStartIsRequiredOnlyWhereOneIs) {
    EXPECT_NO_THROW(Parse({"--end", "c"}, false));
    EXPECT_THROW(Parse({"--end", "c"}, true), CLI::ParseError);
}

TEST(DurationOf, ADurationOutOfItsBoundsIsNamed) {
    EXPECT_EQ(DurationOf("--max", "2s", 2000, 5000), 2000u);
    EXPECT_EQ(DurationOf("--max", "5s", 2000, 5000), 5000u);
    for (const char* text : {"1999ms", "5001ms", "soon"}) {
        try {
            DurationOf("--max", text, 2000, 5000);
            ADD_FAILURE() << text;
        } catch (const std::invalid_argument& mistake) {
            EXPECT_EQ(std::string(mistake.what()).rfind("--max: ", 0), 0u) << mistake.what();
            EXPECT_NE(std::string(mistake.what()).find(text), std::string::npos);
        }
    }
}

}  // namespace
}  // namespace receiver
