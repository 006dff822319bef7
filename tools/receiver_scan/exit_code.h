// How receiver-scan ends; the numbers are part of its interface (--help lists them) and mean
// what they mean at receiver-record.
#pragma once

namespace receiver {

enum class ScanExitCode {
    kFound = 0,    // what was asked about is as one would wish
    kFailure = 1,  // the tool itself broke
    kUsage = 2,
    kNotFound = 3,  // nothing was heard
    kSourceError = 4,
    kInterrupted = 5,
    kOutputError = 6,
};

}  // namespace receiver
