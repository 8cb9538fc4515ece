#include "simulation/machine/Machine.h"
#include "tests/contract/MessageContractMachine.h"

const WCHAR* contractMessageFile() {
    static const simulation::Text path = u"C:\\Windows\\system32\\eventmessages.dll";
    simulation::File& file = simulation::machine().files[path];
    file.image = true;
    // As eventmessages.mc has them.
    file.messages = {{0xC0040007, u"Fan %1 stopped at %2 turns.\r\n"},
                     {8, u"%1!s! is [%2!-6s!] 50%% of%n%3%0\r\n"},
                     {9, u"  Nothing is asked.\r\n"},
                     {10, u"%2 before %1, and %1 again%0\r\n"},
                     {11, u"%1!08X! %1!u! %2!d!%0\r\n"},
                     {12, u"a%rb%.c%!d% e%0\r\n"},
                     {13, u"[%1!*s!]%0\r\n"},
                     {14, u"%1234%0\r\n"}};
    return simulation::wide(path);
}

void prepareClassicLog() {
    simulation::ClassicLog& log = simulation::machine().events.classic[u"Application"];
    for (DWORD i = 0; i < 1000; ++i) log.add({.source = u"fan", .id = 7, .strings = {u"CPU", u"900"}});
}
