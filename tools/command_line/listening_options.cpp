#include "command_line/listening_options.h"

#include <optional>
#include <stdexcept>

#include "command_line/duration.h"

namespace receiver {

void DeclareRecordings(CLI::App& app, const RecordingValues& values, bool startIsRequired) {
    const auto add = [&](const char* name, std::vector<std::string>& list, const char* text) {
        return app.add_option(name, list, text)
            ->type_name("[ID=]FILE")
            ->allow_extra_args(false)  // what follows the file is not another one
            ->group(kListenForGroup);
    };
    add("--start", values.starts,
        "A recording whose beginning starts the programme; may be repeated")
        ->required(startIsRequired);
    add("--end", values.ends, "A recording whose end ends the programme; may be repeated");
    add("--other", values.others, "A recording that is only reported; may be repeated");
}

void DeclareProgramme(CLI::App& app, std::string& maximum, std::string& fade) {
    const char* const group = "The programme";
    app.add_option("--max", maximum,
                   "Longest programme, 1s to 1h (default: 1h with --end or --fade; otherwise the "
                   "programme lasts until the source ends)")
        ->type_name("DURATION")
        ->group(group);
    app.add_option("--fade", fade,
                   "Fade out before the end, unless an --end recording ends the programme")
        ->type_name("DURATION")
        ->group(group);
}

uint64_t DurationOf(const std::string& option, const std::string& text, uint64_t least,
                    uint64_t most) {
    const std::optional<uint64_t> ms = ParseDuration(text);
    if (!ms) throw std::invalid_argument(option + ": invalid duration \"" + text + "\"");
    if (*ms < least || *ms > most) {
        throw std::invalid_argument(option + ": " + text + " is not between " +
                                    FormatDuration(least) + " and " + FormatDuration(most));
    }
    return *ms;
}

}  // namespace receiver
