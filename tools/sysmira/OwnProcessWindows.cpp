#include <iterator>
#include <memory>
#include <thread>

#include "support/SprintfFormat.h"
#include "support/String.h"
#include "support/System.h"
#include "support/WindowsApi.h"
#include "tools/sysmira/OwnProcess.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

namespace {

struct HandleClosing {
    using pointer = HANDLE;
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<HANDLE, HandleClosing>;

struct ExceptionName {
    DWORD code;
    const char* name;
};
constexpr ExceptionName exceptionNames[] = {
    {EXCEPTION_ACCESS_VIOLATION, "access violation"},
    {EXCEPTION_STACK_OVERFLOW, "stack overflow"},
    {EXCEPTION_ILLEGAL_INSTRUCTION, "illegal instruction"},
    {0x80000100, "a function that this system does not have"},
    {0xC0000374, "damaged heap"},
    {0xC0000409, "the program ended itself"},
};

std::string describeException(DWORD code) {
    std::string text = "ended with exception " + toUtf8(zor::SprintfFormat("0x%08X", code));
    for (const ExceptionName& known : exceptionNames) {
        if (known.code == code) text += std::string(" (") + known.name + ")";
    }
    return text;
}

// `arguments` are words without blanks and quotes.
std::wstring commandLineOf(const std::vector<std::string>& arguments) {
    WCHAR program[32768];
    const DWORD length = GetModuleFileNameW(nullptr, program, std::size(program));
    std::wstring line = L"\"" + std::wstring(program, length) + L"\"";
    for (const std::string& argument : arguments)
        line += L" " + std::wstring(argument.begin(), argument.end());
    return line;
}

// What is in it ends when the last handle to it is closed, also by the end of this process.
Handle makeJob() {
    Handle job(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    if (job) SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
    return job;
}

ProcessEnd notStarted() {
    ProcessEnd end;
    end.trouble = "could not be started: " + toUtf8(zor::System::getSystemErrorMsg(GetLastError()));
    return end;
}

void readAll(HANDLE pipe, const std::function<void(std::string_view)>& take) {
    char bytes[16384];
    DWORD got = 0;
    while (ReadFile(pipe, bytes, sizeof bytes, &got, nullptr) && got != 0) take({bytes, got});
}

}  // namespace

ProcessEnd runInOwnProcess(const std::vector<std::string>& arguments, unsigned timeoutMs, std::ostream&,
                           const std::function<void(std::string_view)>& take) {
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    HANDLE readEnd = nullptr, writeEnd = nullptr;
    if (!CreatePipe(&readEnd, &writeEnd, &inheritable, /*nSize=*/0)) return notStarted();
    const Handle reading(readEnd);
    Handle writing(writeEnd);
    SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);

    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = writeEnd;
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION started = {};
    std::wstring commandLine = commandLineOf(arguments);
    // A crash is told in the report, not in a dialog; the new process takes the mode over.
    const UINT errorMode = SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    const Handle job = makeJob();
    const BOOL running =
        CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, /*bInheritHandles=*/TRUE,
                       CREATE_SUSPENDED, nullptr, nullptr, &startup, &started);
    SetErrorMode(errorMode);
    if (!running) return notStarted();
    const Handle process(started.hProcess), mainThread(started.hThread);
    if (job) AssignProcessToJobObject(job.get(), process.get());
    ResumeThread(mainThread.get());
    writing.reset();

    bool inTime = true;
    std::thread watch([&] {
        if (WaitForSingleObject(process.get(), timeoutMs) != WAIT_TIMEOUT) return;
        inTime = false;
        TerminateProcess(process.get(), 1);
    });
    readAll(readEnd, take);
    watch.join();

    ProcessEnd end;
    DWORD status = 0;
    GetExitCodeProcess(process.get(), &status);
    if (!inTime) {
        end.trouble = "was not done after " + std::to_string(timeoutMs / 1000) + " s and was ended";
    } else if (status >= 0x80000000) {
        end.trouble = describeException(status);
    } else {
        end.status = static_cast<int>(status);
    }
    return end;
}

}  // namespace sysmira
