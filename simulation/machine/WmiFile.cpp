#include "simulation/machine/WmiFile.h"

#include <algorithm>
#include <cctype>
#include <cfloat>
#include <cmath>

namespace simulation {

namespace {

struct CimTypeName {
    const char* name;
    CIMTYPE type;
    long long least;
    unsigned long long greatest;
};
constexpr CimTypeName Types[] = {
    {"boolean", CIM_BOOLEAN, 0, 0},
    {"uint8", CIM_UINT8, 0, 0xFF},
    {"sint8", CIM_SINT8, -0x80, 0x7F},
    {"uint16", CIM_UINT16, 0, 0xFFFF},
    {"sint16", CIM_SINT16, -0x8000, 0x7FFF},
    {"char16", CIM_CHAR16, 0, 0xFFFF},
    {"uint32", CIM_UINT32, 0, 0xFFFFFFFF},
    {"sint32", CIM_SINT32, -0x80000000ll, 0x7FFFFFFF},
    {"uint64", CIM_UINT64, 0, 0xFFFFFFFFFFFFFFFF},
    {"sint64", CIM_SINT64, -0x7FFFFFFFFFFFFFFFll - 1, 0x7FFFFFFFFFFFFFFF},
    {"real32", CIM_REAL32, 0, 0},
    {"real64", CIM_REAL64, 0, 0},
    {"string", CIM_STRING, 0, 0},
    {"datetime", CIM_DATETIME, 0, 0},
    {"ref", CIM_REFERENCE, 0, 0},
    {"object", CIM_OBJECT, 0, 0},
};

const CimTypeName* findType(std::string_view name) {
    const auto* const found = std::find_if(std::begin(Types), std::end(Types),
                                           [&](const CimTypeName& each) { return name == each.name; });
    return found != std::end(Types) ? found : nullptr;
}

const CimTypeName& typeOf(CIMTYPE type) {
    return *std::find_if(std::begin(Types), std::end(Types),
                         [&](const CimTypeName& each) { return each.type == (type & ~CIM_FLAG_ARRAY); });
}

bool isName(const std::string& text) {
    return !text.empty() && std::isdigit(static_cast<unsigned char>(text[0])) == 0 &&
           std::all_of(text.begin(), text.end(),
                       [](unsigned char each) { return std::isalnum(each) || each == '_'; });
}

Text readName(const JsonPlace& place) {
    if (!isName(place.utf8("a name"))) place.fail("a name of letters, digits and _");
    return place.text();
}

// "[key] uint8 Data[]", as MOF writes it.
WmiProperty parseDeclaration(const JsonPlace& place) {
    constexpr const char* Expected = "a declaration such as \"[key] string Id\" or \"uint8 Data[]\"";
    std::string text = place.utf8(Expected);
    WmiProperty property;
    const auto takeFront = [&](std::string_view front) {
        if (text.compare(0, front.size(), front) != 0) return false;
        text.erase(0, front.size());
        return true;
    };
    property.key = takeFront("[key] ");
    const size_t blank = text.find(' ');
    const CimTypeName* const type = findType(text.substr(0, blank));
    if (type == nullptr || blank == std::string::npos) place.fail(Expected);
    property.type = type->type;
    text.erase(0, blank + 1);
    if (text.size() > 2 && text.compare(text.size() - 2, 2, "[]") == 0) {
        property.type |= CIM_FLAG_ARRAY;
        text.resize(text.size() - 2);
    }
    if (!isName(text) || (property.key && (property.type & CIM_FLAG_ARRAY) != 0)) place.fail(Expected);
    property.name = fromUtf8(text);
    return property;
}

class WmiReader {
public:
    explicit WmiReader(WmiNamespaceModel& model) : m_model(model) {}

