#include "libSysmira/utils/HelpPane.h"

#include <future>

#include "libSysmira/wmi/Wmi.h"
#include "support/ClassLogger.h"
#include "support/System.h"
#include "support/WindowsApi.h"

// The help pane's interface, which the headers lack: three methods behind IUnknown's, and no IDispatch
// (Windows SDK, hxhelppaneproxy.h).
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
struct IHxHelpPane : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE DisplayTask(BSTR task) = 0;
    virtual HRESULT STDMETHODCALLTYPE DisplayContents(BSTR page) = 0;
    virtual HRESULT STDMETHODCALLTYPE DisplaySearchResults(BSTR query) = 0;
};
#pragma GCC diagnostic pop

namespace libSysmira {

namespace {

zor::ClassLogger theLog("Sysmira.Vista.HelpPane");

constexpr CLSID HelpPaneServer = {
    0x8CEC58E7, 0x07A1, 0x11D9, {0xB1, 0x5E, 0x00, 0x0D, 0x56, 0xBF, 0xE6, 0xEE}};
constexpr IID HelpPaneInterface = {
    0x8CEC5884, 0x07A1, 0x11D9, {0xB1, 0x5E, 0x00, 0x0D, 0x56, 0xBF, 0xE6, 0xEE}};
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

// What the pane says about a failure. The thread is this call's own, so that the error object on it can be no
// other's.
zor::String takeDescription() {
    IErrorInfo* found = nullptr;
    if (GetErrorInfo(/*dwReserved=*/0, &found) != S_OK || found == nullptr) return {};
    const ComPointer<IErrorInfo> error(found);
    BSTR text = nullptr;
    const HRESULT result = error.get()->GetDescription(&text);
    const Bstr description(text);
    if (FAILED(result) || text == nullptr) return {};
    return {text, SysStringLen(text)};
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

bool tell(HRESULT result, const Lines& lines) {
    if (SUCCEEDED(result)) return true;
    const zor::String description = takeDescription();
    theLog.write(zor::Error, lines.failed,
                 [&](zor::LoggerStream& line) { line << lines.failedText << static_cast<int>(result); });
    theLog.write(zor::Error, lines.description,
                 [&](zor::LoggerStream& line) { line << lines.descriptionText << description; });
    theLog.write(zor::Error, lines.message, [&](zor::LoggerStream& line) {
        line << lines.messageText << zor::System::getSystemErrorMsg(static_cast<zor::Uint32>(result));
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
    IHxHelpPane* found = nullptr;
    const HRESULT created = CoCreateInstance(HelpPaneServer, nullptr, AnyServer, HelpPaneInterface,
                                             reinterpret_cast<void**>(&found));
    if (FAILED(created) || found == nullptr) {
        writeComFailure(88, "Display Help failed: ", created);
        return false;
    }
    const ComPointer<IHxHelpPane> pane(found);
    if (topic.empty()) return tell(pane.get()->DisplayContents(nullptr), ContentsLines);
    const Bstr text(topic);
    if (text.text == nullptr) return tell(E_OUTOFMEMORY, SearchLines);
    return tell(pane.get()->DisplaySearchResults(text.text), SearchLines);
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
