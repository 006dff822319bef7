#include "receiver_record/display/status_display.h"

#include <gtest/gtest.h>

#include "unit/tools/receiver_record/string_output.h"

namespace receiver {
namespace {

using Clock = StatusDisplay::Clock;
using std::chrono::milliseconds;

RecordStatus Status(const std::string& state) {
    RecordStatus status;
    status.state = state;
    return status;
}

class StatusDisplayTest : public testing::Test {
protected:
    StatusDisplay::Settings Settings(bool colour = false) {
        return {[this] { return width_; }, [] { return std::string("12:00:00"); }, colour};
    }
    // What was put out since the last call.
    std::string Take() { return out_.Take(); }

    size_t width_ = 80;
    StringOutput out_;
    const Clock::time_point start_ = Clock::time_point(milliseconds(1000000));
};

}  // namespace

TEST_F(StatusDisplayTest, WithoutATerminalEveryLineHasATimeStampAndThereIsNoStatus) {
    width_ = 0;
    StatusDisplay display(out_, Settings(true));
    display.PrintLine("hello");
    display.ShowStatus(Status("SCANNING"), start_);
    EXPECT_EQ(Take(), "12:00:00 hello\n");
}

TEST_F(StatusDisplayTest, LinesScrollAboveTheStatus) {
    StatusDisplay display(out_, Settings());
    display.ShowStatus(Status("SCANNING"), start_);
    EXPECT_EQ(Take(), "SCANNING");
    display.PrintLine("hello", start_ + milliseconds(100));
    EXPECT_EQ(Take(), "\r\x1b[Jhello\nSCANNING");
}

TEST_F(StatusDisplayTest, ManyLinesAtOnceDoNotRedrawTheStatusMoreOften) {
    StatusDisplay display(out_, Settings());
    display.ShowStatus(Status("A"), start_);
    Take();
    display.PrintLine("one", start_ + milliseconds(1));
    display.PrintLine("two", start_ + milliseconds(2));
    EXPECT_EQ(Take(), "\r\x1b[Jone\ntwo\n");
    display.ShowStatus(Status("B"), start_ + milliseconds(100));
    EXPECT_EQ(Take(), "B");
}

TEST_F(StatusDisplayTest, TheStatusBelowALineKeepsItsColour) {
    StatusDisplay display(out_, Settings(true));
    display.ShowStatus(Status("A"), start_);
    Take();
    display.PrintLine("hello", start_ + milliseconds(100));
    EXPECT_EQ(Take(), "\r\x1b[Jhello\n\x1b[1;32mA\x1b[0m");
}

TEST_F(StatusDisplayTest, TheStatusBelowALineIsCutToTheTerminalAsItIsNow) {
    width_ = 80;
    StatusDisplay display(out_, Settings());
    display.ShowStatus(Status(std::string(70, 'x')), start_);
    Take();
    width_ = 40;
    display.PrintLine("hello", start_ + milliseconds(100));
    EXPECT_EQ(Take(), "\x1b[1A\r\x1b[Jhello\n" + std::string(39, 'x'));
}

TEST_F(StatusDisplayTest, NothingThatATerminalWouldObeyReachesIt) {
    StatusDisplay display(out_, Settings());
    display.PrintLine(
        "a\x1b]0;b\x07\nc\x7f\xc2\x9b"
        "d \xc3\xa4");
    EXPECT_EQ(Take(), "a?]0;b??c???d \xc3\xa4\n");
    display.ShowStatus(Status("S\x1b[31m\xc3\xa4"), start_);
    EXPECT_EQ(Take(), "S?[31m??");
}

TEST_F(StatusDisplayTest, ALongLineIsBrokenBetweenWords) {
    width_ = 12;
    StatusDisplay display(out_, Settings());
    display.PrintLine("Heard the jingle at last, http://radio.example/live");
    EXPECT_EQ(Take(), "Heard the\n  jingle at\n  last,\n  http://radio.example/live\n");
}

TEST_F(StatusDisplayTest, ALineThatJustFitsIsNotBroken) {
    width_ = 11;
    StatusDisplay display(out_, Settings());
    display.PrintLine("Hello world");
    EXPECT_EQ(Take(), "Hello world\n");
}

TEST_F(StatusDisplayTest, TheStatusIsRedrawnAtMostTenTimesASecond) {
    StatusDisplay display(out_, Settings());
    display.ShowStatus(Status("A"), start_);
    Take();
    display.ShowStatus(Status("B"), start_ + milliseconds(99));
    EXPECT_EQ(Take(), "");
    display.ShowStatus(Status("C"), start_ + milliseconds(100));
    EXPECT_EQ(Take(), "\r\x1b[JC");
}

TEST_F(StatusDisplayTest, ANarrowerTerminalHasWrappedTheLineAndAllItsRowsAreErased) {
    StatusDisplay display(out_, Settings());
    display.ShowStatus(Status(std::string(70, 'x')), start_);
    Take();
    width_ = 30;
    display.ShowStatus(Status("y"), start_ + milliseconds(200));
    EXPECT_EQ(Take(), "\x1b[2A\r\x1b[Jy");
}

TEST_F(StatusDisplayTest, TheLastColumnStaysFree) {
    width_ = 40;
    StatusDisplay display(out_, Settings());
    display.ShowStatus(Status(std::string(60, 'x')), start_);
    EXPECT_EQ(Take(), std::string(39, 'x'));
}

TEST_F(StatusDisplayTest, TheStatusIsGoneAtTheEnd) {
    {
        StatusDisplay display(out_, Settings());
        display.ShowStatus(Status("A"), start_);
        Take();
    }
    EXPECT_EQ(Take(), "\r\x1b[J");
}

TEST_F(StatusDisplayTest, WhatFindsNoRoomChangesNothingOnTheScreen) {
    StatusDisplay display(out_, Settings());
    display.ShowStatus(Status("AAAA"), start_);
    Take();
    out_.SetFull(true);
    display.PrintLine("lost", start_ + milliseconds(200));
    display.ShowStatus(Status("B"), start_ + milliseconds(400));
    out_.SetFull(false);
    display.PrintLine("hello", start_ + milliseconds(600));
    EXPECT_EQ(Take(), "\r\x1b[Jhello\nAAAA");
}

TEST_F(StatusDisplayTest, OnlyWithColourThereAreColours) {
    StatusDisplay display(out_, Settings(true));
    display.ShowStatus(Status("A"), start_);
    EXPECT_EQ(Take(), "\x1b[1;32mA\x1b[0m");
}

}  // namespace receiver
