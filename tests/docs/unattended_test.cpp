// docs/unattended.md and the units of systemd, against the recorder's command line and exit codes.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

#include "docs/document_text.h"
#include "receiver_record/exit_code.h"
#include "receiver_record/request/command_line.h"

namespace receiver {
namespace {

const std::filesystem::path kSource(SOURCE_PATH);

std::string Document() {
    return TextOf(kSource / "docs/unattended.md");
}

std::string Service() {
    return TextOf(kSource / "packaging/systemd/receiver-record@.service.in");
}

std::set<std::string> RecordersOptions() {
    CommandLineValues values;
    CLI::App app;
    DeclareCommandLine(app, values);
    std::set<std::string> names = {"help"};  // the settings speak of it
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) names.insert(name);
    }
    return names;
}

std::set<int> Codes(const std::string& text, const char* pattern) {
    std::set<int> codes;
    for (const std::string& line : AllOf(text, pattern)) {
        for (const std::string& code : AllOf(line, "([0-9]+)")) codes.insert(std::stoi(code));
    }
    return codes;
}

std::set<int> CodesOf(std::initializer_list<ExitCode> codes) {
    std::set<int> numbers;
    for (const ExitCode code : codes) numbers.insert(static_cast<int>(code));
    return numbers;
}

}  // namespace

TEST(Unattended, EveryOptionThatIsNamedExists) {
    const std::set<std::string> known = RecordersOptions();
    size_t named = 0;
    for (const std::string& text :
         {Document(), TextOf(kSource / "packaging/systemd/example.conf.in")}) {
        for (const std::string& option : AllOf(text, "[^-A-Za-z]--([a-z][a-z-]+)")) {
            const bool isAnothers = option == "failed" || option == "install";
            EXPECT_TRUE(isAnothers || known.count(option) == 1) << "--" << option;
            ++named;
        }
    }
    EXPECT_GE(named, 30u);
}

TEST(Unattended, EveryFileOfThePackageThatIsNamedIsPackedUp) {
    const std::vector<std::string> named =
        AllOf(Document(), "[ `](receiver-record@\\.[a-z]+|example\\.conf)");
    for (const std::string& name : named) {
        const std::filesystem::path path = kSource / "packaging/systemd" / name;
        EXPECT_TRUE(std::filesystem::exists(path) || std::filesystem::exists(path.string() + ".in"))
            << name;
    }
    EXPECT_EQ(std::set<std::string>(named.begin(), named.end()).size(), 3u);
}

TEST(Unattended, TheFoldersThatAreNamedAreTheServices) {
    const std::string document = Document();
    const std::string service = Service();
    EXPECT_NE(service.find("\nStateDirectory=receiver-record receiver-record/%i\n"),
              std::string::npos);
    EXPECT_NE(document.find("`/var/lib/receiver-record/news`"), std::string::npos);
    EXPECT_NE(service.find("\nLogsDirectory=receiver-record\nEnvironment=XDG_STATE_HOME=%L\n"),
              std::string::npos);
    EXPECT_NE(document.find("`/var/log/receiver-record`"), std::string::npos);
}

TEST(Unattended, EveryExitCodeIsExplained) {
    std::set<int> codes;
    for (const auto& [code, meaning] : RecordTool().exitCodes) codes.insert(code);
    EXPECT_EQ(Codes(Document(), "\n\\| ([0-9]) \\|"), codes);
}

TEST(Unattended, TheServiceIsBegunAnewOnlyWhereThatMayHelp) {
    const std::set<int> successes = CodesOf({ExitCode::kInterrupted, ExitCode::kGaps});
    EXPECT_EQ(Codes(Service(), "\nSuccessExitStatus=([^\n]*)"), successes);
    const std::set<int> lasting =
        CodesOf({ExitCode::kUsage, ExitCode::kStartNotFound, ExitCode::kOutputError});
    EXPECT_EQ(Codes(Service(), "\nRestartPreventExitStatus=([^\n]*)"), lasting);
}

TEST(Unattended, TheMemoryThatIsNamedIsTheService) {
    const std::vector<std::string> limits = AllOf(Service(), "\nMemoryMax=([0-9]+)M\n");
    ASSERT_EQ(limits.size(), 1u);
    EXPECT_NE(Document().find("**Memory.** " + limits[0] + " MB"), std::string::npos);
}

}  // namespace receiver
