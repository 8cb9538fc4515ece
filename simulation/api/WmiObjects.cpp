// WMI objects as data: of classes, instances, parameters; their paths and the texts of their values.
#include "simulation/api/WmiObjects.h"

#include <algorithm>
#include <cstdio>

#include "simulation/machine/Machine.h"

namespace simulation {

namespace {

Text serverName() { return machine().name; }

std::vector<Text> namesOf(const std::vector<const WmiClass*>& classes) {
    std::vector<Text> names;
    for (const WmiClass* const each : classes) names.push_back(each->name);
    return names;
}

Text quoted(const Text& text) {
    Text result = u"\"";
    for (const char16_t unit : text) {
        if (unit == u'"' || unit == u'\\') result += u'\\';
        result += unit;
    }
    return result + u"\"";
}

bool isReadAsText(CIMTYPE type) {
    return type == CIM_STRING || type == CIM_DATETIME || type == CIM_REFERENCE;
}

// Reads "name=value" pairs and their separators.
class KeyReader {
public:
    explicit KeyReader(std::u16string_view text) : m_text(text) {}

    bool atEnd() const { return m_text.empty(); }
    bool take(char16_t unit) {
        if (m_text.empty() || m_text[0] != unit) return false;
        m_text.remove_prefix(1);
        return true;
    }
    bool name(Text& name) {
        const size_t end = m_text.find(u'=');
        if (end == 0 || end == Text::npos) return false;
        name = m_text.substr(0, end);
        m_text.remove_prefix(end);
        return name.find_first_of(u"\",\\") == Text::npos;
    }
    bool value(Text& value) {
        // WMI takes keys in single quotes as well, as queries write them.
        const char16_t quote = !m_text.empty() && m_text[0] == u'\'' ? u'\'' : u'"';
        if (!take(quote)) {
            const size_t end = std::min(m_text.find(u','), m_text.size());
            value = m_text.substr(0, end);
            m_text.remove_prefix(end);
            return !value.empty() && value.find(u'"') == Text::npos;
        }
        while (!m_text.empty()) {
            if (take(quote)) return true;
            take(u'\\');
            if (m_text.empty()) return false;
            value += m_text[0];
            m_text.remove_prefix(1);
        }
        return false;
    }

private:
    std::u16string_view m_text;
};

}  // namespace

WmiObjectData::Property* WmiObjectData::find(std::u16string_view name) {
    for (Property& property : properties) {
        if (equalNoCase(property.name, name)) return &property;
    }
    return nullptr;
}

const WmiNamespaceModel* wmiNamespace(const Text& nameSpace) {
    if (const auto* const found = findNamespace(machine().wmi, nameSpace)) return found;
    // Those above one that is there are there too, and have nothing but the system's classes.
    static const WmiNamespaceModel parent;
    const Text above = normalNamespace(nameSpace) + u"\\";
    const auto isChild = [&](const auto& each) {
        const Text child = normalNamespace(each.first);
        return above.size() > 1 && equalNoCase(child.substr(0, above.size()), above);
    };
    const auto& all = machine().wmi;
    return std::any_of(all.begin(), all.end(), isChild) ? &parent : nullptr;
}

WmiObjectData dataOfClass(const Text& nameSpace, const WmiNamespaceModel& model, const WmiClass& wmiClass) {
    WmiObjectData data;
    data.server = serverName();
    data.nameSpace = nameSpace;
    data.className = wmiClass.name;
    data.ancestors = namesOf(model.ancestry(wmiClass));
    data.isClass = true;
    data.path = wmiClass.name;
    for (WmiProperty& property : model.allProperties(wmiClass)) {
        data.properties.push_back(
            {std::move(property.name), property.type, std::move(property.initial), property.key});
    }
    data.methods = wmiClass.methods;
    for (const WmiClass* const each : model.ancestry(wmiClass)) {
        for (const WmiMethod& method : each->methods) {
            if (model.findMethod(wmiClass, method.name) == &method) data.methods.push_back(method);
        }
    }
    return data;
}

WmiObjectData dataOfInstance(const Text& nameSpace, const WmiNamespaceModel& model,
                             const WmiInstance& instance) {
    const WmiClass* const wmiClass = model.findClass(instance.className);
    WmiObjectData data;
    if (wmiClass != nullptr) {
        data = dataOfClass(nameSpace, model, *wmiClass);
    } else {
        data.nameSpace = nameSpace;
        data.className = instance.className;
        data.server = serverName();
    }
    data.isClass = false;
    data.methods.clear();
    for (const auto& [name, value] : instance.values) {
        if (auto* const property = data.find(name)) {
            property->value = value;
        } else if (wmiClass == nullptr) {
            data.properties.push_back({name, CIM_STRING, value, false});
        }
    }
    data.path = relativePath(data.className, data.properties);
    return data;
}

WmiObjectData dataOfParameters(const Text& nameSpace, const std::vector<WmiProperty>& parameters,
                               const WmiValues& values, bool isClass) {
    WmiObjectData data;
    data.nameSpace = nameSpace;
    data.className = u"__PARAMETERS";
    data.isClass = isClass;
    for (const WmiProperty& parameter : parameters) {
        const auto found = values.find(parameter.name);
        data.properties.push_back({parameter.name, parameter.type,
                                   found != values.end() ? found->second : parameter.initial, false});
    }
    return data;
}

WmiObjectData dataOfEmbedded(const Text& nameSpace, const WmiInstance& instance) {
    const WmiNamespaceModel* const model = wmiNamespace(nameSpace);
    WmiObjectData data = dataOfInstance(nameSpace, model != nullptr ? *model : WmiNamespaceModel(), instance);
    // An embedded object without a key cannot be asked for, so it has no path; what comes from its class
    // alone would be the path of a singleton.
    const bool keyed = std::any_of(data.properties.begin(), data.properties.end(),
                                   [](const auto& property) { return property.key; });
    if (!keyed) data.path.reset();
    return data;
}

WmiInstance instanceOf(const WmiObjectData& data) {
    WmiInstance instance{data.className};
    for (const auto& property : data.properties) instance.values[property.name] = property.value;
    return instance;
}

std::optional<WmiPath> parseWmiPath(std::u16string_view text) {
    WmiPath path;
    const bool hasServer = text.substr(0, 2) == u"\\\\" || text.substr(0, 2) == u"//";
    // The class begins behind the colon of the namespace, if there is one before the keys.
    const size_t keysAt = std::min(text.find(u'.', hasServer ? text.find(u':') : 0), text.find(u'='));
    if (const size_t colon = text.find(u':'); colon != Text::npos && colon < keysAt) {
        Text space(text.substr(0, colon));
        std::replace(space.begin(), space.end(), u'/', u'\\');
        if (hasServer) {
            const size_t end = space.find(u'\\', 2);
            if (end == Text::npos || end == 2) return std::nullopt;
            path.server = space.substr(2, end - 2);
            space.erase(0, end + 1);
            if (path.server == u".") path.server.clear();
        }
        if (space.empty()) return std::nullopt;
        path.nameSpace = space;
        text.remove_prefix(colon + 1);
    } else if (hasServer) {
        return std::nullopt;
    }
    const size_t end = std::min(text.find_first_of(u".="), text.size());
    path.className = text.substr(0, end);
    if (path.className.empty() || path.className.find_first_of(u"\\/:\",' ") != Text::npos)
        return std::nullopt;
    if (end == text.size()) return path;
    path.isClass = false;
    KeyReader reader(text.substr(end));
    if (reader.take(u'=')) {
        Text value;
        if (!reader.value(value) || !reader.atEnd()) return std::nullopt;
        path.isSingleton = value == u"@";
        if (!path.isSingleton) path.keys.emplace_back(Text(), std::move(value));
        return path;
    }
    reader.take(u'.');
    do {
        auto& [name, value] = path.keys.emplace_back();
        if (!reader.name(name) || !reader.take(u'=') || !reader.value(value)) return std::nullopt;
    } while (reader.take(u','));
    if (!reader.atEnd()) return std::nullopt;
    return path;
}

std::optional<Text> relativePath(const Text& className,
                                 const std::vector<WmiObjectData::Property>& properties) {
    Text path = className;
    bool first = true;
    for (const auto& property : properties) {
        if (!property.key) continue;
        if (property.value.null || property.value.items.empty()) return std::nullopt;
        const Text value = plainText(property.type, property.value.items[0]);
        path += first ? u"." : u",";
        path += property.name + u"=" + (isReadAsText(property.type) ? quoted(value) : value);
        first = false;
    }
    return first ? path + u"=@" : path;
}

const WmiInstance* findInstance(const WmiNamespaceModel& model, const WmiPath& path) {
    for (const WmiInstance& instance : model.instances) {
        if (!model.isA(instance.className, path.className)) continue;
        const WmiObjectData data = dataOfInstance({}, model, instance);
        size_t keys = 0;
        const bool fits =
            std::all_of(data.properties.begin(), data.properties.end(), [&](const auto& property) {
                if (!property.key) return true;
                ++keys;
                return std::any_of(path.keys.begin(), path.keys.end(), [&](const auto& key) {
                    if (!key.first.empty() && !equalNoCase(key.first, property.name)) return false;
                    return !property.value.null && !property.value.items.empty() &&
                           equalNoCase(plainText(property.type, property.value.items[0]), key.second);
                });
            });
        if (fits && keys == path.keys.size()) return &instance;
    }
    return nullptr;
}

Text plainText(CIMTYPE type, const WmiItem& item) {
    char text[64];
    switch (type & ~CIM_FLAG_ARRAY) {
        case CIM_BOOLEAN:
            return item.number != 0 ? u"TRUE" : u"FALSE";
        case CIM_SINT8:
        case CIM_SINT16:
        case CIM_SINT32:
        case CIM_SINT64:
            std::snprintf(text, sizeof text, "%lld", static_cast<long long>(item.number));
            return fromUtf8(text);
        case CIM_UINT8:
        case CIM_UINT16:
        case CIM_UINT32:
        case CIM_UINT64:
        case CIM_CHAR16:
            std::snprintf(text, sizeof text, "%llu", item.number);
            return fromUtf8(text);
        case CIM_REAL32:
            std::snprintf(text, sizeof text, "%.9g", item.real);
            return fromUtf8(text);
        case CIM_REAL64:
            std::snprintf(text, sizeof text, "%.17g", item.real);
            return fromUtf8(text);
        default:
            return item.text;
    }
}

}  // namespace simulation
