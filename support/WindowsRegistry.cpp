#include "support/WindowsRegistry.h"

#include "support/MultiString.h"
#include "support/RegistryValue.h"
#include "support/SprintfFormat.h"
#include "support/System.h"
#include "support/WindowsRegistryReader.h"

namespace zor {

bool WindowsRegistry::keyExists(const String& key) noexcept { return WindowsRegistryReader().keyExists(key); }

bool WindowsRegistry::multiStringValueExists(const String& key, const String& value) noexcept {
    try {
        const RegistryValue found = readRegistryType(key, value);
        return found.code == ERROR_SUCCESS && found.type == REG_MULTI_SZ;
    } catch (const std::exception&) {
        return false;  // no memory for the key's name
    }
}

Array<String> WindowsRegistry::getMultiStringValue(const String& key, const String& value,
                                                   bool expandReferences) {
    const RegistryValue found = readRegistryValue(key, value);
    const auto code = static_cast<Uint32>(found.code);
    if (found.code != ERROR_SUCCESS) {
        throw WindowsRegistryException(
            SprintfFormat("registry value \"%ws\" of \"%ws\" cannot be read: %ws", value, key,
                          System::getSystemErrorMsg(code, /*withCode=*/true)),
            code);
    }
    if (found.type != REG_MULTI_SZ) {
        throw WindowsRegistryException(
            SprintfFormat("registry value \"%ws\" of \"%ws\" has type %u, expected %u (REG_MULTI_SZ)", value,
                          key, found.type, REG_MULTI_SZ),
            ERROR_INVALID_DATATYPE);
    }
    Array<String> texts;
    splitMultiString(found.bytes.data(), found.bytes.size(), texts);
    if (expandReferences) {
        for (String& text : texts) text = System::expandEnvironment(text);
    }
    return texts;
}

}  // namespace zor
