// The Performance Data Helper: names, paths, queries and lists of counters.
#include <algorithm>
#include <limits>

#include "simulation/control/Call.h"
#include "simulation/control/Clock.h"
#include "simulation/control/HandleTable.h"
#include "simulation/machine/Machine.h"

namespace simulation {

namespace {

// What a path names, found in the model.
struct Target {
    DWORD object = 0;
    DWORD counter = 0;
    Text instance;       // empty: the object has none
    size_t ordinal = 0;  // among instances of one name
};

struct CounterState {
    Target target;
    size_t collections = 0;
    CounterSample last = CounterSample::gone();
    bool lastButOneThere = false;
};

struct QueryState {
    std::vector<HANDLE> counters;
};

HandleTable<QueryState>& queries() {
    static HandleTable<QueryState> theQueries(Resource::CounterQuery);
    static const AtReset atReset([] { theQueries.clear(); });
    return theQueries;
}

HandleTable<CounterState>& counters() {
    static HandleTable<CounterState> theCounters(Resource::Counter);
    static const AtReset atReset([] { theCounters.clear(); });
    return theCounters;
}

const CounterModel& model() { return machine().counters; }

bool isOwnMachine(std::u16string_view name) {
    while (!name.empty() && name.front() == u'\\') name.remove_prefix(1);
    return equalNoCase(name, machine().name);
}

// "name#2": the third of its name, unless there is one that is called so.
bool splitOrdinal(Text& instance, size_t& ordinal) {
    const size_t mark = instance.rfind(u'#');
    const bool numbered = mark != Text::npos && mark + 1 < instance.size() && instance.size() - mark < 8 &&
                          instance.find_first_not_of(u"0123456789", mark + 1) == Text::npos;
    if (!numbered) return false;
    ordinal = std::stoul(toUtf8(instance.substr(mark + 1)));
    instance.resize(mark);
    return true;
}

bool hasInstance(const CounterObject& object, const Text& instance, size_t ordinal) {
    const auto count = std::count_if(object.instances.begin(), object.instances.end(),
                                     [&](const Text& each) { return equalNoCase(each, instance); });
    return static_cast<size_t>(count) > ordinal;
}

// "\object(instance)\counter", with "\\machine" in front or not. The target of a missing instance is filled
// in.
DWORD resolve(LPCWSTR path, Target& target) {
    Text text = fromWide(path);
    if (text.empty()) return PDH_INVALID_ARGUMENT;
    if (text.compare(0, 2, u"\\\\") == 0) {
        const size_t end = text.find(u'\\', 2);
        if (end == Text::npos) return PDH_CSTATUS_BAD_COUNTERNAME;
        if (!isOwnMachine(text.substr(2, end - 2))) return PDH_CSTATUS_NO_MACHINE;
        text.erase(0, end);
    }
    if (text[0] != u'\\') return PDH_CSTATUS_BAD_COUNTERNAME;
    const size_t objectEnd = text.find_first_of(u"(\\", 1);
    if (objectEnd == Text::npos || objectEnd == 1) return PDH_CSTATUS_BAD_COUNTERNAME;
    const bool inBrackets = text[objectEnd] == u'(';
    const size_t instanceEnd = inBrackets ? text.find(u")\\", objectEnd) : objectEnd;
    if (instanceEnd == Text::npos) return PDH_CSTATUS_BAD_COUNTERNAME;
    const Text counterName = text.substr(instanceEnd + (inBrackets ? 2 : 1));
    if (counterName.empty()) return PDH_CSTATUS_NO_COUNTERNAME;

    const auto objectIndex = model().ownNames().indexOf(text.substr(1, objectEnd - 1));
    const CounterObject* const object = objectIndex ? model().find(*objectIndex) : nullptr;
    if (object == nullptr) return PDH_CSTATUS_NO_OBJECT;
    // Names may stand twice, with an index each: the one that this object has is meant.
    const auto counter = std::find_if(
        object->counters.begin(), object->counters.end(),
        [&](const CounterDefinition& each) { return equalNoCase(model().ownName(each.index), counterName); });
    if (counter == object->counters.end()) return PDH_CSTATUS_NO_COUNTER;

    target = {object->index, counter->index, {}, 0};
    if (inBrackets != object->hasInstances) return PDH_CSTATUS_NO_INSTANCE;
    if (!inBrackets) return ERROR_SUCCESS;
    target.instance = text.substr(objectEnd + 1, instanceEnd - objectEnd - 1);
    if (hasInstance(*object, target.instance, 0)) return ERROR_SUCCESS;
    if (!splitOrdinal(target.instance, target.ordinal)) return PDH_CSTATUS_NO_INSTANCE;
    return hasInstance(*object, target.instance, target.ordinal) ? ERROR_SUCCESS : PDH_CSTATUS_NO_INSTANCE;
}

CounterSample sampleOf(const CounterState& state) {
    const CounterObject* const object = model().find(state.target.object);
    const CounterDefinition* const counter = object != nullptr ? object->find(state.target.counter) : nullptr;
    if (counter == nullptr) return CounterSample::gone();
    const CounterScript* script = &counter->shows;
    if (object->hasInstances) {
        if (!hasInstance(*object, state.target.instance, state.target.ordinal)) return CounterSample::gone();
        const auto own = counter->instances.find(state.target.instance);
        if (own != counter->instances.end()) script = &own->second;
    }
    return script->at(state.collections, sleptMilliseconds());
}

bool isRate(const CounterState& state) {
    const CounterObject* const object = model().find(state.target.object);
    const CounterDefinition* const counter = object != nullptr ? object->find(state.target.counter) : nullptr;
    return counter != nullptr && counter->rate;
}

Text multiString(const std::vector<Text>& texts) {
    Text result;
    for (const Text& text : texts) result += text + u'\0';
    return result + u'\0';
}

// Units are counted with the terminators. A size that was asked for with a buffer too small is told as well,
// though callers are warned not to rely on it.
bool giveUnits(const Call& call, const Text& units, LPWSTR buffer, LPDWORD size) {
    if (call.distorted(Distortion::NothingWritten)) return true;
    if (units.empty()) {
        *size = 0;
        return true;
    }
    DWORD bytes = 0;
    const bool fits = copyOut(call, units.data(), units.size() * sizeof(WCHAR), buffer,
                              size_t{*size} * sizeof(WCHAR), &bytes);
    *size = bytes / sizeof(WCHAR);
    return fits;
}

PDH_STATUS toStatus(bool fits) { return static_cast<PDH_STATUS>(fits ? ERROR_SUCCESS : PDH_MORE_DATA); }

bool isRoom(LPCWSTR buffer, const DWORD* size) {
    return size != nullptr && (buffer != nullptr || *size == 0);
}

constexpr unsigned sizeDistortions =
    Distortion::NothingWritten | Distortion::SizeTooLarge | Distortion::SizeZero | Distortion::NoTerminator;

}  // namespace

}  // namespace simulation

