#include "support/RegistryValue.h"

#include "support/GrowingRead.h"
#include "support/LastErrorKeeper.h"

namespace zor {

namespace {

struct Root {
    const char* name;
    const char* shortName;
    HKEY key;
};

HKEY findRoot(const String& name) {
    const Root roots[] = {
        {"HKEY_LOCAL_MACHINE", "HKLM", HKEY_LOCAL_MACHINE},
        {"HKEY_CURRENT_USER", "HKCU", HKEY_CURRENT_USER},
        {"HKEY_CLASSES_ROOT", "HKCR", HKEY_CLASSES_ROOT},
        {"HKEY_USERS", "HKU", HKEY_USERS},
        {"HKEY_CURRENT_CONFIG", "HKCC", HKEY_CURRENT_CONFIG},
    };
    for (const Root& root : roots) {
        if (name.compareNoCase(root.name) == 0 || name.compareNoCase(root.shortName) == 0) return root.key;
    }
    return nullptr;
}

}  // namespace

RegistryKey::RegistryKey(const String& path) {
    const unsigned int rootEnd = std::min(path.find("\\"), path.size());
    const HKEY root = findRoot(path.subString(0, rootEnd));
    if (root == nullptr) return;
    unsigned int begin = rootEnd;
    unsigned int end = path.size();
    while (begin < end && path[begin] == '\\') ++begin;
    while (end > begin && path[end - 1] == '\\') --end;
    m_code = RegOpenKeyExW(root, path.subString(begin, end - begin).getUCS2Buffer(), /*options=*/0, KEY_READ,
                           &m_key);
    m_opened = m_code == ERROR_SUCCESS && m_key != nullptr;
    if (m_code == ERROR_SUCCESS && !m_opened) m_code = ERROR_INVALID_HANDLE;
}

RegistryKey::~RegistryKey() {
    if (!m_opened) return;
    const LastErrorKeeper keeper;
    RegCloseKey(m_key);
}

RegistryValue readRegistryType(const String& keyPath, const String& valueName) {
    const RegistryKey key(keyPath);
    RegistryValue value;
    value.code = key.getCode();
    if (value.code != ERROR_SUCCESS) return value;
    DWORD size = 0;
    value.code = RegQueryValueExW(key.get(), valueName.getUCS2Buffer(), /*reserved=*/nullptr, &value.type,
                                  /*data=*/nullptr, &size);
    return value;
}

RegistryValue readRegistryValue(const String& keyPath, const String& valueName) {
    const RegistryKey key(keyPath);
    RegistryValue value;
    value.code = key.getCode();
    if (value.code != ERROR_SUCCESS) return value;
    DWORD size = 0;
    value.code = RegQueryValueExW(key.get(), valueName.getUCS2Buffer(), nullptr, &value.type, nullptr, &size);
    if (value.code != ERROR_SUCCESS) return value;
    const auto query = [&](unsigned char* data, Uint32& bytes) {
        DWORD room = bytes;
        const LSTATUS code =
            RegQueryValueExW(key.get(), valueName.getUCS2Buffer(), nullptr, &value.type, data, &room);
        bytes = room;
        return static_cast<Uint32>(code);
    };
    value.code =
        static_cast<LSTATUS>(readGrowing(value.bytes, size, ERROR_MORE_DATA, ERROR_NOT_ENOUGH_MEMORY, query));
    return value;
}

}  // namespace zor
