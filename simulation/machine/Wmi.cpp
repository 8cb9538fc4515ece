#include "simulation/machine/Wmi.h"

#include <algorithm>

namespace simulation {

namespace {

WmiItem numberItem(ULONGLONG bits, double real) {
    WmiItem item;
    item.number = bits;
    item.real = real;
    return item;
}

const std::map<Text, WmiClass, LessNoCase>& systemClasses() {
    static const auto classes = [] {
        std::map<Text, WmiClass, LessNoCase> all;
        const auto add = [&](const Text& name, const Text& superclass, std::vector<WmiProperty> properties) {
            all[name] = {name, superclass, std::move(properties), {}};
        };
        add(u"__SystemClass", u"", {});
        add(u"__IndicationRelated", u"__SystemClass", {});
        add(u"__Event", u"__IndicationRelated", {{u"TIME_CREATED", CIM_UINT64, {}, false}});
        add(u"__ExtrinsicEvent", u"__Event", {});
        add(u"__InstanceOperationEvent", u"__Event", {{u"TargetInstance", CIM_OBJECT, {}, false}});
        add(u"__InstanceCreationEvent", u"__InstanceOperationEvent", {});
        add(u"__InstanceDeletionEvent", u"__InstanceOperationEvent", {});
        add(u"__InstanceModificationEvent", u"__InstanceOperationEvent",
            {{u"PreviousInstance", CIM_OBJECT, {}, false}});
        return all;
    }();
    return classes;
}

WmiEvent eventOf(const char16_t* name, unsigned long long at, WmiInstance target) {
    return {at, {name, {{u"TargetInstance", WmiValue(std::move(target))}}, {}}};
}

}  // namespace

WmiValue::WmiValue(long long value)
    : null(false), items{numberItem(static_cast<ULONGLONG>(value), static_cast<double>(value))} {}
WmiValue::WmiValue(unsigned long long value)
    : null(false), items{numberItem(value, static_cast<double>(value))} {}
WmiValue::WmiValue(double value) : null(false), items(1) { items[0].real = value; }
WmiValue::WmiValue(Text value) : null(false), items(1) { items[0].text = std::move(value); }
WmiValue::WmiValue(WmiInstance value) : null(false), items(1) {
    items[0].object = std::make_shared<const WmiInstance>(std::move(value));
}

WmiValue WmiValue::array(const std::vector<WmiValue>& values) {
    WmiValue result;
    result.null = false;
    for (const WmiValue& value : values)
        result.items.push_back(value.items.empty() ? WmiItem() : value.items[0]);
    return result;
}

WmiValue WmiValue::bytes(const std::vector<unsigned char>& values) {
    WmiValue result;
    result.null = false;
    for (const unsigned char value : values) result.items.push_back(numberItem(value, value));
    return result;
}

WmiEvent WmiEvent::created(unsigned long long at, WmiInstance target) {
    return eventOf(u"__InstanceCreationEvent", at, std::move(target));
}
WmiEvent WmiEvent::deleted(unsigned long long at, WmiInstance target) {
    return eventOf(u"__InstanceDeletionEvent", at, std::move(target));
}
WmiEvent WmiEvent::modified(unsigned long long at, WmiInstance before, WmiInstance after) {
    WmiEvent event = eventOf(u"__InstanceModificationEvent", at, std::move(after));
    event.event.values[u"PreviousInstance"] = WmiValue(std::move(before));
    return event;
}

WmiClass& WmiNamespaceModel::add(WmiClass wmiClass) {
    WmiClass& kept = classes[wmiClass.name];
    kept = std::move(wmiClass);
    return kept;
}

WmiInstance& WmiNamespaceModel::add(WmiInstance instance) {
    instances.push_back(std::move(instance));
    return instances.back();
}

const WmiClass* WmiNamespaceModel::findClass(std::u16string_view name) const {
    if (const auto found = classes.find(name); found != classes.end()) return &found->second;
    const auto found = systemClasses().find(name);
    return found != systemClasses().end() ? &found->second : nullptr;
}

std::vector<const WmiClass*> WmiNamespaceModel::ancestry(const WmiClass& wmiClass) const {
    std::vector<const WmiClass*> chain;
    const WmiClass* next = wmiClass.superclass.empty() ? nullptr : findClass(wmiClass.superclass);
    while (next != nullptr && next != &wmiClass &&
           std::find(chain.begin(), chain.end(), next) == chain.end()) {
        chain.push_back(next);
        next = next->superclass.empty() ? nullptr : findClass(next->superclass);
    }
    return chain;
}

bool WmiNamespaceModel::isA(std::u16string_view name, std::u16string_view ancestor) const {
    if (equalNoCase(name, ancestor)) return true;
    const WmiClass* const start = findClass(name);
    if (start == nullptr) return false;
    const auto chain = ancestry(*start);
    return std::any_of(chain.begin(), chain.end(),
                       [&](const WmiClass* each) { return equalNoCase(each->name, ancestor); });
}

std::vector<WmiProperty> WmiNamespaceModel::allProperties(const WmiClass& wmiClass) const {
    auto chain = ancestry(wmiClass);
    chain.insert(chain.begin(), &wmiClass);
    std::vector<WmiProperty> all;
    for (auto each = chain.rbegin(); each != chain.rend(); ++each) {
        for (const WmiProperty& property : (*each)->properties) {
            const auto known = std::find_if(all.begin(), all.end(), [&](const WmiProperty& other) {
                return equalNoCase(other.name, property.name);
            });
            if (known == all.end()) {
                all.push_back(property);
            } else {
                *known = property;
            }
        }
    }
    return all;
}

const WmiMethod* WmiNamespaceModel::findMethod(const WmiClass& wmiClass, std::u16string_view name) const {
    auto chain = ancestry(wmiClass);
    chain.insert(chain.begin(), &wmiClass);
    for (const WmiClass* const each : chain) {
        for (const WmiMethod& method : each->methods) {
            if (equalNoCase(method.name, name)) return &method;
        }
    }
    return nullptr;
}

Text normalNamespace(std::u16string_view path) {
    Text text(path);
    std::replace(text.begin(), text.end(), u'/', u'\\');
    if (text.compare(0, 2, u"\\\\") == 0) {
        const size_t end = text.find(u'\\', 2);
        text.erase(0, end == Text::npos ? text.size() : end + 1);
    }
    return text;
}

const WmiNamespaceModel* findNamespace(const WmiNamespaces& namespaces, std::u16string_view path) {
    const Text name = normalNamespace(path);
    if (const auto found = namespaces.find(name); found != namespaces.end()) return &found->second;
    for (const auto& [key, model] : namespaces) {
        if (equalNoCase(normalNamespace(key), name)) return &model;
    }
    return nullptr;
}

}  // namespace simulation
