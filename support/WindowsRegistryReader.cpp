#include "support/WindowsRegistryReader.h"

#include "support/MultiString.h"
#include "support/RegistryValue.h"
#include "support/System.h"

namespace zor {

namespace {

bool hasType(const String& key, const String& value, DWORD type) noexcept {
    try {
        const RegistryValue found = readRegistryType(key, value);
        return found.code == ERROR_SUCCESS && found.type == type;
    } catch (const std::exception&) {
        return false;  // no memory for the key's name
    }
}

String readText(const String& key, const String& value, DWORD type) {
    const RegistryValue found = readRegistryValue(key, value);
    if (found.code != ERROR_SUCCESS || found.type != type) return String();
    return textFromBytes(found.bytes.data(), found.bytes.size());
}

}  // namespace

bool WindowsRegistryReader::keyExists(const String& key) const noexcept {
    try {
        return RegistryKey(key).getCode() == ERROR_SUCCESS;
    } catch (const std::exception&) {
        return false;
    }
}

bool WindowsRegistryReader::stringValueExists(const String& key, const String& value) const noexcept {
    return hasType(key, value, REG_SZ);
}

String WindowsRegistryReader::getStringValue(const String& key, const String& value) const {
    return readText(key, value, REG_SZ);
}

bool WindowsRegistryReader::toExpandStringValueExists(const String& key, const String& value) const noexcept {
    return hasType(key, value, REG_EXPAND_SZ);
}

String WindowsRegistryReader::getExpandedStringValue(const String& key, const String& value) const {
    const String text = readText(key, value, REG_EXPAND_SZ);
    return text.empty() ? text : System::expandEnvironment(text);
}

}  // namespace zor
