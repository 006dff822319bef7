// A page in a real browser: Chromium without a window.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <string>

#include "platform/child_process.h"
#include "platform/clock.h"
#include "testing/patience.h"
#include "testing/temp_folder.h"

namespace receiver {

struct BrowserPage {
    std::string document;  // as it is once its scripts have run
    std::string errors;
    std::map<std::string, std::string> facts;  // what the page says of itself: data-...
};

// `address` is what stands behind the file's name: "", or "#" and something.
inline BrowserPage LoadPage(const std::string& file, const std::string& address) {
    const TempFolder profile;
    // Within a container Chromium's own sandbox cannot be set up.
    ChildProcess process("chromium",
                         {"--headless", "--no-sandbox", "--disable-gpu", "--disable-extensions",
                          "--user-data-dir=" + profile.Path().string(), "--window-size=1200,900",
                          "--enable-logging=stderr", "--dump-dom", "file://" + file + address},
                         ChildProcess::ErrorStream::kCapture);
    const uint64_t deadline = TickMs() + 4 * kPatienceMs;
    BrowserPage page;
    page.document = process.ReadAllOutput(deadline).value_or("");
    page.errors = process.ReadAllErrors(deadline).value_or("");
    EXPECT_EQ(process.WaitForExit(deadline).value_or(-1), 0) << page.errors;
    const std::string head = page.document.substr(0, page.document.find("<head>"));
    static const std::regex fact("data-([a-z]+)=\"([^\"]*)\"");
    for (std::sregex_iterator at(head.begin(), head.end(), fact), end; at != end; ++at) {
        page.facts[(*at)[1]] = (*at)[2];
    }
    return page;
}

}  // namespace receiver
