#include "libSysmira/utils/HelpWindow.h"

#include <atomic>

#include "libSysmira/utils/LoadedFunction.h"
#include "support/System.h"
#include "support/WindowsApi.h"
#include "support/WindowsRegistryException.h"
#include "support/WindowsRegistryReader.h"

namespace libSysmira {

namespace {

using HtmlHelp = HWND(WINAPI*)(HWND caller, LPCWSTR target, UINT command, DWORD_PTR data);

constexpr unsigned short HtmlHelpOrdinal = 15;  // HtmlHelpW
constexpr UINT DisplayTopic = 0;                // HH_DISPLAY_TOPIC

// What the registry says of the engine's class; empty where that is no text.
zor::String registeredModule() {
    const zor::String key("HKEY_CLASSES_ROOT\\CLSID\\{ADB880A6-D8FF-11CF-9377-00AA003B7A11}\\InprocServer32");
    const zor::String value;  // the key's default
    try {
        const zor::WindowsRegistryReader reader;
        if (!reader.keyExists(key)) return {};
        if (reader.toExpandStringValueExists(key, value)) return reader.getExpandedStringValue(key, value);
        if (reader.stringValueExists(key, value)) return reader.getStringValue(key, value);
    } catch (const zor::WindowsRegistryException&) {
    }
    return {};
}

zor::String systemModule() {
    WCHAR folder[MAX_PATH] = {};
    const UINT units = GetSystemDirectoryW(folder, MAX_PATH);
    if (units == 0 || units >= MAX_PATH) return "hhctrl.ocx";
    return zor::String(folder, units) + "\\hhctrl.ocx";
}

LoadedFunction<HtmlHelp> theHtmlHelp;
std::atomic<bool> theEngineIsMissing{false};

HtmlHelp findHtmlHelp() {
    if (const HtmlHelp known = theHtmlHelp.get(); known != nullptr || theEngineIsMissing) return known;
    const zor::String registered = registeredModule();
    const HtmlHelp found =
        theHtmlHelp.find(registered.empty() ? systemModule() : registered, HtmlHelpOrdinal);
    if (found == nullptr) theEngineIsMissing = true;
    return found;
}

}  // namespace

bool displayHelpWindowToTopic(const zor::String& helpFile, const zor::String& topic) {
    const zor::String target = topic.empty() ? helpFile : helpFile + "::/" + topic;
    const HtmlHelp htmlHelp = findHtmlHelp();
    return htmlHelp != nullptr &&
           htmlHelp(GetForegroundWindow(), target.getUCS2Buffer(), DisplayTopic, /*data=*/0) != nullptr;
}

void forgetHelpEngine() {
    theHtmlHelp.forget();
    theEngineIsMissing = false;
}

}  // namespace libSysmira
