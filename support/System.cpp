#include "support/System.h"

#include "support/LastErrorKeeper.h"
#include "support/SprintfFormat.h"
#include "support/WindowsApi.h"

namespace zor {

namespace {

// No message of Windows comes near this.
constexpr DWORD MessageUnits = 2048;

String systemMessage(DWORD code, DWORD language) {
    Char16 text[MessageUnits];
    const DWORD units = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                       code, language, text, MessageUnits, nullptr);
    return String(text, std::min(units, MessageUnits)).trim();
}

// Asks with more room while the answer does not fit: `ask(text, units)` gives the units that it needs with
// the terminator, or wrote without it. Empty when it gives 0, or never has enough.
template <class Ask>
String growingText(Ask&& ask) {
    Array<Char16> text;
    DWORD room = 256;
    for (int tries = 0; tries < 8 && room <= 1U << 20; ++tries) {
        text = Array<Char16>(room);
        const DWORD units = ask(text.begin(), room);
        if (units < room) return String(text.begin(), units);
        room = units + 1;
    }
    return String();
}

}  // namespace

Uint32 System::getSystemError() noexcept { return GetLastError(); }

String System::getSystemErrorMsg(Uint32 code, bool withCode) {
    const LastErrorKeeper keeper;
    String message = systemMessage(code, MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US));
    if (message.empty()) message = systemMessage(code, /*language=*/0);
    if (message.empty()) message = SprintfFormat("Unknown error 0x%08X", code);
    if (withCode) message += SprintfFormat(" (%u)", code);
    return message;
}

void System::mssleep(unsigned int milliseconds) noexcept { Sleep(milliseconds); }

String System::getEnvironmentVariable(const String& name) {
    return growingText(
        [&](Char16* text, DWORD room) { return GetEnvironmentVariableW(name.getUCS2Buffer(), text, room); });
}

String System::expandEnvironment(const String& text) {
    // The count of ExpandEnvironmentStringsW holds the terminator, whether the text fitted or not.
    bool failed = false;
    String expanded = growingText([&](Char16* buffer, DWORD room) {
        const DWORD units = ExpandEnvironmentStringsW(text.getUCS2Buffer(), buffer, room);
        failed = units == 0;
        return units == 0 || units > room ? units : units - 1;
    });
    return failed ? text : expanded;
}

}  // namespace zor