using namespace simulation;

SIMULATED_PLAIN(PDH_STATUS, WINAPI, PdhLookupPerfNameByIndexW,
                (LPCWSTR machineName, DWORD index, LPWSTR buffer, LPDWORD size)) {
    static const Function function{"PdhLookupPerfNameByIndexW",
                                   Fails::WithCode,
                                   {PDH_INVALID_ARGUMENT, PDH_MORE_DATA, PDH_INSUFFICIENT_BUFFER,
                                    PDH_CANNOT_READ_NAME_STRINGS, PDH_MEMORY_ALLOCATION_FAILURE},
                                   sizeDistortions};
    Call call(function, index, size != nullptr ? *size : 0);
    if (const auto fault = call.fault<PDH_STATUS>()) return *fault;
    const Text* const name = model().ownNames().nameOf(index);
    const bool nameless = index == 0 && name == nullptr && size != nullptr && *size != 0;
    if (!nameless && !isRoom(buffer, size)) return call.fails<PDH_STATUS>(PDH_INVALID_ARGUMENT);
    if (machineName != nullptr && !isOwnMachine(fromWide(machineName))) {
        return call.fails<PDH_STATUS>(PDH_CSTATUS_NO_MACHINE);
    }
    // Wine's tests of pdh, run on Windows: index 0 succeeds and leaves buffer and size alone.
    if (nameless) return call.returns<PDH_STATUS>(ERROR_SUCCESS);
    if (name == nullptr) return call.fails<PDH_STATUS>(PDH_INVALID_ARGUMENT);
    return call.returns(toStatus(giveUnits(call, *name + u'\0', buffer, size)));
}

