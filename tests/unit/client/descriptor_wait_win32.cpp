#include <windows.h>

#include "unit/client/descriptor_wait.h"

namespace receiver {

bool WaitForDescriptor(std::intptr_t descriptor, uint32_t ms) {
    return WaitForSingleObject(reinterpret_cast<HANDLE>(descriptor), ms) == WAIT_OBJECT_0;
}

}  // namespace receiver
