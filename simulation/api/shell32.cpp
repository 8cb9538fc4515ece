// The shell: its allocator, the Network Connections folder, the help pane, HTML Help, properties of windows.
#include <algorithm>
#include <cstring>

#include "simulation/api/ComObject.h"
#include "simulation/api/ErrorInfo.h"
#include "simulation/api/OleAutomation.h"
#include "simulation/api/Shell.h"
#include "simulation/machine/Machine.h"

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

namespace simulation {

namespace {

constexpr CLSID NetworkConnections = {
    0x7007ACC7, 0x3202, 0x11D1, {0xAA, 0xD2, 0x00, 0x80, 0x5F, 0xC1, 0x27, 0x0E}};
constexpr CLSID HelpPaneServer = {
    0x8CEC58E7, 0x07A1, 0x11D9, {0xB1, 0x5E, 0x00, 0x0D, 0x56, 0xBF, 0xE6, 0xEE}};
constexpr IID HelpPaneInterface = {
    0x8CEC5884, 0x07A1, 0x11D9, {0xB1, 0x5E, 0x00, 0x0D, 0x56, 0xBF, 0xE6, 0xEE}};
constexpr PROPERTYKEY DisableTouchWhenFullScreen = {
    {0x32CE38B2, 0x2C9A, 0x41B1, {0x9B, 0xC5, 0xB3, 0x78, 0x43, 0x94, 0xAA, 0x44}}, 2};

// An item identifier: what the shell knows of the item by, here the connection's GUID, and the list's end.
struct Item {
    USHORT size;
    WCHAR id[39];
    USHORT end;
};

// The shell's allocator knows the items by their address.
COM_INTERFACE(allocatorInterface, Resource::ShellAllocator, IMalloc);

class Allocator final : public ComObject<IMalloc> {
public:
    explicit Allocator(const char* creator) : ComObject(allocatorInterface, creator) {}

    void STDMETHODCALLTYPE Free(void* memory) override {
        static const Function function{"IMalloc::Free", Fails::WithCode, {S_OK}};
        Call call(function);
        freeItemIdentifier(memory, call.name());
    }
    void* STDMETHODCALLTYPE Alloc(SIZE_T) override { return nullptr; }
    void* STDMETHODCALLTYPE Realloc(void*, SIZE_T) override { return nullptr; }
    SIZE_T STDMETHODCALLTYPE GetSize(void*) override { return static_cast<SIZE_T>(-1); }
    int STDMETHODCALLTYPE DidAlloc(void* memory) override {
        return ledger().isOpen(Resource::ItemIdentifier, memory) ? 1 : 0;
    }
    void STDMETHODCALLTYPE HeapMinimize() override {}

private:
    void drop() override {}
};

COM_INTERFACE(menuInterface, Resource::ContextMenu, IContextMenu);

class ConnectionMenu final : public ComObject<IContextMenu> {
public:
    ConnectionMenu(Text id, const char* creator) : ComObject(menuInterface, creator), m_id(std::move(id)) {}

    HRESULT STDMETHODCALLTYPE InvokeCommand(LPCMINVOKECOMMANDINFO command) override {
        static const Function function{
            "IContextMenu::InvokeCommand", Fails::WithCode, {E_FAIL, E_ACCESSDENIED, E_OUTOFMEMORY}};
        const char* const verb = command == nullptr ? nullptr : command->lpVerb;
        // The fields beside the verb have to be zero: whoever leaves stray ones asks for something else.
        const bool plain = command != nullptr && command->fMask == 0 && command->hwnd == nullptr &&
                           command->lpParameters == nullptr && command->lpDirectory == nullptr &&
                           command->nShow == 0 && command->dwHotKey == 0 && command->hIcon == nullptr;
        Call call(function, verb, plain ? "otherwise zero" : "with more");
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return call.returns(RPC_E_DISCONNECTED);
        if (command == nullptr || command->cbSize < sizeof *command) return call.returns(E_INVALIDARG);
        if (verb == nullptr || std::strcmp(verb, "properties") != 0) return call.returns(E_INVALIDARG);
        Shell& shell = machine().shell;
        if (!shell.connections) return call.returns(E_FAIL);
        const auto found = shell.connections->find(m_id);
        if (found == shell.connections->end()) return call.returns(E_FAIL);
        if (SUCCEEDED(found->second.propertiesResult)) {
            shell.opened.push_back("properties of the network connection " + toUtf8(found->second.name) +
                                   " " + toUtf8(m_id));
        }
        return call.returns(found->second.propertiesResult);
    }

