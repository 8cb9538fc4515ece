#include "libSysmira/wmi/Wmi.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "simulation/api/ComApartments.h"
#include "simulation/control/Clock.h"
#include "tests/behaviour/SimulatedPc.h"

namespace {

using libSysmira::getLastWmiResult;
using libSysmira::WmiCallResult;
using libSysmira::WmiInit;
using libSysmira::WmiNamespace;
using libSysmira::WmiObject;
using libSysmira::WmiQueryResult;
using simulation::Resource;
using simulation::WmiClass;
using simulation::WmiEvent;
using simulation::WmiInstance;
using simulation::WmiKey;
using simulation::WmiMethod;
using simulation::WmiOutcome;
using simulation::WmiValue;
using simulation::WmiValues;

constexpr auto Infinite = static_cast<DWORD>(WBEM_INFINITE);
const zor::String Fans = "select * from Test_Fan";
const zor::String FanEvents =
    "select * from __InstanceCreationEvent within 1 where TargetInstance isa 'Test_Fan'";

HRESULT code(unsigned value) { return static_cast<HRESULT>(value); }

// A PC with two fans that can be asked and told things.
class Wmi : public SimulatedPc {
protected:
    void SetUp() override {
        SimulatedPc::SetUp();
        machine.name = u"PC";
        simulation::WmiNamespaceModel& cim = machine.wmi[u"root\\cimv2"];
        cim.add(WmiClass{u"Test_Fan",
                         u"",
                         {{u"Id", CIM_STRING, {}, WmiKey}, {u"Rpm", CIM_UINT32}, {u"Load", CIM_REAL32}},
                         {measure(), stop(), beep(), fail()}});
        cim.add(WmiInstance{u"Test_Fan", {{u"Id", u"CPU"}, {u"Rpm", 1200}}});
        cim.add(WmiInstance{u"Test_Fan", {{u"Id", u"Case"}, {u"Rpm", 700}}});
        zor::LogFactory::setPriority(3);
        forgetCalls();
    }

    // Takes one and a half seconds and returns what it was given.
    static WmiMethod measure() {
        WmiMethod method;
        method.name = u"Measure";
        method.in = {{u"Fast", CIM_BOOLEAN, false}, {u"Channel", CIM_UINT8, 0},
                     {u"Count", CIM_UINT16, 0},     {u"Milliseconds", CIM_UINT32, 0},
                     {u"Gain", CIM_REAL32, 0.0},    {u"Limit", CIM_REAL64, 0.0}};
        method.out = {{u"ReturnValue", CIM_UINT32}, {u"Rpm", CIM_UINT32}};
        method.outcome.milliseconds = 1500;
        method.outcome.out = {{u"ReturnValue", 0}, {u"Rpm", 1180}};
        WmiOutcome asked;
        asked.when = {{u"Fast", true}, {u"Channel", 200}, {u"Count", 50000}, {u"Milliseconds", 4000000000u},
                      {u"Gain", 1.5},  {u"Limit", -2.25}};
        asked.out = {{u"ReturnValue", 0}, {u"Rpm", 1190}};
        method.outcome.cases = {asked};
        return method;
    }
    static WmiMethod stop() {
        WmiMethod method;
        method.name = u"Stop";
        method.out = {{u"ReturnValue", CIM_UINT32}};
        method.outcome.out = {{u"ReturnValue", 5}};
        return method;
    }
    // Returns nothing, not even a code.
    static WmiMethod beep() {
        WmiMethod method;
        method.name = u"Beep";
        return method;
    }
    static WmiMethod fail() {
        WmiMethod method;
        method.name = u"Fail";
        method.out = {{u"ReturnValue", CIM_UINT32}};
        method.outcome.result = code(WBEM_E_PROVIDER_FAILURE);
        method.outcome.milliseconds = 100;
        return method;
    }

    simulation::WmiNamespaceModel& cim() { return machine.wmi[u"root\\cimv2"]; }

    // The first object of a query; a default one after a failure.
    static WmiObject first(const zor::String& wql) {
        WmiNamespace wmi;
        WmiQueryResult result;
        WmiObject object;
        EXPECT_TRUE(wmi.connect("root\\cimv2"));
        EXPECT_TRUE(wmi.query(wql, result));
        EXPECT_TRUE(result.next(object, Infinite));
        return object;
    }

    static Strings idsOf(const WmiQueryResult& result) {
        Strings ids;
        WmiObject object;
        zor::String id;
        while (result.next(object, Infinite)) {
            EXPECT_TRUE(object.getProperty("Id", id));
            ids.push_back(plain(id));
        }
        return ids;
    }

    Strings logTexts() const {
        Strings texts;
        for (const LogLine& line : log) texts.push_back(line.text);
        return texts;
    }

