// The three clocks of the receiver. Any thread.
#pragma once

#include <cstdint>

namespace receiver {

struct LocalTime {
    unsigned year, month, day, hour, minute, second, millisecond;
};

// Milliseconds since system start; every deadline of an I/O operation is a value of this clock.
uint64_t TickMs();
// The high-resolution counter, in units of the platform.
uint64_t PerformanceCounter();
// The wall clock in the local time zone.
LocalTime GetLocalTimeNow();

}  // namespace receiver