    NOT_IMPLEMENTED(IContextMenu, QueryContextMenu, (HMENU, UINT, UINT, UINT, UINT))
    NOT_IMPLEMENTED(IContextMenu, GetCommandString, (UINT_PTR, UINT, UINT*, LPSTR, UINT))

private:
    void drop() override {}

    const Text m_id;
};

COM_INTERFACE(folderInterface, Resource::ShellFolder, IShellFolder);

class ConnectionsFolder final : public ComObject<IShellFolder> {
public:
    explicit ConnectionsFolder(const char* creator) : ComObject(folderInterface, creator) {}

    HRESULT STDMETHODCALLTYPE ParseDisplayName(HWND, IBindCtx*, LPWSTR name, ULONG* eaten,
                                               PIDLIST_RELATIVE* item, ULONG* attributes) override {
        static const Function function{
            "IShellFolder::ParseDisplayName",
            Fails::WithCode,
            {HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), E_INVALIDARG, E_OUTOFMEMORY},
            Distortion::NullResult | Distortion::NothingWritten};
        Call call(function, name);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return call.returns(RPC_E_DISCONNECTED);
        if (name == nullptr || item == nullptr) return call.returns(E_INVALIDARG);
        if (call.distorted(Distortion::NothingWritten)) return call.returns(S_OK);
        *item = nullptr;
        if (call.distorted(Distortion::NullResult)) return call.returns(S_OK);
        const Text text = fromWide(name);
        const auto& connections = machine().shell.connections;
        if (text.compare(0, 2, u"::") != 0 || !connections) return call.returns(E_INVALIDARG);
        const auto found = connections->find(text.substr(2));
        if (found == connections->end()) return call.returns(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
        auto* const identifier = new Item{offsetof(Item, end), {}, 0};
        std::copy_n(wide(found->first), std::min(found->first.size(), std::size(identifier->id) - 1),
                    identifier->id);
        ledger().opened(Resource::ItemIdentifier, identifier, call.name());
        *item = reinterpret_cast<PIDLIST_RELATIVE>(identifier);
        if (eaten != nullptr) *eaten = static_cast<ULONG>(text.size());
        if (attributes != nullptr) *attributes = 0;
        return call.returns(S_OK);
    }

    HRESULT STDMETHODCALLTYPE GetUIObjectOf(HWND, UINT count, PCUITEMID_CHILD_ARRAY items, REFIID wanted,
                                            UINT*, void** object) override {
        static const Function function{"IShellFolder::GetUIObjectOf",
                                       Fails::WithCode,
                                       {E_NOINTERFACE, E_FAIL, E_OUTOFMEMORY},
                                       static_cast<unsigned>(Distortion::NullResult)};
        Call call(function, count, &wanted);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return call.returns(RPC_E_DISCONNECTED);
        if (object == nullptr) return call.returns(E_POINTER);
        *object = nullptr;
        if (count != 1 || items == nullptr || items[0] == nullptr) return call.returns(E_INVALIDARG);
        if (!ledger().uses(Resource::ItemIdentifier, items[0], call.name()))
            return call.returns(E_INVALIDARG);
        if (!sameGuid(wanted, IID_IContextMenu)) return call.returns(E_NOINTERFACE);
        if (call.distorted(Distortion::NullResult)) return call.returns(S_OK);
        const auto* const item = reinterpret_cast<const Item*>(items[0]);
        *object = static_cast<IContextMenu*>(new ConnectionMenu(fromWide(item->id), call.name()));
        return call.returns(S_OK);
    }

    NOT_IMPLEMENTED(IShellFolder, EnumObjects, (HWND, SHCONTF, IEnumIDList**))
    NOT_IMPLEMENTED(IShellFolder, BindToObject, (PCUIDLIST_RELATIVE, LPBC, REFIID, void**))
    NOT_IMPLEMENTED(IShellFolder, BindToStorage, (PCUIDLIST_RELATIVE, LPBC, REFIID, void**))
    NOT_IMPLEMENTED(IShellFolder, CompareIDs, (LPARAM, PCUIDLIST_RELATIVE, PCUIDLIST_RELATIVE))
    NOT_IMPLEMENTED(IShellFolder, CreateViewObject, (HWND, REFIID, void**))
    NOT_IMPLEMENTED(IShellFolder, GetAttributesOf, (UINT, LPCITEMIDLIST*, SFGAOF*))
    NOT_IMPLEMENTED(IShellFolder, GetDisplayNameOf, (PCUITEMID_CHILD, SHGDNF, STRRET*))
    NOT_IMPLEMENTED(IShellFolder, SetNameOf, (HWND, PCUITEMID_CHILD, LPCWSTR, SHGDNF, PITEMID_CHILD*))

private:
    void drop() override {}
};

// What follows the three methods in memory is no function: a call that arrives here would end a process.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
struct HelpPaneTable : IHxHelpPane {
    virtual HRESULT STDMETHODCALLTYPE beyondTheTable() { return beyond(); }
    virtual HRESULT STDMETHODCALLTYPE furtherBeyondTheTable() { return beyond(); }

private:
    static HRESULT beyond() {
        ledger().violation("a method beyond the three of IHxHelpPane was called");
        return E_NOTIMPL;
    }
};
#pragma GCC diagnostic pop

const ComInterface paneInterface =
    describeInterface(Resource::HelpPane, HelpPaneInterface, "IHxHelpPane::QueryInterface",
                      "IHxHelpPane::AddRef", "IHxHelpPane::Release");

class Pane final : public ComObject<HelpPaneTable> {
public:
    explicit Pane(const char* creator) : ComObject(paneInterface, creator) {}