SIMULATED_PLAIN(PDH_STATUS, WINAPI, PdhLookupPerfIndexByNameW,
                (LPCWSTR machineName, LPCWSTR name, LPDWORD index)) {
    static const Function function{"PdhLookupPerfIndexByNameW",
                                   Fails::WithCode,
                                   {PDH_STRING_NOT_FOUND, PDH_INVALID_ARGUMENT, PDH_CANNOT_READ_NAME_STRINGS},
                                   0u | Distortion::NothingWritten};
    Call call(function, name);
    if (const auto fault = call.fault<PDH_STATUS>()) return *fault;
    if (name == nullptr || index == nullptr) return call.fails<PDH_STATUS>(PDH_INVALID_ARGUMENT);
    if (machineName != nullptr && !isOwnMachine(fromWide(machineName))) {
        return call.fails<PDH_STATUS>(PDH_CSTATUS_NO_MACHINE);
    }
    const auto found = model().ownNames().indexOf(fromWide(name));
    if (!found) return call.fails<PDH_STATUS>(PDH_STRING_NOT_FOUND);
    if (!call.distorted(Distortion::NothingWritten)) *index = *found;
    return call.returns<PDH_STATUS>(ERROR_SUCCESS);
}

SIMULATED_PLAIN(PDH_STATUS, WINAPI, PdhMakeCounterPathW,
                (PPDH_COUNTER_PATH_ELEMENTS_W elements, LPWSTR buffer, LPDWORD size, DWORD flags)) {
    static const Function function{"PdhMakeCounterPathW",
                                   Fails::WithCode,
                                   {PDH_MORE_DATA, PDH_INVALID_ARGUMENT, PDH_INSUFFICIENT_BUFFER},
                                   sizeDistortions};
    Call call(function, elements != nullptr ? elements->szObjectName : nullptr,
              elements != nullptr ? elements->szInstanceName : nullptr,
              elements != nullptr ? elements->szCounterName : nullptr,
              elements != nullptr ? elements->dwInstanceIndex : 0, flags);
    if (const auto fault = call.fault<PDH_STATUS>()) return *fault;
    const bool complete = elements != nullptr && elements->szObjectName != nullptr &&
                          elements->szCounterName != nullptr && isRoom(buffer, size) && flags == 0;
    if (!complete) return call.fails<PDH_STATUS>(PDH_INVALID_ARGUMENT);
    Text path;
    if (elements->szMachineName != nullptr) {
        const Text name = fromWide(elements->szMachineName);
        path = name.compare(0, 2, u"\\\\") == 0 ? name : u"\\\\" + name;
    }
    path += u"\\" + fromWide(elements->szObjectName);
    if (elements->szInstanceName != nullptr) {
        path += u'(';
        if (elements->szParentInstance != nullptr) path += fromWide(elements->szParentInstance) + u"/";
        path += fromWide(elements->szInstanceName);
        const DWORD number = elements->dwInstanceIndex;
        if (number != 0 && number != 0xFFFFFFFF) path += u"#" + fromUtf8(std::to_string(number));
        path += u')';
    }
    path += u"\\" + fromWide(elements->szCounterName);
    return call.returns(toStatus(giveUnits(call, path + u'\0', buffer, size)));
}

SIMULATED_PLAIN(PDH_STATUS, WINAPI, PdhValidatePathW, (LPCWSTR path)) {
    static const Function function{
        "PdhValidatePathW",
        Fails::WithCode,
        {PDH_CSTATUS_NO_INSTANCE, PDH_CSTATUS_NO_COUNTER, PDH_CSTATUS_NO_OBJECT, PDH_CSTATUS_NO_MACHINE,
         PDH_CSTATUS_BAD_COUNTERNAME, PDH_MEMORY_ALLOCATION_FAILURE}};
    Call call(function, path);
    if (const auto fault = call.fault<PDH_STATUS>()) return *fault;
    if (path == nullptr) return call.fails<PDH_STATUS>(PDH_INVALID_ARGUMENT);
    Target target;
    return call.returns(static_cast<PDH_STATUS>(resolve(path, target)));
}

