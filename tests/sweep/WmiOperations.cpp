#include "libSysmira/wmi/Wmi.h"
#include "simulation/control/Clock.h"
#include "support/RaisedException.h"
#include "tests/sweep/Operations.h"

namespace sweep {

namespace {

using libSysmira::WmiCallResult;
using libSysmira::WmiNamespace;
using libSysmira::WmiObject;
using libSysmira::WmiQueryResult;
using simulation::WmiClass;
using simulation::WmiInstance;
using simulation::WmiKey;
using simulation::WmiMethod;
using simulation::WmiValue;

constexpr auto Infinite = static_cast<DWORD>(WBEM_INFINITE);

// A class with a property of each type, two instances of it and two methods.
void wmiPc(simulation::Machine& machine) {
    WmiMethod work, stop;
    work.name = u"Work";
    work.in = {{u"Yes", CIM_BOOLEAN, false}, {u"UInt8", CIM_UINT8, 0},     {u"UInt16", CIM_UINT16, 0},
               {u"UInt32", CIM_UINT32, 0},   {u"Real32", CIM_REAL32, 0.0}, {u"Real64", CIM_REAL64, 0.0}};
    work.out = {{u"ReturnValue", CIM_UINT32}};
    work.outcome.milliseconds = 500;
    work.outcome.out = {{u"ReturnValue", 7}};
    stop.name = u"Stop";
    stop.out = work.out;
    stop.outcome.out = {{u"ReturnValue", 8}};

    machine.name = u"PC";
    simulation::WmiNamespaceModel& cim = machine.wmi[u"root\\cimv2"];
    cim.add(WmiClass{u"Sweep_Part", u"", {{u"Size", CIM_UINT32}}, {}});
    cim.add(WmiClass{u"Sweep_Thing",
                     u"",
                     {{u"Id", CIM_STRING, {}, WmiKey},
                      {u"Yes", CIM_BOOLEAN, true},
                      {u"UInt8", CIM_UINT8, 200},
                      {u"UInt16", CIM_UINT16, 50000},
                      {u"UInt32", CIM_UINT32, 4000000000u},
                      {u"UInt64", CIM_UINT64, ~0ull},
                      {u"Real32", CIM_REAL32, 1.5},
                      {u"Real64", CIM_REAL64, -2.5},
                      {u"Bytes", CIM_UINT8 | CIM_FLAG_ARRAY, WmiValue::bytes({65, 66, 67})},
                      {u"Part", CIM_OBJECT}},
                     {work, stop}});
    cim.add(WmiInstance{u"Sweep_Thing",
                        {{u"Id", u"one"}, {u"Part", WmiInstance{u"Sweep_Part", {{u"Size", 3}}}}}});
    cim.add(WmiInstance{u"Sweep_Thing", {{u"Id", u"two"}}});
}

// After success with nothing in it: misuse. When COM lacks memory or cannot be entered: its exceptions.
bool throwsAsComDoes(const std::exception& exception, Failure failure) {
    if (dynamic_cast<const zor::RaisedException*>(&exception) != nullptr)
        return failure == Failure::Deception;
    return failure == Failure::Code && dynamic_cast<const zor::Exception*>(&exception) != nullptr;
}

// The query for an embedded object takes every refusal but one for success.
bool throwsAsEmbeddedObjectsDo(const std::exception& exception, Failure failure) {
    return failure != Failure::Allocation &&
           (dynamic_cast<const zor::RaisedException*>(&exception) != nullptr ||
            throwsAsComDoes(exception, failure));
}

bool find(WmiObject& thing) {
    WmiNamespace wmi;
    WmiQueryResult result;
    return wmi.connect("root\\cimv2") && wmi.query("select * from Sweep_Thing", result) &&
           result.next(thing, Infinite);
}

std::string idOf(const WmiObject& thing) {
    zor::String id;
    return thing.getProperty("Id", id) ? plain(id) : "";
}

Result connect() {
    WmiNamespace wmi;
    const bool success = wmi.connect("root\\cimv2");
    return {success, success ? "connected" : ""};
}

Result rows() {
    WmiNamespace wmi;
    WmiQueryResult result;
    if (!wmi.connect("root\\cimv2") || !wmi.query("select * from Sweep_Thing", result)) return {false, ""};
    WmiObject thing;
    std::string ids;
    while (result.next(thing, Infinite)) {
        const std::string id = idOf(thing);
        if (id.empty()) return {false, ids};
        ids += id + "\n";
    }
    return {true, ids};
}

Result rewound() {
    WmiNamespace wmi;
    WmiQueryResult result;
    WmiObject first, again;
    if (!wmi.connect("root\\cimv2") || !wmi.query("select * from Sweep_Thing", result)) return {false, ""};
    if (!result.next(first, Infinite) || !result.reset() || !result.next(again, Infinite)) return {false, ""};
    const std::string id = idOf(again);
    return {!id.empty(), id};
}

Result event() {
    auto& events = simulation::machine().wmi[u"root\\cimv2"].events;
    events.clear();
    WmiNamespace wmi;
    WmiQueryResult result;
    WmiObject event, thing;
    const zor::String query =
        "select * from __InstanceCreationEvent within 1 where TargetInstance isa 'Sweep_Thing'";
    if (!wmi.connect("root\\cimv2") || !wmi.queryForEvents(query, result)) return {false, ""};
    events.push_back(simulation::WmiEvent::created(simulation::sleptMilliseconds() + 10,
                                                   {u"Sweep_Thing", {{u"Id", u"new"}}}));
    if (!result.next(event, 1000) || !event.getProperty("TargetInstance", thing)) return {false, ""};
    const std::string id = idOf(thing);
    return {!id.empty(), id};
}

template <class T>
std::string text(T value) {
    return std::to_string(value);
}

// Reads a property of the first thing into a variable that held `before`.
template <class T>
Result property(const char* name, T value) {
    WmiObject thing;
    const bool success = find(thing) && thing.getProperty(name, value);
    return {success, text(value)};
}

Result textProperty() {
    WmiObject thing;
    zor::String value = before;
    const bool success = find(thing) && thing.getProperty("Id", value);
    return {success, plain(value)};
}

Result bytesProperty() {
    WmiObject thing;
    zor::Buffer<unsigned char> value(1);
    const bool success = find(thing) && thing.getProperty("Bytes", value);
    return {success, success || value.size() != 1 ? plain(value) : before};
}

Result objectProperty() {
    WmiObject thing, part;
    unsigned int size = 0;
    const bool success = find(thing) && thing.getProperty("Part", part) && part.getProperty("Size", size);
    return {success, success ? text(size) : ""};
}

template <bool (WmiObject::*Get)(zor::String&) const>
Result systemText() {
    WmiObject thing;
    zor::String value = before;
    const bool success = find(thing) && (thing.*Get)(value);
    return {success, plain(value)};
}

bool fill(const WmiObject& in) {
    return in.setProperty("Yes", true) && in.setProperty<unsigned char>("UInt8", 1) &&
           in.setProperty<unsigned short>("UInt16", 2) && in.setProperty("UInt32", 3u) &&
           in.setProperty("Real32", 4.5f) && in.setProperty("Real64", 5.5);
}

Result returned(bool success, const WmiObject& out) {
    unsigned int value = 0;
    if (!success || !out.getProperty("ReturnValue", value)) return {false, ""};
    return {true, text(value)};
}

Result method() {
    WmiObject thing, out;
    const bool success = find(thing) && thing.execMethod("Stop", out);
    return returned(success, out);
}

Result methodWithParameters() {
    WmiObject thing, in, out;
    const bool success = find(thing) && thing.getMethodInputParams("Work", in) && fill(in) &&
                         thing.execMethod("Work", in, out);
    return returned(success, out);
}

Result startedMethod() {
    WmiObject thing, out;
    WmiCallResult call;
    const bool success = find(thing) && thing.execMethodNonBlocking("Work", call) &&
                         call.getCallResult(out, 0) == WmiCallResult::CallPending &&
                         call.getCallResult(out, 1000) == WmiCallResult::CallComplete;
    return returned(success, out);
}

Result mof() {
    WmiObject thing;
    const zor::String shown = find(thing) ? thing.toString() : zor::String();
    return {!shown.empty(), plain(shown)};
}

Result copies() {
    WmiObject thing;
    if (!find(thing)) return {false, ""};
    const WmiObject copy(thing);
    WmiObject assigned;
    assigned = copy;
    thing = WmiObject();
    const std::string id = idOf(assigned);
    return {!id.empty(), id};
}

}  // namespace

std::vector<Operation> wmiOperations() {
    const Check cleared = clearedOnFailure();
    std::vector<Operation> table = {
        {"WmiConnect", wmiPc, connect, cleared},
        {"WmiRows", wmiPc, rows, beginningOfIt()},
        {"WmiRewound", wmiPc, rewound, cleared},
        {"WmiEvent", wmiPc, event, cleared},
        {"WmiBool", wmiPc, [] { return property("Yes", false); }, keptOnFailure("0")},
        {"WmiUInt8", wmiPc, [] { return property<unsigned char>("UInt8", 9); }, keptOnFailure("9")},
        {"WmiUInt16", wmiPc, [] { return property<unsigned short>("UInt16", 9); }, keptOnFailure("9")},
        {"WmiUInt32", wmiPc, [] { return property("UInt32", 9u); }, keptOnFailure("9")},
        {"WmiUInt64", wmiPc, [] { return property("UInt64", 9ull); }, keptOnFailure("9")},
        {"WmiReal32", wmiPc, [] { return property("Real32", 9.f); }, keptOnFailure("9.000000")},
        {"WmiReal64", wmiPc, [] { return property("Real64", 9.); }, keptOnFailure("9.000000")},
        {"WmiText", wmiPc, textProperty, keptOnFailure(before)},
        {"WmiBytes", wmiPc, bytesProperty, keptOnFailure(before)},
        {"WmiObject", wmiPc, objectProperty, cleared},
        {"WmiPath", wmiPc, systemText<&WmiObject::getPath>, keptOnFailure(before)},
        {"WmiClassName", wmiPc, systemText<&WmiObject::getClassName>, keptOnFailure(before)},
        {"WmiMethod", wmiPc, method, cleared},
        {"WmiMethodWithParameters", wmiPc, methodWithParameters, cleared},
        {"WmiStartedMethod", wmiPc, startedMethod, cleared},
        {"WmiMof", wmiPc, mof, cleared},
        {"WmiCopies", wmiPc, copies, cleared},
    };
    for (Operation& operation : table) operation.mayThrow = throwsAsComDoes;
    for (Operation& operation : table) {
        if (operation.run == objectProperty || operation.run == event) {
            operation.mayThrow = throwsAsEmbeddedObjectsDo;
        }
    }
    return table;
}

}  // namespace sweep