    HRESULT STDMETHODCALLTYPE DisplayTask(BSTR task) override {
        static const Function function{"IHxHelpPane::DisplayTask", Fails::WithCode, failures()};
        return show(function, task, "task ");
    }
    // Without a page, its contents from the top.
    HRESULT STDMETHODCALLTYPE DisplayContents(BSTR page) override {
        static const Function function{"IHxHelpPane::DisplayContents", Fails::WithCode, failures()};
        return show(function, page, "contents");
    }
    HRESULT STDMETHODCALLTYPE DisplaySearchResults(BSTR query) override {
        static const Function function{"IHxHelpPane::DisplaySearchResults", Fails::WithCode, failures()};
        return show(function, query, "search results for ");
    }

private:
    static std::vector<long long> failures() { return {E_FAIL, RPC_E_SERVERFAULT, E_OUTOFMEMORY}; }

    HRESULT show(const Function& function, BSTR text, const char* what) {
        Call call(function, text);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return call.returns(RPC_E_DISCONNECTED);
        const std::string shown = toUtf8(readBstr(call, text));
        if (!machine().shell.helpPane) return call.returns(RPC_E_DISCONNECTED);
        const HelpPane& pane = *machine().shell.helpPane;
        if (FAILED(pane.result)) {
            if (pane.failureDescription) setErrorDescription(u"HelpPane", *pane.failureDescription);
            return call.returns(pane.result);
        }
        machine().shell.opened.push_back("help pane, " + (what + shown));
        return call.returns(S_OK);
    }
    void drop() override {}
};

COM_INTERFACE(storeInterface, Resource::PropertyStore, IPropertyStore);

class WindowProperties final : public ComObject<IPropertyStore> {
public:
    WindowProperties(HWND window, const char* creator)
        : ComObject(storeInterface, creator), m_window(window) {}

    HRESULT STDMETHODCALLTYPE SetValue(REFPROPERTYKEY key, REFPROPVARIANT value) override {
        static const Function function{
            "IPropertyStore::SetValue", Fails::WithCode, {E_ACCESSDENIED, E_OUTOFMEMORY}};
        Call call(function, &key.fmtid, key.pid, value.vt,
                  value.vt == VT_BOOL ? value.boolVal : VARIANT_FALSE);
        if (const auto fault = call.fault<HRESULT>()) return *fault;
        if (!isUsable(call)) return call.returns(RPC_E_DISCONNECTED);
        const bool known = sameGuid(key.fmtid, DisableTouchWhenFullScreen.fmtid) &&
                           key.pid == DisableTouchWhenFullScreen.pid;
        if (known && value.vt == VT_BOOL) machine().shell.windows[m_window] = value.boolVal != VARIANT_FALSE;
        return call.returns(S_OK);
    }

    NOT_IMPLEMENTED(IPropertyStore, GetCount, (DWORD*))
    NOT_IMPLEMENTED(IPropertyStore, GetAt, (DWORD, PROPERTYKEY*))
    NOT_IMPLEMENTED(IPropertyStore, GetValue, (REFPROPERTYKEY, PROPVARIANT*))
    NOT_IMPLEMENTED(IPropertyStore, Commit, ())

private:
    void drop() override {}

