// What every page of receiver-scan begins with: one file that needs no network and lets nothing
// in, for a screen, a phone and paper, light and dark. Pure.
#pragma once

#include <string>
#include <string_view>

namespace receiver {

struct PageHead {
    std::string title;     // of the window
    std::string kind;      // above the headline
    std::string headline;  // these four are text, not markup
    std::string summary;
    std::string_view furtherStyle;  // weaker than the pages' own
    bool hasScripts = false;
};

// Up to and with <main>.
std::string PageBeginning(const PageHead& head);

}  // namespace receiver