    template <class Work>
    void expectAssertion(Work&& work, const std::string& expression) {
        log.clear();
        EXPECT_THROW(work(), zor::RaisedException) << expression;
        ASSERT_EQ(log.size(), 1u) << expression;
        EXPECT_EQ(log[0].priority, 4);
        const std::string& text = log[0].text;
        EXPECT_EQ(text.substr(text.find(' ') + 1), "libSysmira/wmi/Wmi: assertion failed: " + expression);
    }
};

// COM

TEST_F(Wmi, EachClassReleasesTheConnectionFirstAndLeavesComLast) {
    WmiNamespace wmi;
    ASSERT_TRUE(wmi.connect("root\\cimv2"));
    auto result = std::make_unique<WmiQueryResult>();
    auto object = std::make_unique<WmiObject>();
    ASSERT_TRUE(wmi.query(Fans, *result));
    ASSERT_TRUE(result->next(*object, Infinite));
    forgetCalls();
    object.reset();
    EXPECT_EQ(callNames(),
              (Strings{"IWbemServices::Release", "IWbemClassObject::Release", "CoUninitialize"}));
    forgetCalls();
    result.reset();
    EXPECT_EQ(callNames(),
              (Strings{"IWbemServices::Release", "IEnumWbemClassObject::Release", "CoUninitialize"}));
    {
        WmiNamespace other;
        ASSERT_TRUE(other.connect("root\\cimv2"));
        forgetCalls();
    }
    EXPECT_EQ(callNames(), (Strings{"IWbemServices::Release", "IWbemLocator::Release", "CoUninitialize"}));
}

TEST_F(Wmi, AnAssignedObjectHasTheConnectionToo) {
    WmiObject assigned, out;
    assigned = first(Fans);
    EXPECT_TRUE(assigned.execMethod("Stop", out));
}

TEST_F(Wmi, EntersComThenAsksForTheLocatorAndLeavesInReverse) {
    { const WmiNamespace wmi; }
    EXPECT_EQ(callNames(), (Strings{"CoInitializeEx", "CoInitializeSecurity", "CoCreateInstance",
                                    "IWbemLocator::Release", "CoUninitialize"}));
    EXPECT_EQ(argumentsOf("CoInitializeEx"), Strings{"0"});
    EXPECT_EQ(argumentsOf("CoInitializeSecurity"), (Strings{"-1, 4, 3, 0"}));
    EXPECT_EQ(argumentsOf("CoCreateInstance"), (Strings{"{cb8555cc-9128-11d1-ad9b-00c04fd8fdff}, 5, "
                                                        "{00000000-0000-0000-c000-000000000046}"}));
}

TEST_F(Wmi, ConstructionAndCopyingEnterComAndAssignmentDoesNot) {
    {
        const WmiObject fan = first(Fans);
        EXPECT_EQ(simulation::comBalance(), 1u);
        WmiObject copy(fan);
        EXPECT_EQ(simulation::comBalance(), 2u);
        zor::String id;
        EXPECT_TRUE(copy.getProperty("Id", id));
        EXPECT_EQ(id, "CPU");
        copy = WmiObject();
        copy = *&copy;
        EXPECT_FALSE(copy.setProperty("Rpm", 1u)) << "assigning an empty object empties";
        const WmiQueryResult result;
        const WmiQueryResult resultCopy(result);
        EXPECT_EQ(simulation::comBalance(), 4u);
        forgetCalls();
        WmiCallResult call;
        WmiCallResult moved(std::move(call));
        moved = WmiCallResult(moved);
        EXPECT_EQ(callNames(), Strings{}) << "a call result leaves COM alone";
    }
    EXPECT_EQ(simulation::comBalance(), 0u);
}

TEST_F(Wmi, AThreadOfAnotherApartmentIsRefused) {
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    const std::pair<const char*, void (*)()> constructions[] = {
        {"WmiInit", [] { const WmiInit object; }},
        {"WmiNamespace", [] { const WmiNamespace object; }},
        {"WmiQueryResult", [] { const WmiQueryResult object; }},
        {"WmiObject", [] { const WmiObject object; }}};
    for (const auto& [name, construct] : constructions) {
        log.clear();
        try {
            construct();
            ADD_FAILURE() << name << " was constructed";
        } catch (const libSysmira::InitializationError&) {
            ADD_FAILURE() << name << ": the wrong exception";
        } catch (const zor::Exception& exception) {
            EXPECT_STREQ(exception.what(), "COM concurrency model has changed.") << name;
        }
        ASSERT_EQ(log.size(), 1u) << name;
        EXPECT_EQ(log[0].logger, "libSysmira.Wmi");
        EXPECT_EQ(log[0].priority, 4);
        EXPECT_EQ(log[0].text, "99 Cannot initialize COM, thread model has changed.");
    }
    EXPECT_EQ(calls("CoInitializeSecurity"), 0u);
    EXPECT_EQ(calls("CoUninitialize"), 0u);
    CoUninitialize();
}

TEST_F(Wmi, LeavesComOnceForEachObjectEvenWhenEnteringFailed) {
    failCall("CoInitializeEx", E_OUTOFMEMORY, 1, true);
    {
        const WmiObject one;
        const WmiQueryResult two;
        EXPECT_EQ(calls("CoInitializeSecurity"), 2u);
    }
    EXPECT_EQ(calls("CoUninitialize"), 2u);
}

TEST_F(Wmi, WithoutALocatorThereIsNoNamespace) {
    failCall("CoCreateInstance", REGDB_E_CLASSNOTREG);
    try {
        const WmiNamespace wmi;
        ADD_FAILURE() << "constructed";
    } catch (const libSysmira::InitializationError& error) {
        EXPECT_STREQ(error.what(), "CoCreateInstance failed");
    }
    EXPECT_EQ(getLastWmiResult(), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(calls("CoUninitialize"), 1u);
    EXPECT_EQ(log.size(), 0u);
}

// Connections and queries

TEST_F(Wmi, ConnectsAsTheCallerAndTellsWhyNot) {
    WmiNamespace wmi;
    EXPECT_FALSE(wmi.connect("root\\nowhere"));
    EXPECT_EQ(getLastWmiResult(), code(WBEM_E_INVALID_NAMESPACE));
    EXPECT_TRUE(wmi.connect("root/cimv2"));
    EXPECT_EQ(getLastWmiResult(), S_OK);
    EXPECT_EQ(argumentsOf("IWbemLocator::ConnectServer"),
              (Strings{"root\\nowhere, null, null, null, 0, null", "root/cimv2, null, null, null, 0, null"}));
    EXPECT_EQ(log.size(), 0u);

    cim().connectResult = code(WBEM_E_ACCESS_DENIED);
    WmiNamespace refused;
    EXPECT_FALSE(refused.connect("root\\cimv2"));
    WmiQueryResult result;
    expectAssertion([&] { refused.query(Fans, result); }, "m_pServices.isValid()");
    expectAssertion([&] { refused.queryForEvents(FanEvents, result); }, "m_pServices.isValid()");
}

TEST_F(Wmi, ASecondConnectGivesTheFirstConnectionBackTwice) {
    Strings violations;
    simulation::ledger().setViolationHandler([&](const std::string& text) { violations.push_back(text); });
    {
        WmiNamespace wmi;
        ASSERT_TRUE(wmi.connect("root\\cimv2"));
        forgetCalls();
        EXPECT_TRUE(wmi.connect("root\\cimv2"));
        EXPECT_EQ(callNames(), (Strings{"IWbemServices::Release", "IWbemLocator::ConnectServer",
                                        "IWbemServices::Release"}));
        EXPECT_EQ(violations.size(), 1u);
        // The new connection is sound.
        WmiQueryResult result;
        EXPECT_TRUE(wmi.query(Fans, result));
        EXPECT_EQ(violations.size(), 1u);
    }
    EXPECT_EQ(violations.size(), 1u);
    {
        WmiNamespace wmi;
        ASSERT_TRUE(wmi.connect("root\\cimv2"));
        EXPECT_FALSE(wmi.connect("root\\nowhere"));
        EXPECT_EQ(violations.size(), 1u);
    }
    EXPECT_EQ(violations.size(), 2u) << "what the failed connect had given back, the end gives back again";
}

TEST_F(Wmi, AQueryIsRunAtOnceAndCanBeRewound) {
    WmiNamespace wmi;
    WmiQueryResult result;
    ASSERT_TRUE(wmi.connect("root\\cimv2"));
    ASSERT_TRUE(wmi.query(Fans, result));
    EXPECT_EQ(argumentsOf("IWbemServices::ExecQuery"), (Strings{"WQL, select * from Test_Fan, 16"}));
    EXPECT_EQ(idsOf(result), (Strings{"CPU", "Case"}));
    ASSERT_EQ(logTexts(), (Strings{"455 nextNoWait failed: 1"}));
    EXPECT_EQ(log[0].logger, "libSysmira.Wmi");
    EXPECT_EQ(log[0].priority, 3);
    EXPECT_EQ(getLastWmiResult(), WBEM_S_FALSE);
    EXPECT_TRUE(result.reset());
    EXPECT_EQ(idsOf(result), (Strings{"CPU", "Case"}));
    EXPECT_EQ(argumentsOf("IEnumWbemClassObject::Next"),
              (Strings{"-1, 1", "-1, 1", "-1, 1", "-1, 1", "-1, 1", "-1, 1"}));

    // The same result is filled anew; the end is not worth a line when warnings are not wanted.
    zor::LogFactory::setPriority(4);
    log.clear();
    EXPECT_TRUE(wmi.query("select * from Test_Fan where Rpm > 9000", result));
    EXPECT_EQ(idsOf(result), Strings{});
    EXPECT_EQ(logTexts(), Strings{});
}

TEST_F(Wmi, AWrongQueryFailsWithoutALine) {
    WmiNamespace wmi;
    WmiQueryResult result;
    WmiObject object;
    ASSERT_TRUE(wmi.connect("root\\cimv2"));
    failCall("IWbemServices::ExecQuery", WBEM_S_PARTIAL_RESULTS);
    EXPECT_FALSE(wmi.query(Fans, result)) << "only S_OK is success";
    EXPECT_EQ(logTexts(), Strings{});
    expectAssertion([&] { result.next(object, 0); }, "m_pQueryResult.isValid()");
    expectAssertion([&] { result.reset(); }, "m_pQueryResult.isValid()");

    // A class that there is not shows at the first object only.
    log.clear();
    EXPECT_TRUE(wmi.query("select * from Test_Nothing", result));
    EXPECT_FALSE(result.next(object, Infinite));
    EXPECT_EQ(logTexts(), (Strings{"455 nextNoWait failed: -2147217392"}));
    // So does a text that is no query.
    EXPECT_TRUE(wmi.query("select * from Test_Fan where", result));
    EXPECT_FALSE(result.next(object, Infinite));
    EXPECT_EQ(getLastWmiResult(), code(WBEM_E_INVALID_QUERY));
}

TEST_F(Wmi, TextsGoOutAsRealBstrsAndComeBackWhenMemoryLacks) {
    WmiNamespace wmi;
    WmiQueryResult result;
    ASSERT_TRUE(wmi.connect("root\\cimv2"));
    for (const unsigned nth : {1u, 2u}) {
        clearFaults();
        failCall("SysAllocStringLen", 0, nth);
        try {
            wmi.query(Fans, result);
            ADD_FAILURE() << nth;
        } catch (const libSysmira::ComError& error) {
            EXPECT_EQ(error.getResult(), E_OUTOFMEMORY);
        }
        EXPECT_EQ(simulation::ledger().count(Resource::Bstr), 0u);
    }
    EXPECT_EQ(calls("IWbemServices::ExecQuery"), 0u);
}

TEST_F(Wmi, EventsComInTheirTimeAndATimeOutIsNoFailure) {
    cim().add(WmiEvent::created(1000, {u"Test_Fan", {{u"Id", u"Added"}}}));
    WmiNamespace wmi;
    WmiQueryResult events;
    WmiObject event, fan;
    ASSERT_TRUE(wmi.connect("root\\cimv2"));
    ASSERT_TRUE(wmi.queryForEvents(FanEvents, events));
    EXPECT_EQ(argumentsOf("IWbemServices::ExecNotificationQuery"),
              (Strings{"WQL, " + plain(FanEvents) + ", 48"}));
    EXPECT_EQ(calls("SysAllocStringLen"), 0u) << "texts of its own, with their length in front";
    EXPECT_FALSE(events.next(event, 0));
    EXPECT_FALSE(events.next(event, 999));
    EXPECT_EQ(getLastWmiResult(), WBEM_S_TIMEDOUT);
    EXPECT_EQ(simulation::sleptMilliseconds(), 999u);
    EXPECT_TRUE(events.next(event, 5000));
    EXPECT_EQ(simulation::sleptMilliseconds(), 1000u);
    zor::String id;
    EXPECT_TRUE(event.getProperty("TargetInstance", fan));
    EXPECT_TRUE(fan.getProperty("Id", id));
    EXPECT_EQ(id, "Added");
    EXPECT_FALSE(events.reset());
    EXPECT_EQ(logTexts(), Strings{});
}

TEST_F(Wmi, AWrongEventQueryIsLogged) {
    WmiNamespace wmi;
    WmiQueryResult events;
    ASSERT_TRUE(wmi.connect("root\\cimv2"));
    EXPECT_FALSE(wmi.queryForEvents("select events please", events));
    ASSERT_EQ(logTexts(), (Strings{"555 queryForEvents failed: -2147217320"}));
    EXPECT_EQ(log[0].logger, "libSysmira.Wmi");
    EXPECT_EQ(log[0].priority, 3);
    zor::LogFactory::setPriority(4);
    EXPECT_FALSE(wmi.queryForEvents("select events please", events));
    EXPECT_EQ(log.size(), 1u);
}

TEST_F(Wmi, ResultsAndObjectsOutliveTheNamespace) {
    WmiQueryResult result;
    {
        WmiNamespace wmi;
        ASSERT_TRUE(wmi.connect("root\\cimv2"));
        ASSERT_TRUE(wmi.query(Fans, result));
    }
    WmiObject fan, returned;
    ASSERT_TRUE(result.next(fan, Infinite));
    result = WmiQueryResult();
    EXPECT_TRUE(fan.execMethod("Stop", returned));
}

TEST_F(Wmi, WhatComesWithAnEndOrAFailureIsGivenBack) {
    // Success with nothing is an assertion; the machine's ledger tells of everything left over.
    WmiNamespace wmi;
    WmiQueryResult result;
    WmiObject object;
    ASSERT_TRUE(wmi.connect("root\\cimv2"));
    distort("IWbemServices::ExecQuery", Distortion::NullResult);
    expectAssertion([&] { wmi.query(Fans, result); }, "pResultSet");
    distort("IWbemServices::ExecNotificationQuery", Distortion::NullResult);
    expectAssertion([&] { wmi.queryForEvents(FanEvents, result); }, "pResultSet");
    distort("IEnumWbemClassObject::Next", Distortion::NullResult);
    ASSERT_TRUE(wmi.query(Fans, result));
    expectAssertion([&] { result.next(object, 0); }, "pObject.isValid()");
    distort("CoCreateInstance", Distortion::NullResult);
    WmiNamespace nothing;
    expectAssertion([&] { nothing.connect("root\\cimv2"); }, "pLocator.isValid()");
}

// Properties

using Reader = std::string (*)(const WmiObject&, const zor::String&);

// What an overload reads, as text. A false one leaves the value alone and gives "-".
template <class T>
std::string readNumber(const WmiObject& object, const zor::String& name) {
    T value = static_cast<T>(77);
    if (object.getProperty(name, value)) return std::to_string(value);
    EXPECT_EQ(value, static_cast<T>(77)) << plain(name);
    return "-";
}
std::string readTruth(const WmiObject& object, const zor::String& name) {
    bool yes = true, no = false;
    if (object.getProperty(name, yes)) return yes ? "true" : "false";
    EXPECT_FALSE(object.getProperty(name, no));
    EXPECT_TRUE(yes && !no) << plain(name);
    return "-";
}
std::string readText(const WmiObject& object, const zor::String& name) {
    zor::String value = "before";
    if (object.getProperty(name, value)) return plain(value);
    EXPECT_EQ(value, "before") << plain(name);
    return "-";
}
std::string readBytes(const WmiObject& object, const zor::String& name) {
    zor::Buffer<unsigned char> value(3);
    if (!object.getProperty(name, value)) {
        EXPECT_EQ(value.size(), 3u) << plain(name);
        return "-";
    }
    std::string text = "[";
    for (std::size_t i = 0; i < value.size(); ++i) text += (i == 0 ? "" : " ") + std::to_string(value[i]);
    return text + "]";
}
std::string readObject(const WmiObject& object, const zor::String& name) {
    WmiObject value(object);
    zor::String before, after;
    value.getClassName(before);
    const bool read = object.getProperty(name, value);
    value.getClassName(after);
    if (read) return plain(after);
    EXPECT_EQ(before, after) << plain(name);
    return "-";
}

const std::pair<CIMTYPE, Reader> readers[] = {
    {CIM_BOOLEAN, readTruth},
    {CIM_UINT8, readNumber<unsigned char>},
    {CIM_UINT16, readNumber<unsigned short>},
    {CIM_UINT32, readNumber<unsigned int>},
    {CIM_UINT64, readNumber<unsigned long long>},
    {CIM_REAL32, readNumber<float>},
    {CIM_REAL64, readNumber<double>},
    {CIM_STRING, readText},
    {CIM_UINT8 | CIM_FLAG_ARRAY, readBytes},
    {CIM_OBJECT, readObject},
};

class WmiProperties : public Wmi {
protected:
    struct Row {
        const char16_t* name;
        CIMTYPE type;
        WmiValue value;
        const char* text;  ///< by the overload of this type; null where there is none
    };

    static std::vector<Row> rows() {
        return {
            {u"Yes", CIM_BOOLEAN, true, "true"},
            {u"No", CIM_BOOLEAN, false, "false"},
            {u"UInt8", CIM_UINT8, 255, "255"},
            {u"UInt16", CIM_UINT16, 65535, "65535"},
            {u"UInt32", CIM_UINT32, 4294967295u, "4294967295"},
            {u"UInt64", CIM_UINT64, ~0ull, "18446744073709551615"},
            {u"Real32", CIM_REAL32, 1.5, "1.500000"},
            {u"Real64", CIM_REAL64, -2.25, "-2.250000"},
            {u"Text", CIM_STRING, u"L\u00FCfter",
             "L\xC3\xBC"
             "fter"},
            {u"NoText", CIM_STRING, u"", ""},
            {u"Bytes", CIM_UINT8 | CIM_FLAG_ARRAY, WmiValue::bytes({1, 0, 255}), "[1 0 255]"},
            {u"NoBytes", CIM_UINT8 | CIM_FLAG_ARRAY, WmiValue::bytes({}), "[]"},
            {u"Part", CIM_OBJECT, WmiInstance{u"Test_Part", {{u"Size", 3}}}, "Test_Part"},
            {u"SInt8", CIM_SINT8, -1, nullptr},
            {u"SInt16", CIM_SINT16, -1, nullptr},
            {u"SInt32", CIM_SINT32, -1, nullptr},
            {u"SInt64", CIM_SINT64, -1, nullptr},
            {u"Char16", CIM_CHAR16, 65, nullptr},
            {u"Date", CIM_DATETIME, u"20250102030405.000000+060", nullptr},
            {u"Reference", CIM_REFERENCE, u"Test_Fan.Id=\"CPU\"", nullptr},
            {u"Texts", CIM_STRING | CIM_FLAG_ARRAY, WmiValue::array({u"one", u"two"}), nullptr},
            {u"Numbers", CIM_UINT32 | CIM_FLAG_ARRAY, WmiValue::array({1, 2}), nullptr},
        };
    }

    void SetUp() override {
        Wmi::SetUp();
        WmiClass everything{u"Test_Everything", u"", {{u"Id", CIM_STRING, {}, WmiKey}}, {}};
        WmiInstance full{u"Test_Everything", {{u"Id", u"full"}}};
        for (const Row& row : rows()) {
            everything.properties.push_back({row.name, row.type});
            full.values[row.name] = row.value;
        }
        cim().add(WmiClass{u"Test_Part", u"", {{u"Size", CIM_UINT32}}, {}});
        cim().add(everything);
        cim().add(full);
        cim().add(WmiInstance{u"Test_Everything", {{u"Id", u"null"}}});
    }

    static WmiObject full() { return first("select * from Test_Everything where Id = 'full'"); }
};

TEST_F(WmiProperties, EachTypeIsReadByItsOwnOverloadOnly) {
    const WmiObject object = full();
    const WmiObject null = first("select * from Test_Everything where Id = 'null'");
    for (const Row& row : rows()) {
        const zor::String name = zorText(row.name);
        for (const auto& [type, read] : readers) {
            const bool fits = type == row.type && row.text != nullptr;
            EXPECT_EQ(read(object, name), fits ? row.text : "-") << plain(name) << " as type " << type;
            EXPECT_EQ(read(null, name), "-") << "null " << plain(name) << " as type " << type;
        }
    }
    for (const auto& [type, read] : readers) EXPECT_EQ(read(object, "Missing"), "-");
    EXPECT_EQ(getLastWmiResult(), code(WBEM_E_NOT_FOUND));
    EXPECT_EQ(log.size(), 0u);
}

TEST_F(WmiProperties, EmbeddedObjectsAreObjectsOfTheSameConnection) {
    const WmiObject object = full();
    WmiObject part, copy;
    unsigned int size = 0;
    ASSERT_TRUE(object.getProperty("Part", part));
    EXPECT_TRUE(part.getProperty("Size", size));
    EXPECT_EQ(size, 3u);
    failCall("IWbemClassObject::QueryInterface", E_NOINTERFACE);
    EXPECT_FALSE(object.getProperty("Part", copy));
    clearFaults();
    // Whatever else it answers counts as success, with the object that there is not.
    failCall("IWbemClassObject::QueryInterface", E_OUTOFMEMORY);
    expectAssertion([&] { object.getProperty("Part", copy); }, "pObject.isValid()");
}

TEST_F(WmiProperties, AValueThatIsNotWhatItsTypeSaysIsRefused) {
    const WmiObject object = full();
    const struct {
        const char* name;
        Distortion distortion;
    } rowsOfDeception[] = {
        {"UInt64", Distortion::WrongType},    {"UInt64", Distortion::NullContent},
        {"Text", Distortion::WrongType},      {"Text", Distortion::NullContent},
        {"Bytes", Distortion::WrongType},     {"Bytes", Distortion::NullContent},
        {"Bytes", Distortion::TwoDimensions}, {"Bytes", Distortion::WideElements},
        {"Part", Distortion::WrongType},      {"Part", Distortion::NullContent},
        {"Yes", Distortion::EmptyValue},      {"UInt8", Distortion::EmptyValue},
        {"UInt16", Distortion::EmptyValue},   {"UInt32", Distortion::EmptyValue},
        {"UInt64", Distortion::EmptyValue},   {"Real32", Distortion::EmptyValue},
        {"Real64", Distortion::EmptyValue},   {"Text", Distortion::EmptyValue},
        {"Bytes", Distortion::EmptyValue},    {"Part", Distortion::EmptyValue},
    };
    for (const auto& row : rowsOfDeception) {
        for (const auto& [type, read] : readers) {
            clearFaults();
            distort("IWbemClassObject::Get", row.distortion, 1, true);
            // The readers of objects ask for a class name around it, which is deceived as well.
            EXPECT_EQ(read(object, row.name), "-")
                << row.name << ", " << static_cast<unsigned>(row.distortion);
        }
    }
    clearFaults();
    distort("IWbemClassObject::Get", Distortion::NullContent, 1, true);
    zor::String text = "before";
    EXPECT_FALSE(object.getPath(text));
    EXPECT_FALSE(object.getClassName(text));
    EXPECT_EQ(text, "before");
}

TEST_F(WmiProperties, PathAndClassAreTheSystemProperties) {
    const WmiObject fan = first(Fans);
    zor::String text;
    EXPECT_TRUE(fan.getClassName(text));
    EXPECT_EQ(text, "Test_Fan");
    EXPECT_TRUE(fan.getPath(text));
    EXPECT_EQ(text, "\\\\PC\\root\\cimv2:Test_Fan.Id=\"CPU\"");
    const WmiObject keyless = first("select Rpm from Test_Fan");
    text = "before";
    EXPECT_FALSE(keyless.getPath(text)) << "an object without its keys has no path";
    EXPECT_EQ(text, "before");
}

TEST_F(WmiProperties, TheObjectAsText) {
    WmiObject fan = first(Fans);
    const std::string mof = plain(fan.toString());
    EXPECT_NE(mof.find("instance of Test_Fan"), std::string::npos) << mof;
    EXPECT_NE(mof.find("Rpm = 1200;"), std::string::npos) << mof;
    failCall("IWbemClassObject::GetObjectText", WBEM_S_FALSE);
    EXPECT_EQ(plain(fan.toString()), "");
    clearFaults();
    distort("IWbemClassObject::GetObjectText", Distortion::OtherSuccess);
    EXPECT_EQ(plain(fan.toString()), "") << "only 0 is success";
    EXPECT_EQ(plain(WmiObject().toString()), "");
}

TEST_F(WmiProperties, AnEmptyObjectIsMisuse) {
    const WmiObject empty;
    WmiObject other;
    WmiCallResult call;
    zor::String text;
    unsigned int number = 0;
    EXPECT_EQ(empty.getObject(), nullptr);
    EXPECT_FALSE(empty.setProperty("Rpm", 1u));
    expectAssertion([&] { empty.getProperty("Rpm", number); }, "pObject.isValid()");
    expectAssertion([&] { empty.getPath(text); }, "pObject.isValid()");
    expectAssertion([&] { empty.getMethodInputParams("Stop", other); }, "pObject.isValid()");
    expectAssertion([&] { empty.execMethod("Stop", other); }, "pObject.isValid()");
    expectAssertion([&] { empty.execMethodNonBlocking("Stop", call); }, "pObject.isValid()");
    expectAssertion([&] { call.getCallResult(other, 0); }, "m_pCallResult.isValid()");
}

// Methods

using WmiMethods = Wmi;

TEST_F(WmiMethods, ParametersAreWrittenAndReachTheMethod) {
    const WmiObject fan = first(Fans);
    WmiObject in, out;
    ASSERT_TRUE(fan.getMethodInputParams("Measure", in));
    forgetCalls();
    EXPECT_TRUE(in.setProperty("Fast", true));
    EXPECT_TRUE(in.setProperty<unsigned char>("Channel", 200));
    EXPECT_TRUE(in.setProperty<unsigned short>("Count", 50000));
    EXPECT_TRUE(in.setProperty("Milliseconds", 4000000000u));
    EXPECT_TRUE(in.setProperty("Gain", 1.5f));
    EXPECT_TRUE(in.setProperty("Limit", -2.25));
    // Name, VARIANT type, CIM type 0 for the property's own; of a truth its raw value.
    EXPECT_EQ(argumentsOf("IWbemClassObject::Put"),
              (Strings{"Fast, 11, 0, 1", "Channel, 17, 0, 0", "Count, 18, 0, 0", "Count, 3, 0, 0",
                       "Milliseconds, 19, 0, 0", "Milliseconds, 3, 0, 0", "Gain, 4, 0, 0", "Limit, 5, 0, 0"}))
        << "unsigned numbers are refused, and written with the same bits";
    EXPECT_FALSE(in.setProperty("Missing", 1u));
    EXPECT_EQ(getLastWmiResult(), code(WBEM_E_NOT_FOUND));
    forgetCalls();
    failCall("IWbemClassObject::Put", code(WBEM_E_OUT_OF_MEMORY));
    EXPECT_FALSE(in.setProperty("Milliseconds", 1u));
    clearFaults();
    EXPECT_EQ(calls("IWbemClassObject::Put"), 1u) << "another refusal is the caller's";
    ASSERT_TRUE(fan.execMethod("Measure", in, out));
    unsigned int rpm = 0;
    EXPECT_TRUE(out.getProperty("Rpm", rpm));
    EXPECT_EQ(rpm, 1190u) << "the method did not get what was written";
}

TEST_F(WmiMethods, AMethodWithoutParametersIsWaitedFor) {
    const WmiObject fan = first(Fans);
    WmiObject in, out;
    unsigned int value = 0;
    EXPECT_FALSE(fan.getMethodInputParams("Stop", in));
    EXPECT_EQ(getLastWmiResult(), S_OK) << "it takes none";
    EXPECT_FALSE(fan.getMethodInputParams("Start", in));
    EXPECT_EQ(getLastWmiResult(), code(WBEM_E_NOT_FOUND)) << "there is none";

    forgetCalls();
    EXPECT_TRUE(fan.execMethod("Stop", out));
    EXPECT_TRUE(out.getProperty("ReturnValue", value));
    EXPECT_EQ(value, 5u);
    ASSERT_EQ(calls("IWbemServices::ExecMethod"), 1u);
    const std::string arguments = argumentsOf("IWbemServices::ExecMethod")[0];
    EXPECT_NE(arguments.find("Test_Fan.Id=\"CPU\", Stop, 0"), std::string::npos) << arguments;

    EXPECT_FALSE(fan.execMethod("Fail", out));
    EXPECT_EQ(getLastWmiResult(), code(WBEM_E_PROVIDER_FAILURE));
    EXPECT_FALSE(fan.execMethod("Start", out));
    failCall("IWbemServices::ExecMethod", WBEM_S_FALSE);
    EXPECT_FALSE(fan.execMethod("Stop", out)) << "only 0 is success";
    clearFaults();
    distort("IWbemServices::ExecMethod", Distortion::OtherSuccess, 1, true);
    WmiCallResult call;
    WmiObject untouched;
    EXPECT_FALSE(fan.execMethod("Stop", untouched));
    EXPECT_EQ(untouched.getObject(), nullptr);
    EXPECT_FALSE(fan.execMethodNonBlocking("Stop", call));
    EXPECT_EQ(log.size(), 0u);
}

TEST_F(WmiMethods, AStartedCallIsPolledUntilItEnds) {
    const WmiObject fan = first(Fans);
    WmiCallResult call, failing;
    WmiObject out;
    ASSERT_TRUE(fan.execMethodNonBlocking("Measure", call));
    EXPECT_EQ(simulation::sleptMilliseconds(), 0u);
    const std::string arguments = argumentsOf("IWbemServices::ExecMethod")[0];
    EXPECT_EQ(arguments.substr(arguments.rfind(',')), ", 16");
    EXPECT_EQ(call.getCallResult(out, 0), WmiCallResult::CallPending);
    EXPECT_EQ(call.getCallResult(out, 1400), WmiCallResult::CallPending);
    EXPECT_EQ(out.getObject(), nullptr);
    const WmiCallResult copy(call);
    call = WmiCallResult();
    EXPECT_EQ(copy.getCallResult(out, 200), WmiCallResult::CallComplete);
    EXPECT_EQ(simulation::sleptMilliseconds(), 1500u);
    unsigned int rpm = 0;
    EXPECT_TRUE(out.getProperty("Rpm", rpm));
    EXPECT_EQ(rpm, 1180u);

    ASSERT_TRUE(fan.execMethodNonBlocking("Fail", failing));
    EXPECT_EQ(failing.getCallResult(out, 0), WmiCallResult::CallPending);
    EXPECT_EQ(failing.getCallResult(out, 100), WmiCallResult::CallFailed);
    EXPECT_EQ(getLastWmiResult(), code(WBEM_E_PROVIDER_FAILURE));
    // That there is no such method shows at the call's end.
    ASSERT_TRUE(fan.execMethodNonBlocking("Start", failing));
    EXPECT_EQ(failing.getCallResult(out, 0), WmiCallResult::CallFailed);
    EXPECT_TRUE(FAILED(getLastWmiResult()));
}

TEST_F(WmiMethods, SuccessWithNothingEndsInAnAssertionOrAFailure) {
    const WmiObject fan = first(Fans);
    WmiObject in, out;
    WmiCallResult call;
    expectAssertion([&] { fan.execMethod("Beep", out); }, "pObject.isValid()");
    ASSERT_TRUE(fan.execMethodNonBlocking("Beep", call));
    expectAssertion([&] { call.getCallResult(out, 0); }, "pObject.isValid()");

    // As of systems that know no calls in the background: started, and nothing to poll.
    distort("IWbemServices::ExecMethod", Distortion::NullResult);
    EXPECT_TRUE(fan.execMethodNonBlocking("Stop", call));
    expectAssertion([&] { call.getCallResult(out, 0); }, "m_pCallResult.isValid()");

    for (const char* function : {"IWbemServices::GetObject", "IWbemClassObject::GetMethod"}) {
        clearFaults();
        distort(function, Distortion::NullResult);
        EXPECT_FALSE(fan.getMethodInputParams("Measure", in)) << function;
    }
    clearFaults();
    distort("IWbemClassObject::SpawnInstance", Distortion::NullResult);
    expectAssertion([&] { fan.getMethodInputParams("Measure", in); }, "pObject.isValid()");
}

}  // namespace