SIMULATED_PLAIN(PDH_STATUS, WINAPI, PdhOpenQueryW, (LPCWSTR source, DWORD_PTR, PDH_HQUERY* query)) {
    static const Function function{"PdhOpenQueryW",
                                   Fails::WithCode,
                                   {PDH_MEMORY_ALLOCATION_FAILURE, PDH_INVALID_ARGUMENT},
                                   Distortion::NothingWritten | Distortion::NullResult};
    Call call(function, source);
    if (const auto fault = call.fault<PDH_STATUS>()) return *fault;
    if (query == nullptr) return call.fails<PDH_STATUS>(PDH_INVALID_ARGUMENT);
    // Log files are none of the simulated PC's.
    if (source != nullptr) return call.fails<PDH_STATUS>(PDH_FILE_NOT_FOUND);
    if (call.distorted(Distortion::NothingWritten)) return call.returns<PDH_STATUS>(ERROR_SUCCESS);
    const bool none = call.distorted(Distortion::NullResult);
    *query = none ? nullptr : queries().add(std::make_unique<QueryState>(), call.name());
    return call.returns<PDH_STATUS>(ERROR_SUCCESS);
}

SIMULATED_PLAIN(PDH_STATUS, WINAPI, PdhCloseQuery, (PDH_HQUERY query)) {
    static const Function function{"PdhCloseQuery", Fails::WithCode, {PDH_INVALID_HANDLE}};
    Call call(function, query);
    // A query whose closing is made to fail is gone all the same: nobody closes twice.
    const QueryState* const state = queries().find(query, call.name());
    if (state != nullptr) {
        for (const HANDLE counter : state->counters) counters().close(counter, call.name());
        queries().close(query, call.name());
    }
    if (const auto fault = call.fault<PDH_STATUS>()) return *fault;
    return call.returns(static_cast<PDH_STATUS>(state != nullptr ? ERROR_SUCCESS : PDH_INVALID_HANDLE));
}

SIMULATED_PLAIN(PDH_STATUS, WINAPI, PdhAddCounterW,
                (PDH_HQUERY query, LPCWSTR path, DWORD_PTR, PDH_HCOUNTER* counter)) {
    static const Function function{
        "PdhAddCounterW",
        Fails::WithCode,
        {PDH_CSTATUS_NO_INSTANCE, PDH_CSTATUS_NO_COUNTER, PDH_CSTATUS_NO_OBJECT, PDH_CSTATUS_NO_MACHINE,
         PDH_CSTATUS_BAD_COUNTERNAME, PDH_FUNCTION_NOT_FOUND, PDH_INVALID_HANDLE, PDH_INVALID_ARGUMENT,
         PDH_MEMORY_ALLOCATION_FAILURE},
        Distortion::NothingWritten | Distortion::NullResult};
    Call call(function, query, path);
    if (const auto fault = call.fault<PDH_STATUS>()) return *fault;
    if (path == nullptr || counter == nullptr) return call.fails<PDH_STATUS>(PDH_INVALID_ARGUMENT);
    QueryState* const owner = queries().find(query, call.name());
    if (owner == nullptr) return call.fails<PDH_STATUS>(PDH_INVALID_HANDLE);
    CounterState state;
    const DWORD status = resolve(path, state.target);
    // Microsoft, PdhAddCounter: an instance that is missing is no error; it may come.
    const bool mayCome = status == PDH_CSTATUS_NO_INSTANCE && !state.target.instance.empty();
    // Wine's tests of pdh, run on Windows: a counter that cannot be added is nulled.
    if (!call.distorted(Distortion::NothingWritten)) *counter = nullptr;
    if (status != ERROR_SUCCESS && !mayCome) return call.fails<PDH_STATUS>(status);
    if (call.distorted(Distortion::NothingWritten)) return call.returns<PDH_STATUS>(ERROR_SUCCESS);
    if (call.distorted(Distortion::NullResult)) return call.returns<PDH_STATUS>(ERROR_SUCCESS);
    *counter = counters().add(std::make_unique<CounterState>(std::move(state)), call.name());
    owner->counters.push_back(*counter);
    return call.returns<PDH_STATUS>(ERROR_SUCCESS);
}

