// The registry. Sizes are bytes. Only keys of this PC are opened; the predefined roots need no opening and
// are never closed.
#include "simulation/api/RegistryAccess.h"
#include "simulation/control/Call.h"
#include "simulation/control/HandleTable.h"
#include "simulation/machine/Machine.h"

namespace simulation {

namespace {

// A key is found anew at each use: a machine may change while it is open.
struct OpenKey {
    Text root;
    Text path;

    // A root is there without anyone's making it.
    const RegistryKey* find() const {
        static const RegistryKey nothing;
        const auto found = machine().registry.find(root);
        return found == machine().registry.end() ? nothing.find(path) : found->second.find(path);
    }
};

HandleTable<OpenKey>& openKeys() {
    static HandleTable<OpenKey> theKeys(Resource::RegistryKey);
    static const AtReset atReset([] { theKeys.clear(); });
    return theKeys;
}

const char16_t* predefinedRoot(HKEY key) {
    if (key == HKEY_CLASSES_ROOT) return u"HKEY_CLASSES_ROOT";
    if (key == HKEY_CURRENT_USER) return u"HKEY_CURRENT_USER";
    if (key == HKEY_LOCAL_MACHINE) return u"HKEY_LOCAL_MACHINE";
    if (key == HKEY_USERS) return u"HKEY_USERS";
    if (key == HKEY_CURRENT_CONFIG) return u"HKEY_CURRENT_CONFIG";
    return nullptr;
}

// The key that a handle stands for; no root when it stands for none.
OpenKey keyOf(const Call& call, HKEY key) {
    if (const char16_t* root = predefinedRoot(key)) return {root, {}};
    const OpenKey* const open = openKeys().find(key, call.name());
    return open == nullptr ? OpenKey{} : *open;
}

}  // namespace

HKEY openKey(const Text& root, const Text& path, const char* function) {
    const OpenKey key{root, path};
    if (key.find() == nullptr) return nullptr;
    return static_cast<HKEY>(openKeys().add(std::make_unique<OpenKey>(key), function));
}

}  // namespace simulation

using namespace simulation;

SIMULATED(LSTATUS, WINAPI, RegOpenKeyExW,
          (HKEY parent, LPCWSTR name, DWORD options, REGSAM access, PHKEY result)) {
    static const Function function{
        "RegOpenKeyExW",
        Fails::WithCode,
        {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_KEY_DELETED, ERROR_NOT_ENOUGH_MEMORY},
        Distortion::NothingWritten | Distortion::NullResult};
    Call call(function, parent, name, access);
    if (const auto fault = call.fault<LSTATUS>()) return *fault;
    OpenKey key = keyOf(call, parent);
    if (key.root.empty()) return call.returns<LSTATUS>(ERROR_INVALID_HANDLE);
    if (result == nullptr || (options & ~static_cast<DWORD>(REG_OPTION_OPEN_LINK)) != 0) {
        return call.returns<LSTATUS>(ERROR_INVALID_PARAMETER);
    }
    const Text subKey = fromWide(name);
    if (!subKey.empty() && subKey.front() == u'\\') return call.returns<LSTATUS>(ERROR_BAD_PATHNAME);
    if (!subKey.empty()) key.path += u"\\" + subKey;
    if (!call.distorted(Distortion::NothingWritten)) *result = nullptr;
    const RegistryKey* const found = key.find();
    if (found == nullptr) return call.returns<LSTATUS>(ERROR_FILE_NOT_FOUND);
    if (found->denied) return call.returns<LSTATUS>(ERROR_ACCESS_DENIED);
    if (call.distorted(Distortion::NothingWritten)) return call.returns<LSTATUS>(ERROR_SUCCESS);
    if (call.distorted(Distortion::NullResult)) {
        *result = nullptr;
        return call.returns<LSTATUS>(ERROR_SUCCESS);
    }
    // A predefined root is its own handle.
    *result = subKey.empty() && predefinedRoot(parent) != nullptr
                  ? parent
                  : static_cast<HKEY>(openKeys().add(std::make_unique<OpenKey>(key), call.name()));
    return call.returns<LSTATUS>(ERROR_SUCCESS);
}

SIMULATED(LSTATUS, WINAPI, RegQueryValueExW,
          (HKEY handle, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size)) {
    static const Function function{
        "RegQueryValueExW",
        Fails::WithCode,
        {ERROR_FILE_NOT_FOUND, ERROR_MORE_DATA, ERROR_ACCESS_DENIED, ERROR_KEY_DELETED},
        Distortion::NothingWritten | Distortion::SizeTooLarge | Distortion::SizeZero | Distortion::OddSize |
            Distortion::NoTerminator};
    const DWORD capacity = size == nullptr ? 0 : *size;
    Call call(function, handle, name, capacity);
    if (const auto fault = call.fault<LSTATUS>()) return *fault;
    const OpenKey key = keyOf(call, handle);
    if (key.root.empty()) return call.returns<LSTATUS>(ERROR_INVALID_HANDLE);
    if (reserved != nullptr || (data != nullptr && size == nullptr)) {
        return call.returns<LSTATUS>(ERROR_INVALID_PARAMETER);
    }
    const RegistryKey* const found = key.find();
    if (found == nullptr) return call.returns<LSTATUS>(ERROR_KEY_DELETED);
    // A null name is the key's default value, like the empty one.
    const auto value = found->values.find(fromWide(name));
    if (value == found->values.end()) {
        if (size != nullptr && data == nullptr) *size = 0;
        return call.returns<LSTATUS>(ERROR_FILE_NOT_FOUND);
    }
    if (call.distorted(Distortion::NothingWritten)) return call.returns<LSTATUS>(ERROR_SUCCESS);
    if (type != nullptr) *type = value->second.type;
    if (size == nullptr) return call.returns<LSTATUS>(ERROR_SUCCESS);
    const Bytes& bytes = value->second.bytes;
    const bool copied = copyOut(call, bytes.data(), bytes.size(), data, capacity, size);
    // Without a buffer it is a question about the size, and no error.
    return call.returns<LSTATUS>(copied || data == nullptr ? ERROR_SUCCESS : ERROR_MORE_DATA);
}

SIMULATED(LSTATUS, WINAPI, RegCloseKey, (HKEY handle)) {
    static const Function function{"RegCloseKey", Fails::WithCode, {ERROR_INVALID_HANDLE}};
    Call call(function, handle);
    // A key whose closing is made to fail is gone all the same: nobody closes twice.
    const bool closed = predefinedRoot(handle) != nullptr || openKeys().close(handle, call.name());
    if (const auto fault = call.fault<LSTATUS>()) return *fault;
    return call.returns<LSTATUS>(closed ? ERROR_SUCCESS : ERROR_INVALID_HANDLE);
}