    void read(const JsonPlace& place) {
        place.allowOnly(
            {"classes", "instances", "events", "connectResult", "queryResult", "millisecondsPerRow"});
        if (const auto result = place.member("connectResult")) m_model.connectResult = readResult(*result);
        if (const auto result = place.member("queryResult")) m_model.queryResult = readResult(*result);
        if (const auto time = place.member("millisecondsPerRow"))
            m_model.millisecondsPerRow = readTime(*time);
        if (const auto classes = place.member("classes")) {
            // All names first: values of one class may be objects of another.
            classes->forEachElement("a list of classes", [&](const JsonPlace& each) { readClass(each); });
            classes->forEachElement("a list of classes", [&](const JsonPlace& each) { readMethods(each); });
        }
        if (const auto instances = place.member("instances")) {
            instances->forEachElement("a list of instances",
                                      [&](const JsonPlace& each) { m_model.add(readInstance(each)); });
        }
        if (const auto events = place.member("events")) {
            events->forEachElement("a list of events",
                                   [&](const JsonPlace& each) { m_model.add(readEvent(each)); });
        }
    }

private:
    void readClass(const JsonPlace& place) {
        place.allowOnly({"name", "superclass", "properties", "methods"});
        const JsonPlace name = place.required("name", "the name of the class");
        WmiClass wmiClass;
        wmiClass.name = readName(name);
        if (m_model.findClass(wmiClass.name) != nullptr) name.fail("a name that no class above has");
        if (const auto superclass = place.member("superclass")) {
            wmiClass.superclass = readName(*superclass);
            if (m_model.findClass(wmiClass.superclass) == nullptr)
                superclass->fail("the name of a class above");
        }
        if (const auto properties = place.member("properties")) {
            readDeclarations(*properties, wmiClass.properties);
        }
        m_model.add(std::move(wmiClass));
    }

    void readDeclarations(const JsonPlace& place, std::vector<WmiProperty>& properties) {
        place.forEachElement("a list of declarations", [&](const JsonPlace& each) {
            if (each.isObject()) each.allowOnly({"declare", "value"});
            const JsonPlace declared = each.isObject() ? each.required("declare", "a declaration") : each;
            WmiProperty property = parseDeclaration(declared);
            if (find(properties, property.name) != nullptr)
                declared.fail("a name that is not declared above");
            const auto initial = each.isObject() ? each.member("value") : std::nullopt;
            if (initial) property.initial = readValue(*initial, property.type);
            properties.push_back(std::move(property));
        });
    }

    void readMethods(const JsonPlace& place) {
        const auto methods = place.member("methods");
        if (!methods) return;
        WmiClass& wmiClass =
            m_model.classes.find(place.required("name", "the name of the class").text())->second;
        methods->forEachElement("a list of methods", [&](const JsonPlace& each) {
            each.allowOnly({"name", "static", "in", "out", "result", "milliseconds", "returns", "cases"});
            WmiMethod method;
            const JsonPlace name = each.required("name", "the name of the method");
            method.name = readName(name);
            for (const WmiMethod& other : wmiClass.methods) {
                if (equalNoCase(other.name, method.name)) name.fail("a name that no method above has");
            }
            if (const auto isStatic = each.member("static")) method.isStatic = isStatic->truth();
            if (const auto in = each.member("in")) readDeclarations(*in, method.in);
            if (const auto out = each.member("out")) readDeclarations(*out, method.out);
            method.outcome = readOutcome(each, method);
            wmiClass.methods.push_back(std::move(method));
        });
    }

    // The members of an outcome, among others of the method's.
    WmiOutcome readOutcome(const JsonPlace& place, const WmiMethod& method) {
        WmiOutcome outcome;
        if (const auto result = place.member("result")) outcome.result = readResult(*result);
        if (const auto time = place.member("milliseconds")) outcome.milliseconds = readTime(*time);
        if (const auto out = place.member("returns"))
            outcome.out = readValues(*out, method.out, "a parameter");
        if (const auto when = place.member("when"))
            outcome.when = readValues(*when, method.in, "a parameter");
        if (const auto cases = place.member("cases")) {
            cases->forEachElement("a list of outcomes", [&](const JsonPlace& each) {
                each.allowOnly({"when", "result", "milliseconds", "returns"});
                each.required("when", "the in-parameters of the case");
                outcome.cases.push_back(readOutcome(each, method));
            });
        }
        return outcome;
    }

    WmiInstance readInstance(const JsonPlace& place) {
        place.allowOnly({"class", "values", "methods"});
        const JsonPlace name = place.required("class", "the name of the instance's class");
        const WmiClass* const wmiClass = m_model.findClass(readName(name));
        if (wmiClass == nullptr) name.fail("the name of one of the namespace's classes");
        WmiInstance instance;
        instance.className = wmiClass->name;
        if (const auto values = place.member("values")) {
            instance.values = readValues(*values, m_model.allProperties(*wmiClass), "a property");
        }
        if (const auto methods = place.member("methods")) {
            methods->forEachMember(
                "an object of outcomes", [&](const std::string& method, const JsonPlace& each) {
                    const WmiMethod* const found = m_model.findMethod(*wmiClass, fromUtf8(method));
                    if (found == nullptr)
                        each.complain("found no such method of the class, expected one of it");
                    each.allowOnly({"result", "milliseconds", "returns", "cases"});
                    instance.outcomes[found->name] = readOutcome(each, *found);
                });
        }
        return instance;
    }