SIMULATED_PLAIN(PDH_STATUS, WINAPI, PdhCollectQueryData, (PDH_HQUERY query)) {
    static const Function function{
        "PdhCollectQueryData",
        Fails::WithCode,
        {PDH_NO_DATA, PDH_INVALID_HANDLE, PDH_QUERY_PERF_DATA_TIMEOUT, PDH_CSTATUS_NO_MACHINE},
        0u | Distortion::NothingWritten};
    Call call(function, query);
    if (const auto fault = call.fault<PDH_STATUS>()) return *fault;
    const QueryState* const state = queries().find(query, call.name());
    if (state == nullptr) return call.fails<PDH_STATUS>(PDH_INVALID_HANDLE);
    if (call.distorted(Distortion::NothingWritten)) return call.returns<PDH_STATUS>(ERROR_SUCCESS);
    bool any = false;
    for (const HANDLE handle : state->counters) {
        CounterState& counter = *counters().find(handle, call.name());
        counter.lastButOneThere = counter.last.there;
        counter.last = sampleOf(counter);
        ++counter.collections;
        any = any || counter.last.there;
    }
    // One counter that is there will do.
    return call.returns(static_cast<PDH_STATUS>(any ? ERROR_SUCCESS : PDH_NO_DATA));
}

SIMULATED_PLAIN(PDH_STATUS, WINAPI, PdhGetFormattedCounterValue,
                (PDH_HCOUNTER counter, DWORD format, LPDWORD type, PPDH_FMT_COUNTERVALUE value)) {
    static const Function function{"PdhGetFormattedCounterValue",
                                   Fails::WithCode,
                                   {PDH_INVALID_DATA, PDH_INVALID_HANDLE, PDH_INVALID_ARGUMENT,
                                    PDH_CALC_NEGATIVE_DENOMINATOR, PDH_CALC_NEGATIVE_VALUE},
                                   0u | Distortion::NothingWritten};
    Call call(function, counter, format);
    if (const auto fault = call.fault<PDH_STATUS>()) return *fault;
    if (value == nullptr) return call.fails<PDH_STATUS>(PDH_INVALID_ARGUMENT);
    const CounterState* const state = counters().find(counter, call.name());
    if (state == nullptr) return call.fails<PDH_STATUS>(PDH_INVALID_HANDLE);
    const bool rate = isRate(*state);
    if (type != nullptr) *type = rate ? PERF_COUNTER_BULK_COUNT : PERF_COUNTER_LARGE_RAWCOUNT;
    if (state->collections != 0 && !state->last.there) {
        value->CStatus = PDH_CSTATUS_NO_INSTANCE;
        return call.fails<PDH_STATUS>(PDH_INVALID_DATA);
    }
    // Wine's tests of pdh, run on Windows: what is no rate has a value before the first collection.
    if (rate && !state->lastButOneThere) {
        value->CStatus = PDH_CSTATUS_INVALID_DATA;
        return call.fails<PDH_STATUS>(PDH_INVALID_DATA);
    }
    if (call.distorted(Distortion::NothingWritten)) return call.returns<PDH_STATUS>(ERROR_SUCCESS);
    using Long = std::numeric_limits<LONG>;
    constexpr DWORD modifiers = PDH_FMT_NOSCALE | PDH_FMT_1000 | PDH_FMT_NOCAP100;
    switch (format & ~modifiers) {
        case PDH_FMT_LONG:
            // What does not fit is cut to the greatest number that does.
            value->longValue =
                static_cast<LONG>(std::clamp<long long>(state->last.whole, Long::min(), Long::max()));
            break;
        case PDH_FMT_LARGE:
            value->largeValue = state->last.whole;
            break;
        case PDH_FMT_DOUBLE:
            value->doubleValue = state->last.real;
            break;
        default:
            return call.fails<PDH_STATUS>(PDH_INVALID_ARGUMENT);
    }
    value->CStatus = PDH_CSTATUS_NEW_DATA;
    return call.returns<PDH_STATUS>(ERROR_SUCCESS);
}

