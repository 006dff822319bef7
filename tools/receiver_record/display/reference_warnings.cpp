#include "receiver_record/display/reference_warnings.h"

#include <exception>
#include <string>
#include <vector>

#include "platform/text.h"
#include "receiver_scan/check/quick_check.h"

namespace receiver {

void WarnOfReferences(const RecordOptions& options, RecordConsole& console) {
    std::vector<std::string> paths;
    for (const Reference& reference : options.references) {
        paths.push_back(Utf8ToAnsi(reference.path));
    }
    try {
        for (const std::string& warning : ReferenceWarnings(paths)) console.Warning(warning);
    } catch (const std::exception&) {
        // The receiver says what it cannot use; a warning must not keep it from being asked.
    }
}

}  // namespace receiver
