// One recording, or with --repeat one after another, by one receiver.
//
//   Threads  one; the interrupted event may be signalled from anywhere.
#pragma once

#include "platform/manual_reset_event.h"
#include "receiver_record/display/record_console.h"
#include "receiver_record/exit_code.h"
#include "receiver_record/metrics/record_monitor.h"
#include "receiver_record/request/record_options.h"

namespace receiver {

// Of a series: kComplete when every programme was, else what was wrong with the worst one, or
// what ended the series.
ExitCode RunRecordings(const RecordOptions& options, const ManualResetEvent& interrupted,
                       RecordConsole& console, RecordMonitor& monitor);

}  // namespace receiver
