#include "tools/sysmira/counters/CounterNames.h"

#include <algorithm>
#include <vector>

#include "libSysmira/perf/PerformanceCounterEnum.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

using libSysmira::PerformanceCounterEnum;
using Names = std::vector<std::string>;

namespace {

std::string inQuotes(const std::string& text) { return "\"" + text + "\""; }

Names toNames(const zor::Array<zor::String>& texts) {
    Names names;
    for (const zor::String& text : texts) names.push_back(toUtf8(text));
    return names;
}

bool holds(const Names& names, const std::string& name) {
    const zor::String wanted = zor::String::fromUTF8(name);
    return std::any_of(names.begin(), names.end(), [&](const std::string& each) {
        return zor::String::fromUTF8(each).compareNoCase(wanted) == 0;
    });
}

// "; did you mean "Processor"?", or where to look.
std::string guess(const std::string& wrong, const Names& candidates, const std::string& listCall) {
    const std::string closest = nearest(wrong, candidates);
    return closest.empty() ? "; \"" + listCall + "\" lists what there is"
                           : "; did you mean \"" + closest + "\"?";
}

Names objectNames() {
    zor::Array<zor::String> objects;
    PerformanceCounterEnum::enumObjects(objects, /*refresh=*/false);
    return toNames(objects);
}

}  // namespace

libSysmira::PerformanceCounterPath CounterName::toPath() const {
    return {zor::String::fromUTF8(object), zor::String::fromUTF8(instance), zor::String::fromUTF8(counter)};
}

std::string CounterName::toText() const {
    return object + (instance.empty() ? "" : "(" + instance + ")") + "\\" + counter;
}

std::optional<CounterName> parseCounterName(std::string_view text) {
    if (!text.empty() && text.front() == '\\') text.remove_prefix(1);
    CounterName name;
    const std::size_t bracket = text.find('(');
    const std::size_t instanceEnd = text.find(")\\", bracket);
    std::size_t counterBegin = text.find('\\');
    if (bracket < counterBegin && instanceEnd != std::string_view::npos) {
        name.object = text.substr(0, bracket);
        name.instance = text.substr(bracket + 1, instanceEnd - bracket - 1);
        counterBegin = instanceEnd + 2;
        if (name.instance.empty()) return std::nullopt;
    } else {
        if (counterBegin == std::string_view::npos) return std::nullopt;
        name.object = text.substr(0, counterBegin);
        ++counterBegin;
    }
    name.counter = text.substr(counterBegin);
    if (name.object.empty() || name.counter.empty()) return std::nullopt;
    return name;
}

std::string explainMissingObject(const std::string& object) {
    return "there is no performance object " + inQuotes(object) +
           guess(object, objectNames(), "sysmira counters");
}

std::string explainMissingCounter(const CounterName& name) {
    const Names objects = objectNames();
    if (!holds(objects, name.object)) {
        return "there is no performance object " + inQuotes(name.object) +
               guess(name.object, objects, "sysmira counters");
    }
    zor::Array<zor::String> instanceTexts, counterTexts;
    PerformanceCounterEnum::enumCounters(zor::String::fromUTF8(name.object), instanceTexts, counterTexts);
    const Names instances = toNames(instanceTexts);
    const Names counters = toNames(counterTexts);
    const std::string object = "the performance object " + inQuotes(name.object);
    const std::string listCall = "sysmira counters '" + name.object + "'";
    if (!holds(counters, name.counter)) {
        return object + " has no counter " + inQuotes(name.counter) + guess(name.counter, counters, listCall);
    }
    if (name.instance.empty() && !instances.empty()) {
        CounterName complete = name;
        complete.instance = holds(instances, "_Total") ? "_Total" : instances.front();
        return object + " has instances; did you mean " + inQuotes(complete.toText()) + "?";
    }
    if (!name.instance.empty() && !holds(instances, name.instance)) {
        return object + " has no instance " + inQuotes(name.instance) +
               guess(name.instance, instances, listCall);
    }
    return "the counter " + inQuotes(name.toText()) + " cannot be read";
}

}  // namespace sysmira
