#include "libSysmira/utils/NetworkUtils.h"

#include "libSysmira/wmi/Wmi.h"
#include "support/WindowsApi.h"

namespace libSysmira {

namespace {

constexpr CLSID NetworkConnections = {
    0x7007ACC7, 0x3202, 0x11D1, {0xAA, 0xD2, 0x00, 0x80, 0x5F, 0xC1, 0x27, 0x0E}};
constexpr DWORD AnyServer =
    CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER;

// An item identifier, which the shell allocates. What is left of it at the end is freed with COM's allocator,
// which is the shell's own and always there.
class ItemId {
public:
    ItemId() = default;
    ~ItemId() { CoTaskMemFree(m_item); }
    ItemId(const ItemId&) = delete;
    ItemId& operator=(const ItemId&) = delete;

    PIDLIST_RELATIVE* place() { return &m_item; }
    PCUITEMID_CHILD_ARRAY list() const { return const_cast<PCUITEMID_CHILD_ARRAY>(&m_item); }

    // False when the shell's allocator cannot be had.
    bool free() {
        if (m_item == nullptr) return true;
        IMalloc* found = nullptr;
        if (FAILED(SHGetMalloc(&found)) || found == nullptr) return false;
        const ComPointer<IMalloc> allocator(found);
        allocator.get()->Free(m_item);
        m_item = nullptr;
        return true;
    }

private:
    PIDLIST_RELATIVE m_item = nullptr;
};

bool invokeProperties(IContextMenu& menu) {
    CMINVOKECOMMANDINFO command = {};
    command.cbSize = sizeof command;
    command.lpVerb = "properties";
    return SUCCEEDED(menu.InvokeCommand(&command));
}

}  // namespace

bool NetworkUtils::displayNetworkPropertiesDialog(const zor::String& connectionName) {
    zor::String parsingName = zor::String("::") + connectionName;
    IShellFolder* foundFolder = nullptr;
    if (FAILED(CoCreateInstance(NetworkConnections, nullptr, AnyServer, IID_IShellFolder,
                                reinterpret_cast<void**>(&foundFolder))) ||
        foundFolder == nullptr) {
        return false;
    }
    const ComPointer<IShellFolder> folder(foundFolder);
    ItemId item;
    // A name that means nothing leaves the identifier null, which the next step refuses.
    folder.get()->ParseDisplayName(nullptr, nullptr, const_cast<LPWSTR>(parsingName.getUCS2Buffer()), nullptr,
                                   item.place(), nullptr);
    IContextMenu* foundMenu = nullptr;
    if (FAILED(folder.get()->GetUIObjectOf(nullptr, 1, item.list(), IID_IContextMenu, nullptr,
                                           reinterpret_cast<void**>(&foundMenu))) ||
        foundMenu == nullptr) {
        return false;
    }
    const ComPointer<IContextMenu> menu(foundMenu);
    return invokeProperties(*menu.get()) && item.free();
}

}  // namespace libSysmira
