// Waits for what ReceiverClient::EventDescriptor gave, as the system's event loops do.
#pragma once

#include <cstdint>

namespace receiver {

// False after `ms` without it.
bool WaitForDescriptor(std::intptr_t descriptor, uint32_t ms);

}  // namespace receiver
