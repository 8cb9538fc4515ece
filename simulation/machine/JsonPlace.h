// A value in a machine file with its place, so that every mistake can be told with where it stands, what was
// found and what was expected.
#pragma once

#include <initializer_list>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "simulation/control/Text.h"
#include "simulation/machine/Machine.h"

namespace simulation {

class JsonPlace {
public:
    JsonPlace(const nlohmann::json& value, std::string source, std::string path)
        : m_value(value), m_source(std::move(source)), m_path(std::move(path)) {}

    /// Throws MachineFileError: "machine.json: devices[0].problem: found "abc", expected a problem number".
    [[noreturn]] void fail(const std::string& expected) const;
    /// The same in words of one's own, behind the place.
    [[noreturn]] void complain(const std::string& sentence) const;

    const nlohmann::json& json() const { return m_value; }
    bool isString() const { return m_value.is_string(); }
    bool isObject() const { return m_value.is_object(); }
    bool isArray() const { return m_value.is_array(); }

    /// Fails unless this is an object with none but these members; names the one that was probably meant.
    void allowOnly(std::initializer_list<const char*> names) const;
    /// A member of an object, if it is there.
    std::optional<JsonPlace> member(const char* name) const;
    JsonPlace required(const char* name, const std::string& what) const;
    /// Calls visit(place) for each element; fails when this is no array.
    template <class Visit>
    void forEachElement(const std::string& expected, Visit&& visit) const {
        if (!m_value.is_array()) fail(expected);
        size_t index = 0;
        for (const nlohmann::json& element : m_value) {
            visit(JsonPlace(element, m_source, m_path + "[" + std::to_string(index++) + "]"));
        }
    }
    /// Calls visit(name, place) for each member; fails when this is no object.
    template <class Visit>
    void forEachMember(const std::string& expected, Visit&& visit) const {
        if (!m_value.is_object()) fail(expected);
        for (const auto& [name, value] : m_value.items())
            visit(name, JsonPlace(value, m_source, placeOf(name)));
    }

    /// A text without NUL, which ends every text of Windows.
    std::string utf8(const std::string& expected = "a text") const;
    Text text(const std::string& expected = "a text") const { return fromUtf8(utf8(expected)); }
    std::vector<Text> texts() const;
    bool truth() const;
    unsigned long long number(unsigned long long least, unsigned long long greatest,
                              const std::string& what) const;

    /// "2006-06-21", or with " 14:03:09" behind it: FILETIME ticks, UTC.
    ULONGLONG date() const;
    /// "10.0.19041.1": four 16-bit parts.
    ULONGLONG version() const;
    /// "00 5a ff".
    Bytes hex() const;
    /// A typed value: a text, a number, a list of texts, or {"type": …, "text"/"texts"/"number"/"hex": …}.
    RegistryValue registryValue() const;

    /// "devices[0].id" for the member "id" of "devices[0]"; names that are no plain words in ["…"].
    static std::string memberPath(const std::string& path, const std::string& name);

private:
    std::string placeOf(const std::string& name) const { return memberPath(m_path, name); }

    const nlohmann::json& m_value;
    std::string m_source;
    std::string m_path;
};

}  // namespace simulation
