// What is said of references that are not fit to be listened for, before a recording starts.
#pragma once

#include "receiver_record/display/record_console.h"
#include "receiver_record/request/record_options.h"

namespace receiver {

// One line for each that is weak or unfit. Refuses nothing, and never throws.
void WarnOfReferences(const RecordOptions& options, RecordConsole& console);

}  // namespace receiver
