#include "command_line/help_text.h"

#include <sstream>
#include <utility>

namespace receiver {
namespace {

constexpr size_t kHelpColumns = 80;
constexpr size_t kDescriptionColumn = 30;

// The base puts each piece of a description into the right column. And one empty line
// between groups will do.
class WrappingFormatter final : public CLI::Formatter {
public:
    explicit WrappingFormatter(const ToolDescription& tool)
        : usage_(std::string("Usage: ") + tool.name + " " + tool.usage + "\n") {
        column_width(kDescriptionColumn);
        label("Positionals", "Arguments");
    }
    std::string make_usage(const CLI::App*, std::string) const override { return usage_; }
    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode mode) const override {
        std::string text = CLI::Formatter::make_help(app, std::move(name), mode);
        for (size_t at = text.find("\n\n\n"); at != text.npos; at = text.find("\n\n\n", at)) {
            text.erase(at, 1);
        }
        return text;
    }
    std::string make_option_desc(const CLI::Option* option) const override {
        std::istringstream words(CLI::Formatter::make_option_desc(option));
        std::string text;
        size_t used = 0;
        for (std::string word; words >> word;) {
            const bool fits = used + 1 + word.size() <= kHelpColumns - kDescriptionColumn;
            if (used > 0) text += fits ? ' ' : '\n';
            used = used > 0 && fits ? used + 1 + word.size() : word.size();
            text += word;
        }
        return text;
    }

private:
    const std::string usage_;
};

}  // namespace

std::shared_ptr<CLI::FormatterBase> MakeHelpFormatter(const ToolDescription& tool) {
    return std::make_shared<WrappingFormatter>(tool);
}

std::string HelpFooter(const ToolDescription& tool) {
    std::string text;
    for (const char* note : tool.notes) text += std::string(note) + "\n\n";
    if (!tool.examples.empty()) text += "Examples:\n";
    for (const ToolExample& example : tool.examples) {
        text += std::string("  # ") + example.purpose + "\n  " + example.command + "\n";
    }
    text += "\nExit codes:\n";
    for (const ToolExitCode& exit : tool.exitCodes) {
        text += "  " + std::to_string(exit.code) + "  " + exit.meaning + "\n";
    }
    return text;
}

}  // namespace receiver
