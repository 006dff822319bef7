// The units of systemd as cmake --install lays them down, judged by systemd itself. That they run
// under it, only a machine with it can show.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "testing/temp_folder.h"
#include "tool_run_posix.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

// A root folder with the units and what they start and need.
class ServiceUnitsTest : public testing::Test {
protected:
    void SetUp() override {
        const Outcome outcome =
            RunTool("cmake", {"-E", "env", "DESTDIR=" + root_, "cmake", "--install", BUILD_PATH,
                              "--component", "service"});
        ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
        fs::create_directories(root_ + INSTALL_PREFIX "/bin");
        fs::create_symlink("/bin/true", root_ + INSTALL_PREFIX "/bin/receiver-record");
        fs::create_directories(root_ + "/bin");
        fs::copy_file("/bin/true", root_ + "/bin/true");
        fs::create_directories(root_ + "/usr/lib/systemd");
        fs::copy("/lib/systemd/system", root_ + "/usr/lib/systemd/system",
                 fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    }

    std::string Unit(const std::string& name) const {
        return root_ + INSTALL_PREFIX "/lib/systemd/system/" + name;
    }
    Outcome Verify(const std::string& unit) const {
        return RunTool("systemd-analyze", {"verify", "--man=no", "--root=" + root_, unit});
    }
    // In tenths of what systemd-analyze says.
    Outcome JudgeExposure(int most) const {
        return RunTool("systemd-analyze",
                       {"security", "--no-pager", "--offline=true", "--root=" + root_,
                        "--threshold=" + std::to_string(most), "receiver-record@news.service"});
    }
    // Puts another line in the place of one.
    void Change(const std::string& line, const std::string& other) const {
        std::ifstream in(Unit("receiver-record@.service"));
        std::string text{std::istreambuf_iterator<char>(in), {}};
        const size_t at = text.find("\n" + line + "\n");
        ASSERT_NE(at, std::string::npos) << line;
        text.replace(at + 1, line.size(), other);
        std::ofstream(Unit("receiver-record@.service")) << text;
    }

    const TempFolder folder_;
    const std::string root_ = folder_.File("root");
};

}  // namespace

TEST_F(ServiceUnitsTest, SystemdHasNothingToSayAgainstThem) {
    for (const std::string unit : {"receiver-record@news.service", "receiver-record@news.timer"}) {
        const Outcome outcome = Verify(unit);
        EXPECT_EQ(outcome.exitCode, 0) << unit;
        EXPECT_EQ(outcome.errors + outcome.output, "") << unit;
    }
}

TEST_F(ServiceUnitsTest, AKeyThatSystemdDoesNotKnowWouldBeSeen) {
    Change("KillMode=mixed", "KilledMode=mixed");
    EXPECT_THAT(Verify("receiver-record@news.service").errors, HasSubstr("KilledMode"));
}

TEST_F(ServiceUnitsTest, TheServiceIsExposedByLessThanTwoOfTen) {
    const Outcome outcome = JudgeExposure(19);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.output << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("Overall exposure level"));
    EXPECT_NE(JudgeExposure(1).exitCode, 0);
}

TEST_F(ServiceUnitsTest, TheSettingsAreWhereTheServiceReadsThem) {
    std::ifstream unit(Unit("receiver-record@.service"));
    const std::string text{std::istreambuf_iterator<char>(unit), {}};
    const std::string folder = std::string(INSTALL_SYSCONFDIR) + "/receiverhost/record/";
    EXPECT_THAT(text, HasSubstr("\nEnvironmentFile=" + folder + "%i.conf\n"));
    std::ifstream settings(root_ + INSTALL_PREFIX "/etc/receiverhost/record/example.conf");
    const std::string example{std::istreambuf_iterator<char>(settings), {}};
    for (const char* const name : {"\nURL=", "\nOUTPUT=", "\nOPTIONS="}) {
        EXPECT_THAT(example, HasSubstr(name));
    }
    EXPECT_THAT(text, HasSubstr(" $OPTIONS --output ${OUTPUT} -- ${URL}\n"));
    EXPECT_THAT(example, HasSubstr("--start " + folder));
}

}  // namespace receiver