    HWND m_window;
};

// In shell32.dll, from Windows 7 on.
HRESULT WINAPI getPropertyStoreForWindow(HWND window, REFIID wanted, void** object) {
    static const Function function{"SHGetPropertyStoreForWindow",
                                   Fails::WithCode,
                                   {E_NOINTERFACE, E_OUTOFMEMORY, E_ACCESSDENIED},
                                   static_cast<unsigned>(Distortion::NullResult)};
    Call call(function, window, &wanted);
    if (const auto fault = call.fault<HRESULT>()) return *fault;
    if (object == nullptr) return call.returns(E_POINTER);
    *object = nullptr;
    if (!isInCom()) return call.returns(CO_E_NOTINITIALIZED);
    if (machine().shell.windows.count(window) == 0)
        return call.returns(HRESULT_FROM_WIN32(ERROR_INVALID_WINDOW_HANDLE));
    if (!sameGuid(wanted, IID_IPropertyStore)) return call.returns(E_NOINTERFACE);
    if (call.distorted(Distortion::NullResult)) return call.returns(S_OK);
    *object = static_cast<IPropertyStore*>(new WindowProperties(window, call.name()));
    return call.returns(S_OK);
}

// Ordinal 15 of the HTML Help engine.
HWND WINAPI htmlHelp(HWND caller, LPCWSTR target, UINT command, DWORD_PTR data) {
    static const Function function{
        "HtmlHelpW", Fails::WithZero, {ERROR_FILE_NOT_FOUND, ERROR_NOT_ENOUGH_MEMORY}};
    Call call(function, caller, target, command, static_cast<unsigned long long>(data));
    if (const auto fault = call.fault<HWND>()) return *fault;
    if (target == nullptr || command != 0) return call.fails<HWND>(ERROR_INVALID_PARAMETER);
    const Text text = fromWide(target);
    if (machine().files.count(text.substr(0, text.find(u"::"))) == 0)
        return call.fails<HWND>(ERROR_FILE_NOT_FOUND);
    machine().shell.opened.push_back("help window " + toUtf8(text));
    return call.returns(reinterpret_cast<HWND>(static_cast<ULONG_PTR>(0x10010)));
}

}  // namespace

bool freeItemIdentifier(void* memory, const char* function) {
    if (memory == nullptr || !ledger().close(Resource::ItemIdentifier, memory, function)) return false;
    delete static_cast<Item*>(memory);
    return true;
}

bool isShellClass(REFCLSID wanted) {
    return sameGuid(wanted, NetworkConnections) || sameGuid(wanted, HelpPaneServer);
}

HRESULT createShellObject(Call& call, REFCLSID wanted, DWORD context, REFIID interfaceId, void** object) {
    const Shell& shell = machine().shell;
    if (sameGuid(wanted, NetworkConnections)) {
        // A DLL alone (netshell.dll).
        if (!shell.connections || (context & CLSCTX_INPROC_SERVER) == 0)
            return call.returns(REGDB_E_CLASSNOTREG);
        if (!sameGuid(interfaceId, IID_IShellFolder)) return call.returns(E_NOINTERFACE);
        if (!call.distorted(Distortion::NullResult))
            *object = static_cast<IShellFolder*>(new ConnectionsFolder(call.name()));
        return call.returns(S_OK);
    }
    // A program alone (HelpPane.exe).
    if (!shell.helpPane || (context & CLSCTX_LOCAL_SERVER) == 0) return call.returns(REGDB_E_CLASSNOTREG);
    if (!sameGuid(interfaceId, HelpPaneInterface)) return call.returns(E_NOINTERFACE);
    if (!call.distorted(Distortion::NullResult)) *object = static_cast<IHxHelpPane*>(new Pane(call.name()));
    return call.returns(S_OK);
}

void addHelpEngine(Machine& machine, const Text& path) {
    File& file = machine.files[path];
    file.image = true;
    file.symbols["#15"] = reinterpret_cast<void*>(&htmlHelp);
}

void addWindowProperties(Machine& machine) {
    File& file = machine.files[machine.systemDirectory + u"\\shell32.dll"];
    file.image = true;
    file.symbols["SHGetPropertyStoreForWindow"] = reinterpret_cast<void*>(&getPropertyStoreForWindow);
}

}  // namespace simulation

using namespace simulation;

SIMULATED(HRESULT, WINAPI, SHGetMalloc, (IMalloc * *allocator)) {
    static const Function function{
        "SHGetMalloc", Fails::WithCode, {E_OUTOFMEMORY}, static_cast<unsigned>(Distortion::NullResult)};
    Call call(function);
    if (const auto fault = call.fault<HRESULT>()) return *fault;
    if (allocator == nullptr) return call.returns(E_INVALIDARG);
    *allocator = nullptr;
    if (!call.distorted(Distortion::NullResult)) *allocator = new Allocator(call.name());
    return call.returns(S_OK);
}

SIMULATED(HWND, WINAPI, GetForegroundWindow, (void)) {
    static const Function function{"GetForegroundWindow", Fails::WithZero, {ERROR_SUCCESS}};
    Call call(function);
    if (const auto fault = call.fault<HWND>()) return *fault;
    return call.returns(machine().shell.foregroundWindow);
}
