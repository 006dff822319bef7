#include "record/help_documents.h"

#include <gtest/gtest.h>

#include "record/command_line_app.h"

namespace receiver {
namespace {

std::string Document(const std::string& kind) {
    CommandLineValues values;
    CLI::App app;
    DeclareCommandLine(app, values);
    return HelpDocument(app, kind).value_or("");
}

}  // namespace

TEST(HelpDocuments, TheManualHasEveryOptionExampleAndExitCode) {
    const std::string manual = Document("man");
    EXPECT_EQ(manual.rfind(".TH RECEIVER\\-RECORD 1", 0), 0u);
    for (const char* part : {"\\-\\-start", "\\-\\-io\\-timeout", "\\-o\\fR, \\fB\\-\\-output",
                             ".SH EXIT STATUS", "NO_COLOR", "show.flac"}) {
        EXPECT_NE(manual.find(part), std::string::npos) << part;
    }
    EXPECT_EQ(manual.find("generate"), std::string::npos);
}

TEST(HelpDocuments, CompletionsOfferFilesWhereAFileIsMeant) {
    const std::string bash = Document("bash");
    EXPECT_NE(bash.find("--start|--end|--other|-o|--output|--receiver|--log|=)"), std::string::npos)
        << bash;
    EXPECT_NE(bash.find("--wait|--max|--fade|--io-timeout|--block|--control)"), std::string::npos)
        << bash;
    const std::string zsh = Document("zsh");
    EXPECT_EQ(zsh.rfind("#compdef receiver-record", 0), 0u);
    EXPECT_NE(zsh.find("--max["), std::string::npos);
    EXPECT_NE(zsh.find(":FILE:_files'"), std::string::npos);
    EXPECT_NE(zsh.find("FILE:{compset -P \"*=\"; _files}'"), std::string::npos);
}

TEST(HelpDocuments, OtherDocumentsDoNotExist) {
    EXPECT_EQ(Document("html"), "");
}

}  // namespace receiver
