#include <cstdlib>
#include <stdexcept>
#include <system_error>

#include "platform/text.h"
#include "receiver_record/control/log_folder.h"

namespace receiver {

namespace fs = std::filesystem;

fs::path LogFolder() {
    // Both belong to the user alone.
    const wchar_t* const local = _wgetenv(L"LOCALAPPDATA");
    std::error_code error;
    const fs::path base =
        local != nullptr && *local != L'\0' ? fs::path(local) : fs::temp_directory_path(error);
    const fs::path folder = base / "receiver-record";
    fs::create_directories(folder, error);
    if (fs::is_directory(folder, error)) return folder;
    throw std::runtime_error("There is no place for the receiver's log (tried " + ToUtf8(folder) +
                             "); --log names one");
}

}  // namespace receiver