SIMULATED_PLAIN(PDH_STATUS, WINAPI, PdhEnumObjectsW,
                (LPCWSTR source, LPCWSTR machineName, LPWSTR list, LPDWORD size, DWORD detail,
                 BOOL refresh)) {
    static const Function function{"PdhEnumObjectsW",
                                   Fails::WithCode,
                                   {PDH_MORE_DATA, PDH_INSUFFICIENT_BUFFER, PDH_INVALID_ARGUMENT,
                                    PDH_CSTATUS_NO_MACHINE, PDH_CSTATUS_NO_OBJECT},
                                   sizeDistortions};
    Call call(function, size != nullptr ? *size : 0, detail, refresh);
    if (const auto fault = call.fault<PDH_STATUS>()) return *fault;
    if (!isRoom(list, size)) return call.fails<PDH_STATUS>(PDH_INVALID_ARGUMENT);
    if (source != nullptr) return call.fails<PDH_STATUS>(PDH_FILE_NOT_FOUND);
    if (machineName != nullptr && !isOwnMachine(fromWide(machineName))) {
        return call.fails<PDH_STATUS>(PDH_CSTATUS_NO_MACHINE);
    }
    std::optional<std::vector<DWORD>>& seen = machine().counters.seen;
    if (!seen || refresh) {
        seen.emplace();
        for (const CounterObject& object : model().objects) seen->push_back(object.index);
    }
    std::vector<Text> names;
    for (const DWORD index : *seen) {
        const CounterObject* const object = model().find(index);
        if (object == nullptr || object->detail <= detail) names.push_back(model().ownName(index));
    }
    return call.returns(toStatus(giveUnits(call, names.empty() ? Text() : multiString(names), list, size)));
}

SIMULATED_PLAIN(PDH_STATUS, WINAPI, PdhEnumObjectItemsW,
                (LPCWSTR source, LPCWSTR machineName, LPCWSTR objectName, LPWSTR counterList,
                 LPDWORD counterSize, LPWSTR instanceList, LPDWORD instanceSize, DWORD detail, DWORD flags)) {
    static const Function function{
        "PdhEnumObjectItemsW",
        Fails::WithCode,
        {PDH_MORE_DATA, PDH_INSUFFICIENT_BUFFER, PDH_INVALID_ARGUMENT, PDH_CSTATUS_NO_MACHINE,
         PDH_CSTATUS_NO_OBJECT, PDH_MEMORY_ALLOCATION_FAILURE},
        sizeDistortions};
    Call call(function, objectName, counterSize != nullptr ? *counterSize : 0,
              instanceSize != nullptr ? *instanceSize : 0, detail, flags);
    if (const auto fault = call.fault<PDH_STATUS>()) return *fault;
    if (objectName == nullptr || !isRoom(counterList, counterSize) || !isRoom(instanceList, instanceSize)) {
        return call.fails<PDH_STATUS>(PDH_INVALID_ARGUMENT);
    }
    if (source != nullptr) return call.fails<PDH_STATUS>(PDH_FILE_NOT_FOUND);
    if (machineName != nullptr && !isOwnMachine(fromWide(machineName))) {
        return call.fails<PDH_STATUS>(PDH_CSTATUS_NO_MACHINE);
    }
    const auto index = model().ownNames().indexOf(fromWide(objectName));
    const CounterObject* const object = index ? model().find(*index) : nullptr;
    if (object == nullptr) return call.fails<PDH_STATUS>(PDH_CSTATUS_NO_OBJECT);

    std::vector<Text> names;
    for (const CounterDefinition& counter : object->counters) {
        if (counter.detail <= detail) names.push_back(model().ownName(counter.index));
    }
    std::vector<Text> instances = object->instances;
    const bool asksSizes = *counterSize == 0 && *instanceSize == 0;
    if (!asksSizes && object->instancesGrowBy != 0) {
        const auto count = static_cast<long long>(instances.size()) + object->instancesGrowBy;
        instances.resize(static_cast<size_t>(std::max(count, 0ll)), u"newcomer");
    }
    const bool countersFit = giveUnits(call, multiString(names), counterList, counterSize);
    // An object without instances has no list of them; one that has none at the moment has an empty list.
    const bool instancesFit =
        giveUnits(call, object->hasInstances ? multiString(instances) : Text(), instanceList, instanceSize);
    return call.returns(toStatus(countersFit && instancesFit));
}
