// The terminal that people look at: standard error. Any thread.
#pragma once

#include <cstddef>

namespace receiver {

// Columns of the terminal at this moment; 0 when standard error is none.
size_t TerminalWidth();
// Lets the terminal understand escape sequences. False when it cannot.
bool EnableTerminalControl();

}  // namespace receiver
