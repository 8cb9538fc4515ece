#include "tests/contract/MessageContractMachine.h"

// Beside the program.
const WCHAR* contractMessageFile() {
    static WCHAR path[MAX_PATH + 32];
    DWORD end = GetModuleFileNameW(nullptr, path, MAX_PATH);
    while (end != 0 && path[end - 1] != L'\\') --end;
    path[end] = 0;
    return lstrcatW(path, L"eventmessages.dll");
}

void prepareClassicLog() {}
