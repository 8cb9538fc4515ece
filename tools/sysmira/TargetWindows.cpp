#include <iostream>
#include <memory>

#include "support/String.h"
#include "support/WindowsApi.h"
#include "tools/sysmira/Interruption.h"
#include "tools/sysmira/Target.h"
#include "tools/sysmira/text/PrintableText.h"

// As shellapi.h has it.
extern "C" __declspec(dllimport) LPWSTR* WINAPI CommandLineToArgvW(LPCWSTR commandLine, int* count);

namespace sysmira {

std::vector<std::string> programArguments(int, char**) {
    int count = 0;
    const std::unique_ptr<WCHAR*, decltype(&LocalFree)> arguments(
        CommandLineToArgvW(GetCommandLineW(), &count), &LocalFree);
    std::vector<std::string> result;
    for (int i = 1; arguments != nullptr && i < count; ++i) result.push_back(toUtf8(arguments.get()[i]));
    return result;
}

Utf8Console::Utf8Console() {
    DWORD mode = 0;
    if (!GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode) &&
        !GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode)) {
        return;
    }
    m_before = GetConsoleOutputCP();
    SetConsoleOutputCP(CP_UTF8);
}

Utf8Console::~Utf8Console() {
    if (m_before != 0) SetConsoleOutputCP(m_before);
}

bool errorsGoToTerminal() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != FALSE;
}

bool canChooseMachine() { return false; }

void chooseMachine(const std::string&) {}

void keepMachine() {}

bool isTerminal(const std::ostream& out) {
    DWORD mode = 0;
    return &out == &std::cout && GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode);
}

std::vector<std::string> takeSimulatedWindows() { return {}; }

namespace {

BOOL CALLBACK findVisible(HWND window, LPARAM found) {
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    if (process != GetCurrentProcessId() || !IsWindowVisible(window) || window == GetConsoleWindow())
        return TRUE;
    *reinterpret_cast<bool*>(found) = true;
    return FALSE;
}

bool hasWindows() {
    bool found = false;
    EnumWindows(&findVisible, reinterpret_cast<LPARAM>(&found));
    return found;
}

}  // namespace

void waitForWindows() {
    constexpr DWORD stepMs = 100, firstMs = 2000;  // a window may take its time to come
    const InterruptionNoted interruption;
    const ULONGLONG start = GetTickCount64();
    while (!InterruptionNoted::happened() && (hasWindows() || GetTickCount64() - start < firstMs)) {
        MsgWaitForMultipleObjects(0, nullptr, FALSE, stepMs, QS_ALLINPUT);
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
    }
}

void keepPace(unsigned) {}

}  // namespace sysmira
