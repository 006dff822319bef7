#include "platform/thread_name.h"
#include "platform/wide_text_win32.h"

namespace receiver {

// Looked up at run time: import libraries of cross toolchains lack it.
void SetCurrentThreadName(const char* name) {
    using SetDescription = HRESULT(WINAPI*)(HANDLE, PCWSTR);
    const HMODULE kernel = GetModuleHandleA("kernel32.dll");
    if (kernel == nullptr) return;
    const auto address = reinterpret_cast<void*>(GetProcAddress(kernel, "SetThreadDescription"));
    const auto setDescription = reinterpret_cast<SetDescription>(address);
    if (setDescription == nullptr) return;
    const std::wstring wide = ToWide(CP_UTF8, name).value_or(std::wstring());
    setDescription(GetCurrentThread(), wide.c_str());
}

}  // namespace receiver
