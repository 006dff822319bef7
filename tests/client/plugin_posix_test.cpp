// A shared object with the static library in it, loaded by a program that knows of neither.
#include <filesystem>

#include "client/station_fixture.h"

namespace receiver {

TEST_F(StationTest, APluginRecordsInAProgramThatOnlyLoadsIt) {
    Serve();
    std::vector<std::string> arguments = ExampleArguments();
    arguments.insert(arguments.begin(), PACKAGE_PATH "/plugin.so");
    const Outcome outcome = Run(PACKAGE_PATH "/plugin_host", arguments);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(std::filesystem::file_size(Output()), 2u * 44100 * 4);
}

}  // namespace receiver
