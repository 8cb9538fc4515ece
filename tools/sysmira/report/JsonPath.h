// A place in a JSON document that may lack anything.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace sysmira {

/// A value, or the lack of one, and its JSON Pointer (RFC 6901) from where the walk began. The document must
/// outlive it.
class JsonPath {
public:
    using Json = nlohmann::ordered_json;

    explicit JsonPath(const Json& root) : m_value(&root) {}

    JsonPath operator[](const std::string& key) const {
        const bool has = m_value != nullptr && m_value->is_object() && m_value->contains(key);
        return {has ? &(*m_value)[key] : nullptr, m_pointer + "/" + escaped(key)};
    }
    JsonPath operator[](const char* key) const { return (*this)[std::string(key)]; }
    JsonPath operator[](std::size_t index) const {
        const bool has = m_value != nullptr && m_value->is_array() && index < m_value->size();
        return {has ? &(*m_value)[index] : nullptr, m_pointer + "/" + std::to_string(index)};
    }

    /// Of an array; none of anything else.
    std::vector<JsonPath> items() const {
        std::vector<JsonPath> list;
        for (std::size_t i = 0; m_value != nullptr && m_value->is_array() && i < m_value->size(); ++i)
            list.push_back((*this)[i]);
        return list;
    }

    bool exists() const { return m_value != nullptr; }
    bool isNull() const { return m_value == nullptr || m_value->is_null(); }
    bool isTrue() const { return m_value != nullptr && *m_value == true; }
    bool isText() const { return m_value != nullptr && m_value->is_string(); }
    bool isNumber() const { return m_value != nullptr && m_value->is_number(); }

    /// Empty when it is no text.
    std::string toText() const { return isText() ? m_value->get<std::string>() : std::string(); }
    /// 0 when it is no number.
    template <class Number>
    Number toNumber() const {
        return isNumber() ? m_value->get<Number>() : Number();
    }

    /// Null when there is none.
    const Json* value() const { return m_value; }
    const std::string& pointer() const { return m_pointer; }

private:
    JsonPath(const Json* value, std::string pointer) : m_value(value), m_pointer(std::move(pointer)) {}

    static std::string escaped(const std::string& key) {
        std::string text;
        for (const char each : key) text += each == '~' ? "~0" : each == '/' ? "~1" : std::string(1, each);
        return text;
    }

    const Json* m_value;
    std::string m_pointer;
};

}  // namespace sysmira
