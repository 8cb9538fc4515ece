#include "support/WindowsApi.h"
#include "tests/contract/ContractMachine.h"

namespace {

// Runs a command line to its end; false when it cannot be started.
bool run(WCHAR* commandLine) {
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, commandLine, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &process)) {
        return false;
    }
    WaitForSingleObject(process.hProcess, INFINITE);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return true;
}

}  // namespace

std::string importBesideProgram(const char* file) {
    WCHAR path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    DWORD end = length;
    while (end != 0 && path[end - 1] != L'\\') --end;
    path[end] = 0;
    const std::string name = file;
    if (length == 0 || end + name.size() >= MAX_PATH) return "the program's folder is not known";
    for (const char letter : name) path[end++] = static_cast<WCHAR>(letter);
    path[end] = 0;
    // The registry editor says success even of a file that is not there.
    if (GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES) return "no " + name + " lies beside the program";
    WCHAR commandLine[MAX_PATH + 32] = L"regedit.exe /S \"";
    lstrcatW(commandLine, path);
    lstrcatW(commandLine, L"\"");
    return run(commandLine) ? "" : "the registry editor did not start";
}

std::string prepareContractMachine() { return importBesideProgram("disk.reg"); }
