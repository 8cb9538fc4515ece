#include "libSysmira/utils/HelpPane.h"

#include <future>

#include "libSysmira/wmi/Wmi.h"
#include "support/ClassLogger.h"
#include "support/System.h"
#include "support/WindowsApi.h"

namespace libSysmira {

namespace {

zor::ClassLogger theLog("Sysmira.Vista.HelpPane");

constexpr CLSID HelpPaneServer = {
    0x8CEC58E7, 0x07A1, 0x11D9, {0xB1, 0x5E, 0x00, 0x0D, 0x56, 0xBF, 0xE6, 0xEE}};
constexpr IID HelpPaneInterface = {
    0x8CEC5884, 0x07A1, 0x11D9, {0xB1, 0x5E, 0x00, 0x0D, 0x56, 0xBF, 0xE6, 0xEE}};
constexpr IID Reserved = {};  // of IDispatch, which takes none
constexpr DWORD AnyServer =
    CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER;

struct Bstr {
    explicit Bstr(const zor::String& source)
        : text(SysAllocStringLen(source.getUCS2Buffer(), source.size())) {}
    explicit Bstr(BSTR owned) : text(owned) {}
    ~Bstr() { SysFreeString(text); }
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;

    BSTR text;
};

// What a call through IDispatch answered: its code, and what the pane says about it.
struct Outcome {
    HRESULT result = S_OK;
    zor::String description;
};

// Calls a method of the pane by its name, with a text or without.
Outcome callByName(IDispatch& pane, const WCHAR* method, BSTR argument) {
    Outcome outcome;
    auto* name = const_cast<LPOLESTR>(method);
    DISPID id = 0;
    outcome.result = pane.GetIDsOfNames(Reserved, &name, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(outcome.result)) return outcome;
    VARIANTARG text = {};
    text.vt = VT_BSTR;
    text.bstrVal = argument;
    DISPPARAMS arguments = {};
    if (argument != nullptr) {
        arguments.rgvarg = &text;
        arguments.cArgs = 1;
    }
    EXCEPINFO raised = {};
    outcome.result = pane.Invoke(id, Reserved, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &arguments,
                                 /*pVarResult=*/nullptr, &raised, /*puArgErr=*/nullptr);
    if (outcome.result == DISP_E_EXCEPTION && raised.pfnDeferredFillIn != nullptr)
        raised.pfnDeferredFillIn(&raised);
    const Bstr source(raised.bstrSource), description(raised.bstrDescription), file(raised.bstrHelpFile);
    if (outcome.result != DISP_E_EXCEPTION) return outcome;
    if (FAILED(raised.scode)) outcome.result = raised.scode;
    if (description.text != nullptr)
        outcome.description = zor::String(description.text, SysStringLen(description.text));
    return outcome;
}

// The lines of a method that has failed; their numbers differ.
struct Lines {
    int failed;
    const char* failedText;
    int description;
    const char* descriptionText;
    int message;
    const char* messageText;
};
constexpr Lines SearchLines = {80, "LaunchVistaHelp::display search results failed: ",
                               76, "LaunchVistaHelp::DisplaySearchResults description: ",
                               77, "LaunchVistaHelp::DisplaySearchResults error message: "};
constexpr Lines ContentsLines = {67, "LaunchVistaHelp::display contents failed: ",
                                 63, "LaunchVistaHelp::DisplayContents description: ",
                                 64, "LaunchVistaHelp::DisplayContents error message: "};

bool tell(const Outcome& outcome, const Lines& lines) {
    if (SUCCEEDED(outcome.result)) return true;
    const auto code = static_cast<int>(outcome.result);
    theLog.write(zor::Error, lines.failed,
                 [&](zor::LoggerStream& line) { line << lines.failedText << code; });
    theLog.write(zor::Error, lines.description,
                 [&](zor::LoggerStream& line) { line << lines.descriptionText << outcome.description; });
    theLog.write(zor::Error, lines.message, [&](zor::LoggerStream& line) {
        line << lines.messageText << zor::System::getSystemErrorMsg(static_cast<zor::Uint32>(outcome.result));
    });
    return false;
}

void writeComFailure(int number, const char* text, HRESULT result) {
    const DWORD error = zor::System::getSystemError();
    theLog.write(zor::Error, number, [&](zor::LoggerStream& line) {
        line << text << zor::System::getSystemErrorMsg(error) << "HRESULT = " << static_cast<int>(result);
    });
}

bool openPane(const zor::String& topic) {
    IDispatch* found = nullptr;
    const HRESULT created = CoCreateInstance(HelpPaneServer, nullptr, AnyServer, HelpPaneInterface,
                                             reinterpret_cast<void**>(&found));
    if (FAILED(created) || found == nullptr) {
        writeComFailure(88, "Display Help failed: ", created);
        return false;
    }
    const ComPointer<IDispatch> pane(found);
    if (topic.empty()) return tell(callByName(*pane.get(), L"DisplayContents", nullptr), ContentsLines);
    const Bstr text(topic);
    if (text.text == nullptr) return tell({E_OUTOFMEMORY, {}}, SearchLines);
    return tell(callByName(*pane.get(), L"DisplaySearchResults", text.text), SearchLines);
}

bool runTask(const zor::String& topic) {
    const HRESULT entered = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (FAILED(entered)) {
        writeComFailure(
            38,
            "LaunchVistaHelp::CoInitialize failed, probably CoInitialize has already been called in "
            "this thread: ",
            entered);
        return false;
    }
    struct Leave {
        ~Leave() { CoUninitialize(); }
    } const leave;
    return openPane(topic);
}

}  // namespace

bool LaunchVistaHelp(const zor::String& topic) {
    std::future<bool> task = std::async(std::launch::async, [&topic] { return runTask(topic); });
    return task.get();
}

}  // namespace libSysmira
