// The system error numbers of the receiver's interfaces. They are the Win32
// values on every platform: they appear in messages and in the statistics, and
// controlling programs compare them.
#pragma once

#include <cstdint>

namespace receiver {

inline constexpr uint32_t kErrorNone = 0;
inline constexpr uint32_t kErrorFileNotFound = 2;
inline constexpr uint32_t kErrorTooManyOpenFiles = 4;
inline constexpr uint32_t kErrorAccessDenied = 5;
inline constexpr uint32_t kErrorOutOfMemory = 8;
inline constexpr uint32_t kErrorPositionReleased = 13;  // ERROR_INVALID_DATA
inline constexpr uint32_t kErrorReadFault = 30;
inline constexpr uint32_t kErrorGeneralFailure = 31;
inline constexpr uint32_t kErrorBrokenPipe = 109;
inline constexpr uint32_t kErrorInvalidName = 123;
inline constexpr uint32_t kErrorNameTooLong = 206;
inline constexpr uint32_t kErrorPipeBusy = 231;
inline constexpr uint32_t kErrorNoData = 232;  // the pipe is being closed
inline constexpr uint32_t kErrorCancelled = 995;
inline constexpr uint32_t kErrorTimedOut = 1460;

}  // namespace receiver
