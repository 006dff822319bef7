// The C and C++ examples of the client library, in every way in which they were built.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "client/station_fixture.h"

namespace receiver {
namespace {

std::vector<std::string> Programs() {
    std::vector<std::string> programs;
    std::istringstream list(EXAMPLE_PROGRAMS);
    for (std::string program; std::getline(list, program, '|');) programs.push_back(program);
    return programs;
}

std::string NameOf(const testing::TestParamInfo<std::string>& info) {
    const std::filesystem::path path(info.param);
    return path.parent_path().filename().string() + "_" + path.stem().string();
}

std::string BytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class ExampleProgramTest : public StationTest, public testing::WithParamInterface<std::string> {
protected:
    // The programme's first seconds as raw PCM, as they were broadcast.
    std::string Expected(int milliseconds) const {
        const TestPcm pcm = Slice(broadcast_.audio, broadcast_.startJingleFrame,
                                  static_cast<size_t>(44100) * milliseconds / 1000);
        const auto* bytes = reinterpret_cast<const char*>(pcm.samples.data());
        return {bytes, pcm.samples.size() * sizeof(pcm.samples[0])};
    }
};

}  // namespace

TEST_P(ExampleProgramTest, RecordsAProgramme) {
    Serve();
    const Outcome outcome = Run(GetParam(), ExampleArguments());
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_NE(outcome.output.find("FINISHED"), std::string::npos) << outcome.output;
    const std::string recorded = BytesOf(Output());
    EXPECT_EQ(recorded.size(), 5u * 44100 * 4);
    const std::string beforeFade = Expected(4000);
    EXPECT_TRUE(recorded.starts_with(beforeFade));
}

TEST_P(ExampleProgramTest, TellsWhyThereIsNone) {
    StationRoute route;
    route.status = 404;
    Serve(route);
    const Outcome outcome = Run(GetParam(), ExampleArguments());
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.errors.find("Network source Open failed"), std::string::npos)
        << outcome.errors;
    EXPECT_TRUE(outcome.errors.starts_with("the server answers 404 Not Found")) << outcome.errors;
}

TEST_P(ExampleProgramTest, NeedsItsArguments) {
    EXPECT_EQ(Run(GetParam(), {}).exitCode, 2);
}

INSTANTIATE_TEST_SUITE_P(Programs, ExampleProgramTest, testing::ValuesIn(Programs()), NameOf);

}  // namespace receiver
