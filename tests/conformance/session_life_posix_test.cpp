// Termination at every stage: elsewhere it gives a program no chance to end by itself.
#include <gmock/gmock.h>

#include "conformance/session_life_fixture.h"

namespace receiver {

TEST_P(EveryStageTest, ATerminationStopsTheSessionAndLogsItsEnd) {
    Reach(GetParam());
    receiver_.Process().Terminate();
    receiver_.ExpectCleanEnd();
    EXPECT_THAT(receiver_.LogLines().back(), testing::HasSubstr(" RECEIVER HOST_STOPPED "));
    const std::string log = receiver_.LogText();
    EXPECT_THAT(log, testing::HasSubstr(" RECEIVER FINISHED "));
    EXPECT_THAT(log, testing::HasSubstr(" reason=cancelled "));
}

}  // namespace receiver
