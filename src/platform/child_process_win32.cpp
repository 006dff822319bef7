#include <array>
#include <atomic>
#include <stdexcept>
#include <utility>

#include "platform/child_process_handle.h"
#include "platform/unique_handle_win32.h"
#include "platform/wait_win32.h"

namespace receiver {
namespace {

constexpr UINT kTerminatedCode = 143;  // as a shell reports SIGTERM and SIGKILL
constexpr UINT kKilledCode = 137;
constexpr DWORD kPipeBytes = 65536;

// One argument as the C runtime of the child takes it apart again: a backslash counts as
// itself unless a quote follows the run it stands in.
std::string Quote(const std::string& argument) {
    std::string quoted = "\"";
    size_t backslashes = 0;
    for (const char c : argument) {
        if (c == '"') quoted.append(backslashes + 1, '\\');
        backslashes = c == '\\' ? backslashes + 1 : 0;
        quoted += c;
    }
    quoted.append(backslashes, '\\');
    return quoted + '"';
}

std::string CommandLine(const std::string& program, const std::vector<std::string>& arguments) {
    std::string line = Quote(program);
    for (const std::string& argument : arguments) line += ' ' + Quote(argument);
    return line;
}

SECURITY_ATTRIBUTES Inheritable() {
    return {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
}

UniqueHandle OpenNull(DWORD access) {
    SECURITY_ATTRIBUTES security = Inheritable();
    return OwnHandle(CreateFileA("NUL", access, FILE_SHARE_READ | FILE_SHARE_WRITE, &security,
                                 OPEN_EXISTING, 0, nullptr));
}

UniqueHandle InheritableCopy(HANDLE handle) {
    HANDLE copy = nullptr;
    const HANDLE self = GetCurrentProcess();
    DuplicateHandle(self, handle, self, &copy, 0, TRUE, DUPLICATE_SAME_ACCESS);
    return OwnHandle(copy);
}

// Our end of a captured stream. One read is always under way, so that its event tells of
// news; a named pipe, because anonymous ones cannot do that.
class CapturedStream {
public:
    CapturedStream() = default;
    ~CapturedStream() {
        if (!isReading_ || isRefused_) return;
        DWORD moved = 0;
        CancelIoEx(pipe_.Get(), &overlapped_);
        GetOverlappedResult(pipe_.Get(), &overlapped_, &moved, TRUE);
    }
    CapturedStream(const CapturedStream&) = delete;
    CapturedStream& operator=(const CapturedStream&) = delete;

    // The child's end, or an invalid handle.
    UniqueHandle Open() {
        static std::atomic<unsigned> counter{0};
        const std::string path = "\\\\.\\pipe\\Corvadel.Child." +
                                 std::to_string(GetCurrentProcessId()) + "." +
                                 std::to_string(++counter);
        event_ = OwnHandle(CreateEventA(nullptr, TRUE, FALSE, nullptr));
        pipe_ = OwnHandle(CreateNamedPipeA(
            path.c_str(),
            PIPE_ACCESS_INBOUND | FILE_FLAG_FIRST_PIPE_INSTANCE | FILE_FLAG_OVERLAPPED,
            PIPE_TYPE_BYTE | PIPE_REJECT_REMOTE_CLIENTS, 1, 0, kPipeBytes, 0, nullptr));
        if (!event_.IsValid() || !pipe_.IsValid()) return {};
        SECURITY_ATTRIBUTES security = Inheritable();
        return OwnHandle(CreateFileA(path.c_str(), GENERIC_WRITE, 0, &security, OPEN_EXISTING,
                                     FILE_ATTRIBUTE_NORMAL, nullptr));
    }

    // A read that is refused at once, as at the end of the stream, is news like any other.
    void StartRead() {
        overlapped_ = {};
        overlapped_.hEvent = event_.Get();
        ResetEvent(event_.Get());
        isReading_ = true;
        isRefused_ = !ReadFile(pipe_.Get(), bytes_.data(), kPipeBytes, nullptr, &overlapped_) &&
                     GetLastError() != ERROR_IO_PENDING;
        if (isRefused_) SetEvent(event_.Get());
    }

    void FinishRead(ChildStream& stream) {
        DWORD moved = 0;
        isReading_ = false;
        if (isRefused_ || !GetOverlappedResult(pipe_.Get(), &overlapped_, &moved, FALSE)) {
            stream.ended = true;
            return;
        }
        stream.unread.append(bytes_.data(), moved);
        StartRead();
    }

    bool IsReading() const { return isReading_; }
    HANDLE Event() const { return event_.Get(); }

private:
    UniqueHandle pipe_;
    UniqueHandle event_;
    OVERLAPPED overlapped_{};
    bool isReading_ = false;  // until the end of the stream
    bool isRefused_ = false;
    std::array<char, kPipeBytes> bytes_{};
};

// Whose processes end with its last handle, and so with this process however it ends. The
// handle is not handed down.
UniqueHandle CreateJobThatEndsWithUs() {
    UniqueHandle job = OwnHandle(CreateJobObjectA(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    if (!SetInformationJobObject(job.Get(), JobObjectExtendedLimitInformation, &limits,
                                 sizeof limits)) {
        job.Reset();
    }
    return job;
}

// The handles that the child is given, and no others.
struct ChildHandles {
    UniqueHandle input;
    UniqueHandle output;
    UniqueHandle errors;
};

// What a child is created with. The job is named here rather than afterwards, so that there is
// no child outside it for a moment.
class AttributeList {
public:
    AttributeList(const ChildHandles& handles, HANDLE job) : job_(job) {
        for (const UniqueHandle* handle : {&handles.input, &handles.output, &handles.errors}) {
            if (handle->IsValid()) handles_[count_++] = handle->Get();
        }
        constexpr DWORD kAttributes = 2;
        SIZE_T bytes = 0;
        InitializeProcThreadAttributeList(nullptr, kAttributes, 0, &bytes);
        storage_.resize(bytes);
        isValid_ = InitializeProcThreadAttributeList(Get(), kAttributes, 0, &bytes) &&
                   Add(PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(), count_) &&
                   Add(PROC_THREAD_ATTRIBUTE_JOB_LIST, &job_, 1);
    }
    ~AttributeList() { DeleteProcThreadAttributeList(Get()); }
    AttributeList(const AttributeList&) = delete;
    AttributeList& operator=(const AttributeList&) = delete;

    bool IsValid() const { return isValid_; }
    LPPROC_THREAD_ATTRIBUTE_LIST Get() {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(storage_.data());
    }

private:
    bool Add(DWORD_PTR attribute, HANDLE* handles, size_t count) {
        return UpdateProcThreadAttribute(Get(), 0, attribute, handles, count * sizeof(HANDLE),
                                         nullptr, nullptr) != FALSE;
    }

    HANDLE job_;
    std::array<HANDLE, 3> handles_{};
    size_t count_ = 0;
    std::vector<char> storage_;
    bool isValid_ = false;
};

class Win32ChildProcess final : public ChildProcessHandle {
public:
    Win32ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                      ChildProcess::ErrorStream errorStream) {
        const bool capturesErrors = errorStream == ChildProcess::ErrorStream::kCapture;
        ChildHandles handles;
        handles.input = OpenNull(GENERIC_READ);
        handles.output = output_.Open();
        if (capturesErrors) {
            handles.errors = errors_.Open();
        } else if (errorStream == ChildProcess::ErrorStream::kNull) {
            handles.errors = OpenNull(GENERIC_WRITE);
        } else {
            handles.errors = InheritableCopy(GetStdHandle(STD_ERROR_HANDLE));
        }
        const bool isMissingErrors = capturesErrors && !handles.errors.IsValid();
        if (!handles.output.IsValid() || isMissingErrors || !Create(program, arguments, handles)) {
            throw std::runtime_error("Cannot start " + program);
        }
        handles = {};  // so that the child holds the only writing ends
        output_.StartRead();
        if (capturesErrors) errors_.StartRead();
    }

    ~Win32ChildProcess() override {
        if (!process_.IsValid()) return;
        Kill();
        WaitForSingleObject(process_.Get(), INFINITE);
    }

    Win32ChildProcess(const Win32ChildProcess&) = delete;
    Win32ChildProcess& operator=(const Win32ChildProcess&) = delete;

    bool WaitForNews(ChildStream& output, ChildStream& errors, std::optional<int>& exitCode,
                     uint64_t deadlineTickMs) override {
        std::array<HANDLE, 3> handles{};
        DWORD count = 0;
        if (output_.IsReading()) handles[count++] = output_.Event();
        if (errors_.IsReading()) handles[count++] = errors_.Event();
        if (!exitCode) handles[count++] = process_.Get();
        const DWORD result =
            WaitForMultipleObjects(count, handles.data(), FALSE, RemainingMs(deadlineTickMs));
        if (result >= WAIT_OBJECT_0 + count) return false;

        const HANDLE signalled = handles[result - WAIT_OBJECT_0];
        if (signalled == process_.Get()) {
            DWORD code = 0;
            GetExitCodeProcess(process_.Get(), &code);
            exitCode = static_cast<int>(code);
        } else if (signalled == output_.Event()) {
            output_.FinishRead(output);
        } else {
            errors_.FinishRead(errors);
        }
        return true;
    }

    // A process group of its own does not take Ctrl+C; Ctrl+Break reaches it. Without a
    // console to send it through, the routine that would deliver it is started by hand.
    void Interrupt() override {
        if (GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, id_)) return;
        const HMODULE library = GetModuleHandleA("kernelbase.dll");
        if (library == nullptr) return;
        const auto address = reinterpret_cast<void*>(GetProcAddress(library, "CtrlRoutine"));
        const auto deliver = reinterpret_cast<LPTHREAD_START_ROUTINE>(address);
        if (deliver == nullptr) return;
        OwnHandle(CreateRemoteThread(process_.Get(), nullptr, 0, deliver,
                                     reinterpret_cast<void*>(CTRL_BREAK_EVENT), 0, nullptr));
    }
    void AskToEnd() override { Interrupt(); }
    void Terminate() override { TerminateProcess(process_.Get(), kTerminatedCode); }
    void Kill() override { TerminateProcess(process_.Get(), kKilledCode); }
    uint32_t Id() const override { return id_; }

private:
    bool Create(const std::string& program, const std::vector<std::string>& arguments,
                const ChildHandles& handles) {
        job_ = CreateJobThatEndsWithUs();
        AttributeList attributes(handles, job_.Get());
        if (!job_.IsValid() || !attributes.IsValid()) return false;
        STARTUPINFOEXA startup{};
        startup.StartupInfo.cb = sizeof startup;
        startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
        startup.StartupInfo.hStdInput = handles.input.Get();
        startup.StartupInfo.hStdOutput = handles.output.Get();
        startup.StartupInfo.hStdError = handles.errors.Get();
        startup.lpAttributeList = attributes.Get();

        // A parent without a console gets no Ctrl+C that the child would have to be kept from.
        const DWORD group = GetConsoleCP() != 0 ? CREATE_NEW_PROCESS_GROUP : 0;
        std::string commandLine = CommandLine(program, arguments);
        PROCESS_INFORMATION information{};
        if (!CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, TRUE,
                            group | EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr,
                            &startup.StartupInfo, &information)) {
            return false;
        }
        CloseHandle(information.hThread);
        process_ = OwnHandle(information.hProcess);
        id_ = information.dwProcessId;
        return true;
    }

    CapturedStream output_;
    CapturedStream errors_;
    UniqueHandle job_;  // the process ends with it
    UniqueHandle process_;
    uint32_t id_ = 0;
};

}  // namespace

std::unique_ptr<ChildProcessHandle> StartChildProcess(const std::string& program,
                                                      const std::vector<std::string>& arguments,
                                                      ChildProcess::ErrorStream errorStream) {
    return std::make_unique<Win32ChildProcess>(program, arguments, errorStream);
}

}  // namespace receiver