    WmiEvent readEvent(const JsonPlace& place) {
        place.allowOnly({"at", "created", "deleted", "modified", "before", "event"});
        const unsigned long long at = readTime(place.required("at", "the event's time"));
        const auto created = place.member("created");
        const auto deleted = place.member("deleted");
        const auto modified = place.member("modified");
        const auto other = place.member("event");
        const int given = int{created.has_value()} + int{deleted.has_value()} + int{modified.has_value()} +
                          int{other.has_value()};
        if (given != 1) place.fail("one of \"created\", \"deleted\", \"modified\" and \"event\"");
        if (created) return WmiEvent::created(at, readInstance(*created));
        if (deleted) return WmiEvent::deleted(at, readInstance(*deleted));
        if (modified) {
            WmiInstance before = readInstance(place.required("before", "the instance as it was"));
            return WmiEvent::modified(at, std::move(before), readInstance(*modified));
        }
        return {at, readInstance(*other)};
    }

    WmiValues readValues(const JsonPlace& place, const std::vector<WmiProperty>& known, const char* what) {
        WmiValues values;
        place.forEachMember("an object of values", [&](const std::string& name, const JsonPlace& each) {
            const WmiProperty* const property = find(known, fromUtf8(name));
            if (property == nullptr)
                each.complain("found a value for what is not declared, expected that of " +
                              std::string(what));
            values[property->name] = readValue(each, property->type);
        });
        return values;
    }

    WmiValue readValue(const JsonPlace& place, CIMTYPE type) {
        if (place.json().is_null()) return {};
        if ((type & CIM_FLAG_ARRAY) == 0) return readItem(place, type);
        if (type == (CIM_UINT8 | CIM_FLAG_ARRAY) && place.isString()) return WmiValue::bytes(place.hex());
        std::vector<WmiValue> items;
        place.forEachElement(std::string("a list of ") + typeOf(type).name + " values",
                             [&](const JsonPlace& each) { items.push_back(readItem(each, type)); });
        return WmiValue::array(items);
    }

    WmiValue readItem(const JsonPlace& place, CIMTYPE type) {
        const CimTypeName& known = typeOf(type);
        const nlohmann::json& json = place.json();
        switch (known.type) {
            case CIM_BOOLEAN:
                return place.truth();
            case CIM_REAL32:
            case CIM_REAL64: {
                const bool fits =
                    json.is_number() && (known.type == CIM_REAL64 || std::abs(json.get<double>()) <= FLT_MAX);
                if (!fits) place.fail("a number");
                return json.get<double>();
            }
            case CIM_STRING:
            case CIM_DATETIME:
            case CIM_REFERENCE:
                return place.text();
            case CIM_OBJECT:
                return readInstance(place);
            default:
                break;
        }
        // The parser keeps apart which integers are negative and which need 64 bits.
        const std::string expected = std::string("a ") + known.name + " number";
        if (json.is_number_unsigned()) {
            if (json.get<unsigned long long>() > known.greatest) place.fail(expected);
            return json.get<unsigned long long>();
        }
        if (!json.is_number_integer() || json.get<long long>() < known.least) place.fail(expected);
        return json.get<long long>();
    }

    static const WmiProperty* find(const std::vector<WmiProperty>& properties, const Text& name) {
        const auto found = std::find_if(properties.begin(), properties.end(), [&](const WmiProperty& each) {
            return equalNoCase(each.name, name);
        });
        return found != properties.end() ? &*found : nullptr;
    }

    static unsigned long long readTime(const JsonPlace& place) {
        return place.number(0, 0x7FFFFFFF, "simulated milliseconds");
    }

    // An HRESULT as it is usually written.
    static HRESULT readResult(const JsonPlace& place) {
        constexpr const char* Expected = "an HRESULT such as \"0x80041003\"";
        const std::string text = place.utf8(Expected);
        const bool fits = text.size() == 10 && text.compare(0, 2, "0x") == 0 &&
                          text.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string::npos;
        if (!fits) place.fail(Expected);
        return static_cast<HRESULT>(std::stoul(text.substr(2), nullptr, 16));
    }

    WmiNamespaceModel& m_model;
};

}  // namespace

void readWmi(const JsonPlace& place, WmiNamespaces& namespaces) {
    place.forEachMember("an object of namespaces", [&](const std::string& path, const JsonPlace& each) {
        if (findNamespace(namespaces, fromUtf8(path)) != nullptr) {
            each.complain("found a second description of the namespace, expected one");
        }
        WmiReader(namespaces[fromUtf8(path)]).read(each);
    });
}

}  // namespace simulation
