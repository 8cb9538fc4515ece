// The simulated COM and WMI: what tests of WMI's users rely on.
#include <gtest/gtest.h>

#include <thread>
#include <tuple>

#include "simulation/api/ComApartments.h"
#include "simulation/api/Wql.h"
#include "simulation/control/Call.h"
#include "simulation/control/Clock.h"
#include "simulation/control/Ledger.h"
#include "simulation/machine/MachineFile.h"

namespace {

using namespace simulation;

constexpr CLSID AdministrativeLocator = {
    0xCB8555CC, 0x9128, 0x11D1, {0xAD, 0x9B, 0x00, 0xC0, 0x4F, 0xD8, 0xFD, 0xFF}};

HRESULT code(long long value) { return static_cast<HRESULT>(value); }

constexpr const char* Fans = R"({"name": "PC", "wmi": {"root\\cimv2": {
    "classes": [
        {"name": "Test_Part", "properties": ["[key] string Id", "uint32 Rank"]},
        {"name": "Test_Fan", "superclass": "Test_Part",
         "properties": ["uint16 Rpm", "boolean Quiet", "uint64 Turns", "real32 Load", "uint8 Raw[]",
                        "object Case", "sint8 Tilt"],
         "methods": [{"name": "Measure", "in": ["uint32 Probe"], "out": ["uint32 ReturnValue", "uint16 Rpm"],
                      "milliseconds": 300, "returns": {"ReturnValue": 0, "Rpm": 900},
                      "cases": [{"when": {"Probe": 2}, "result": "0x80041001"}]}]}],
    "instances": [
        {"class": "Test_Fan", "values": {"Id": "CPU \"1\"", "Rank": 2, "Rpm": 1200, "Quiet": true, "Load": 0.5,
         "Turns": 18446744073709551615, "Raw": "00 ff", "Tilt": -5, "Case": {"class": "Test_Part", "values": {"Id": "Tower", "Rank": 7}}}},
        {"class": "Test_Fan", "values": {"Id": "Rear", "Rank": 10, "Rpm": 700, "Quiet": false}},
        {"class": "Test_Part", "values": {"Id": "Filter"}}],
    "events": [{"at": 500, "created": {"class": "Test_Fan", "values": {"Id": "New"}}}]}}})";

class SimulatedWmi : public ::testing::Test {
protected:
    SimulatedWmi() {
        reset();
        machine() = readMachine(Fans, "fans.json");
        ledger().setViolationHandler({});
    }
    ~SimulatedWmi() override { reset(); }

    IWbemServices* connect() {
        IWbemLocator* locator = nullptr;
        CoCreateInstance(AdministrativeLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                         reinterpret_cast<void**>(&locator));
        IWbemServices* services = nullptr;
        EXPECT_EQ(locator->ConnectServer(const_cast<BSTR>(L"ROOT/CimV2"), nullptr, nullptr, nullptr, 0,
                                         nullptr, nullptr, &services),
                  S_OK);
        locator->Release();
        return services;
    }
    IWbemClassObject* object(const Text& path) {
        IWbemServices* const services = connect();
        const BSTR text = SysAllocString(wide(path));
        IWbemClassObject* found = nullptr;
        services->GetObject(text, 0, nullptr, &found, nullptr);
        SysFreeString(text);
        services->Release();
        return found;
    }
    // The Ids of the rows, or what the first Next said.
    std::string ask(IWbemServices* services, const Text& wql) {
        const BSTR language = SysAllocString(L"WQL");
        const BSTR text = SysAllocString(wide(wql));
        IEnumWbemClassObject* rows = nullptr;
        HRESULT result = services->ExecQuery(language, text, WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, &rows);
        SysFreeString(language);
        SysFreeString(text);
        std::string ids;
        if (FAILED(result)) return "refused " + std::to_string(result);
        for (;;) {
            IWbemClassObject* object = nullptr;
            ULONG returned = 0;
            result = rows->Next(Infinite, 1, &object, &returned);
            if (returned == 0) break;
            VARIANT value;
            VariantInit(&value);
            object->Get(L"Id", 0, &value, nullptr, nullptr);
            if (value.vt == VT_BSTR) ids += toUtf8(fromWide(value.bstrVal)) + ";";
            VariantClear(&value);
            object->Release();
        }
        rows->Release();
        return FAILED(result) ? "failed " + std::to_string(result) : ids;
    }
};

TEST_F(SimulatedWmi, EvaluatesWql) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    IWbemServices* const services = connect();
    const std::string both = "CPU \"1\";Rear;";
    const std::pair<const char16_t*, std::string> table[] = {
        {u"select * from Test_Part", both + "Filter;"},
        {u"SELECT Id, Rpm FROM test_fan", both},
        {u"select * from Test_Fan where Rpm > 1000", "CPU \"1\";"},
        {u"select * from Test_Fan where 1000>=Rpm", "Rear;"},
        {u"select * from Test_Fan where Rank < 10", "CPU \"1\";"},
        {u"select * from Test_Fan where Rpm = '700'", "Rear;"},
        {u"select * from Test_Fan where Rpm <> 700 and Rpm!=1200", ""},
        {u"select * from Test_Fan where Quiet = TRUE or Id = 'REAR'", both},
        {u"select * from Test_Fan where not (Quiet = false or Rank = 3)", "CPU \"1\";"},
        {u"select * from Test_Fan where Turns = 18446744073709551615", "CPU \"1\";"},
        {u"select * from Test_Fan where Turns = 18446744073709551614", ""},
        {u"select * from Test_Fan where Tilt = -5 and Load < 5e-1", ""},
        {u"select * from Test_Fan where Tilt = -5 and Load <= .5", "CPU \"1\";"},
        {u"select * from Test_Fan where Turns is null", "Rear;"},
        {u"select * from Test_Fan where Turns is not null and Case.Rank = 7", "CPU \"1\";"},
        {u"select * from Test_Fan where Turns <> 1", "CPU \"1\";"},  // null is unequal to nothing
        {u"select * from Test_Fan where Id = \"CPU \\\"1\\\"\"", "CPU \"1\";"},
        {u"select * from Test_Fan where Id = 'a\\b' or Id = 'R\\ear' or Id = 'Rear'", "Rear;"},
        {u"select * from Test_Part where Id like '%[d-f]%R' or Id like 'cpu__1_'", both + "Filter;"},
        {u"select * from Test_Part where Id like 'f[^a-h]%'", "Filter;"},
        {u"select * from Test_Part where __CLASS = 'test_part'", "Filter;"},
        {u"select * from Test_Part where __this isa 'Test_Fan'", both},
        {u"select * from Test_Fan where Case isa 'Test_Part'", "CPU \"1\";"},
    };
    for (const auto& [wql, ids] : table) EXPECT_EQ(ask(services, wql), ids) << toUtf8(wql);

    // A query that is none is accepted, and the first row fails.
    const std::string failed = "failed " + std::to_string(code(WBEM_E_INVALID_QUERY));
    EXPECT_EQ(ask(services, u""), "refused " + std::to_string(code(WBEM_E_INVALID_PARAMETER)));
    for (const Text wql :
         {u"select", u"select * from", u"select * from Nothing where", u"select * from Test_Fan where Rpm =",
          u"select * from Test_Fan order by Id", u"select count(*) from Test_Fan",
          u"select *, Id from Test_Fan", u"select * from Test_Fan where (Rpm = 1",
          u"select * from Test_Fan where Id = 'open", u"select * from Test_Fan where Rpm < null",
          u"select * from Test_Fan where Id like 5", u"select * from Test_Fan where Rpm = 1x",
          u"select * from Test_Fan within 5", u"select * from Test_Fan where Rpm", u"associators of Test_Fan",
          u"associators of {Test_Fan.Id='Rear'} where",
          u"references of {Test_Fan.Id='Rear'} where AssocClass = X", u"delete * from Test_Fan"}) {
        EXPECT_EQ(ask(services, wql), failed) << toUtf8(wql);
    }
    const Text deep = u"select * from Test_Fan where " + Text(100000, u'(') + u"Rpm = 1" + Text(100000, u')');
    EXPECT_EQ(ask(services, deep), failed);

    // What only running the query shows comes with the first row.
    EXPECT_EQ(ask(services, u"select * from Nothing"),
              "failed " + std::to_string(code(WBEM_E_INVALID_CLASS)));
    for (const Text wql :
         {u"select Color from Test_Fan", u"select * from Test_Fan where Color = 1",
          u"select * from Test_Fan where Rpm = 'many'", u"select * from Test_Fan where Raw = 1",
          u"select * from Test_Fan where Rpm like '1%'", u"select * from Test_Fan where Rpm isa 'X'"}) {
        EXPECT_EQ(ask(services, wql), failed) << toUtf8(wql);
    }
    services->Release();
    CoUninitialize();
    EXPECT_EQ(ledger().describe(), "");
    EXPECT_EQ(ledger().violations(), "");
}

TEST_F(SimulatedWmi, FollowsAssociations) {
    WmiNamespaceModel& cim = machine().wmi[u"root\\cimv2"];
    cim.add(WmiClass{u"Test_Holds",
                     u"",
                     {{u"Antecedent", CIM_REFERENCE, {}, WmiKey},
                      {u"Dependent", CIM_REFERENCE, {}, WmiKey},
                      {u"Id", CIM_STRING}}});
    const auto hold = [&](const char16_t* id, const char16_t* holder, const char16_t* held) {
        cim.add(WmiInstance{u"Test_Holds", {{u"Id", id}, {u"Antecedent", holder}, {u"Dependent", held}}});
    };
    hold(u"one", u"Test_Part.Id=\"Filter\"", u"Test_Fan.Id=\"Rear\"");
    hold(u"two", u"\\\\PC\\root\\cimv2:Test_Part.Id=\"Filter\"", u"Test_Fan.Id='CPU \"1\"'");
    hold(u"gone", u"Test_Part.Id=\"Filter\"", u"Test_Fan.Id=\"Gone\"");
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    IWbemServices* const services = connect();
    const std::pair<const char16_t*, std::string> table[] = {
        {u"associators of {Test_Part.Id='Filter'}", "Rear;CPU \"1\";"},
        {u"ASSOCIATORS OF {Test_Fan.Id=\"Rear\"} WHERE AssocClass = Test_Holds", "Filter;"},
        {u"associators of {Test_Fan.Id='Rear'} where ResultClass=Test_Fan", ""},
        {u"associators of {Test_Fan.Id='Rear'} where Role = Dependent ResultRole = Antecedent", "Filter;"},
        {u"associators of {Test_Fan.Id='Rear'} where Role = Antecedent", ""},
        {u"references of {Test_Part.Id='Filter'}", "one;two;gone;"},
        {u"references of {Test_Fan.Id='Rear'} where ResultClass = Test_Holds Role = Dependent", "one;"},
        {u"references of {Test_Fan.Id='Gone'}", "failed " + std::to_string(code(WBEM_E_NOT_FOUND))},
    };
    for (const auto& [wql, ids] : table) EXPECT_EQ(ask(services, wql), ids) << toUtf8(wql);
    services->Release();
    CoUninitialize();
}

TEST_F(SimulatedWmi, AConnectionSetsTheProcessesSecurity) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    IWbemServices* const services = connect();
    EXPECT_EQ(CoInitializeSecurity(nullptr, -1, nullptr, nullptr, 4, 3, nullptr, 0, nullptr), RPC_E_TOO_LATE);
    services->Release();
    CoUninitialize();
}

TEST_F(SimulatedWmi, ARowOfChosenPropertiesHasAPathWhenItIsAskedFor) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    IWbemServices* const services = connect();
    const BSTR language = SysAllocString(L"WQL");
    const BSTR text = SysAllocString(L"select Id, Rpm from Test_Fan where Id = 'Rear'");
    for (const LONG locatable : {LONG{0}, LONG{WBEM_FLAG_ENSURE_LOCATABLE}}) {
        IEnumWbemClassObject* rows = nullptr;
        IWbemClassObject* row = nullptr;
        ULONG returned = 0;
        ASSERT_EQ(services->ExecQuery(language, text, locatable, nullptr, &rows), S_OK);
        ASSERT_EQ(rows->Next(Infinite, 1, &row, &returned), S_OK);
        VARIANT path;
        VariantInit(&path);
        EXPECT_EQ(row->Get(L"__PATH", 0, &path, nullptr, nullptr), S_OK);
        EXPECT_EQ(path.vt, locatable == 0 ? VT_NULL : VT_BSTR);
        VariantClear(&path);
        row->Release();
        rows->Release();
    }
    SysFreeString(language);
    SysFreeString(text);
    services->Release();
    CoUninitialize();
    EXPECT_EQ(ledger().describe() + ledger().violations(), "");
}

TEST_F(SimulatedWmi, ArraysAndTextsAreCopiedAsAutomationDoes) {
    SAFEARRAYBOUND bounds[] = {{2, 0}, {3, 0}};
    SAFEARRAY* const array = SafeArrayCreate(VT_I4, 2, bounds);
    ASSERT_NE(array, nullptr);
    LONG value = 0;
    for (LONG right = 0; right < 3; ++right) {
        for (LONG left = 0; left < 2; ++left) {
            LONG indices[] = {left, right};
            EXPECT_EQ(SafeArrayPutElement(array, indices, &value), S_OK);
            ++value;
        }
    }
    // The leftmost index runs fastest.
    for (LONG i = 0; i < 6; ++i) EXPECT_EQ(static_cast<const LONG*>(array->pvData)[i], i);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);

    VARIANT null, copy;
    VariantInit(&null);
    VariantInit(&copy);
    null.vt = VT_BSTR;
    null.bstrVal = nullptr;
    EXPECT_EQ(VariantCopy(&copy, &null), S_OK);
    ASSERT_NE(copy.bstrVal, nullptr);
    EXPECT_EQ(SysStringLen(copy.bstrVal), 0u);
    VariantClear(&copy);
    EXPECT_EQ(ledger().describe() + ledger().violations(), "");
}

TEST_F(SimulatedWmi, FindsWhatItsPathsName) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    IWbemServices* const services = connect();
    const auto get = [&](const Text& path) {
        const BSTR text = SysAllocString(wide(path));
        IWbemClassObject* object = nullptr;
        const HRESULT result = services->GetObject(text, 0, nullptr, &object, nullptr);
        SysFreeString(text);
        if (object != nullptr) object->Release();
        return result;
    };
    for (const Text path :
         {u"Test_Fan", u"Test_Fan.Id=\"CPU \\\"1\\\"\"", u"Test_Fan=\"rear\"",
          u"\\\\.\\root\\cimv2:Test_Part.Id=\"Filter\"", u"ROOT/CIMV2:Test_Part.Id=\"Rear\""}) {
        EXPECT_EQ(get(path), S_OK) << toUtf8(path);
    }
    const std::pair<const char16_t*, long long> refusals[] = {
        {u"Nothing", WBEM_E_NOT_FOUND},
        {u"Test_Fan.Id=\"Front\"", WBEM_E_NOT_FOUND},
        {u"Test_Fan.Rank=10", WBEM_E_NOT_FOUND},
        {u"root\\nowhere:Test_Fan", WBEM_E_INVALID_NAMESPACE},
        {u"Test_Fan.Id=\"Rear", WBEM_E_INVALID_OBJECT_PATH},
        {u"Test_Fan.Id", WBEM_E_INVALID_OBJECT_PATH},
        {u"\\\\.", WBEM_E_INVALID_OBJECT_PATH},
        {u".Id=1", WBEM_E_INVALID_OBJECT_PATH},
    };
    for (const auto& [path, result] : refusals) EXPECT_EQ(get(path), code(result)) << toUtf8(path);
    services->Release();
    CoUninitialize();
    EXPECT_EQ(ledger().violations(), "");
}

TEST_F(SimulatedWmi, KeepsApartmentsByThread) {
    EXPECT_EQ(CoInitializeSecurity(nullptr, -1, nullptr, nullptr, 4, 3, nullptr, 0, nullptr),
              CO_E_NOTINITIALIZED);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_FALSE);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), RPC_E_CHANGED_MODE);
    EXPECT_EQ(CoInitializeSecurity(nullptr, -1, nullptr, nullptr, 4, 3, nullptr, 0, nullptr), S_OK);
    EXPECT_EQ(CoInitializeSecurity(nullptr, -1, nullptr, nullptr, 4, 3, nullptr, 0, nullptr), RPC_E_TOO_LATE);
    std::thread([] {
        EXPECT_TRUE(isInCom()) << "belongs to the multithreaded apartment without having entered it";
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        EXPECT_EQ(comBalanceOfAllThreads(), 3u);
        CoUninitialize();
        EXPECT_FALSE(isInCom());
    }).join();
    EXPECT_EQ(comBalance(), 2u);
    EXPECT_EQ(ledger().count(Resource::ComInitialization), 2u);
    CoUninitialize();
    CoUninitialize();
    EXPECT_EQ(ledger().violations(), "");

    // A CoUninitialize for each failed CoInitializeEx is put up with, and no more than that.
    Fault fault;
    fault.function = "CoInitializeEx";
    fault.code = E_OUTOFMEMORY;
    control().add(fault);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), E_OUTOFMEMORY);
    CoUninitialize();
    EXPECT_EQ(ledger().violations(), "");
    CoUninitialize();
    EXPECT_EQ(ledger().violations(), "CoUninitialize was called on a thread that has not entered COM\n");
}

TEST_F(SimulatedWmi, ReportsMisuseOfReferencesAndTexts) {
    const auto violations = [] {
        std::string text = ledger().violations();
        const std::string open = ledger().describe();
        ledger().clear();
        return text + open;
    };
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    IWbemServices* const services = connect();
    EXPECT_NE(ledger().describe().find("IWbemServices of IWbemLocator::ConnectServer\n"), std::string::npos);
    IEnumWbemClassObject* rows = nullptr;
    services->ExecQuery(const_cast<BSTR>(L"WQL"), const_cast<BSTR>(L"select * from Test_Fan"), 0, nullptr,
                        &rows);
    EXPECT_EQ(ledger().violations(),
              "IWbemServices::ExecQuery was given a text that is no BSTR\n"
              "IWbemServices::ExecQuery was given a text that is no BSTR\n");
    const BSTR text = SysAllocString(L"once");
    SysFreeString(text);
    ledger().clear();
    services->AddRef();
    services->Release();
    EXPECT_EQ(services->Release(), 0u);
    EXPECT_EQ(ledger().violations(), "");
    EXPECT_EQ(services->Release(), 0u);
    EXPECT_EQ(services->ExecQuery(nullptr, nullptr, 0, nullptr, &rows), RPC_E_DISCONNECTED);
    EXPECT_EQ(
        violations(),
        "IWbemServices::Release was called on a released IWbemServices of IWbemLocator::ConnectServer\n"
        "IWbemServices::ExecQuery was called on a released IWbemServices of IWbemLocator::ConnectServer\n");
    CoUninitialize();
    EXPECT_EQ(rows->Release(), 0u);
    EXPECT_EQ(violations(), "IEnumWbemClassObject::Release was called on a thread that is not in COM\n");

    const BSTR twice = SysAllocString(L"twice");
    SysFreeString(twice);
    SysFreeString(twice);
    EXPECT_EQ(ledger().violations().find("SysFreeString was given a closed BSTR of SysAllocString\n"), 0u);
}

TEST_F(SimulatedWmi, ShowsEachPropertyAsWindowsSendsIt) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    IWbemClassObject* const fan = object(u"Test_Fan=\"CPU \\\"1\\\"\"");
    ASSERT_NE(fan, nullptr);
    const std::tuple<const WCHAR*, int, int> types[] = {
        {L"Id", CIM_STRING, VT_BSTR},
        {L"Rank", CIM_UINT32, VT_I4},
        {L"rpm", CIM_UINT16, VT_I4},
        {L"Quiet", CIM_BOOLEAN, VT_BOOL},
        {L"Turns", CIM_UINT64, VT_BSTR},
        {L"Load", CIM_REAL32, VT_R4},
        {L"Tilt", CIM_SINT8, VT_I2},
        {L"Case", CIM_OBJECT, VT_UNKNOWN},
        {L"Raw", CIM_UINT8 | CIM_FLAG_ARRAY, VT_UI1 | VT_ARRAY},
        {L"__GENUS", CIM_SINT32, VT_I4},
        {L"__DERIVATION", CIM_STRING | CIM_FLAG_ARRAY, VT_BSTR | VT_ARRAY}};
    for (const auto& [name, cimType, variantType] : types) {
        VARIANT value;
        CIMTYPE type = 0;
        EXPECT_EQ(fan->Get(name, 0, &value, &type, nullptr), S_OK);
        EXPECT_EQ(type, cimType) << toUtf8(fromWide(name));
        EXPECT_EQ(value.vt, variantType) << toUtf8(fromWide(name));
        VariantClear(&value);
    }
    VARIANT value;
    fan->Get(L"__PATH", 0, &value, nullptr, nullptr);
    EXPECT_EQ(toUtf8(fromWide(value.bstrVal)), "\\\\PC\\ROOT\\CimV2:Test_Fan.Id=\"CPU \\\"1\\\"\"");
    VariantClear(&value);
    value.vt = VT_I4;
    value.lVal = 0x10000;
    EXPECT_EQ(fan->Put(L"Rpm", 0, &value, 0), code(WBEM_E_TYPE_MISMATCH));
    EXPECT_EQ(fan->Get(L"Colour", 0, &value, nullptr, nullptr), code(WBEM_E_NOT_FOUND));
    EXPECT_EQ(value.lVal, 0x10000) << "a failure leaves the VARIANT alone";
    value.lVal = 0xFFFF;
    EXPECT_EQ(fan->Put(L"Rpm", 0, &value, 0), S_OK);
    BSTR text = nullptr;
    EXPECT_EQ(fan->GetObjectText(0, &text), S_OK);
    EXPECT_EQ(
        toUtf8(fromWide(text)),
        "\ninstance of Test_Fan\n{\n\tId = \"CPU \\\"1\\\"\";\n\tRank = 2;\n\tRpm = 65535;\n\tQuiet = TRUE;\n"
        "\tTurns = \"18446744073709551615\";\n\tLoad = 0.5;\n\tRaw = {0, 255};\n"
        "\tCase = instance of Test_Part\n\t{\n\t\tId = \"Tower\";\n\t\tRank = 7;\n\t};\n\tTilt = -5;\n};\n");
    SysFreeString(text);
    fan->Release();
    CoUninitialize();
    EXPECT_EQ(ledger().describe() + ledger().violations(), "");
}

TEST_F(SimulatedWmi, TakesSimulatedTimeForMethodsAndEvents) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    IWbemServices* const services = connect();
    IEnumWbemClassObject* events = nullptr;
    const auto listen = [&](const WCHAR* wql) {
        const BSTR language = SysAllocString(L"WQL");
        const BSTR text = SysAllocString(wql);
        const HRESULT result = services->ExecNotificationQuery(
            language, text, WBEM_FLAG_RETURN_IMMEDIATELY | WBEM_FLAG_FORWARD_ONLY, nullptr, &events);
        SysFreeString(language);
        SysFreeString(text);
        return result;
    };
    EXPECT_EQ(listen(L"select * from Test_Fan within 1"), code(WBEM_E_NOT_EVENT_CLASS));
    EXPECT_EQ(listen(L"select * from __InstanceCreationEvent"), code(0x80042002));
    ASSERT_EQ(listen(L"select * from __InstanceCreationEvent within 1 where TargetInstance isa 'Test_Part'"),
              S_OK);
    IWbemClassObject* event = nullptr;
    ULONG returned = 0;
    EXPECT_EQ(events->Next(499, 1, &event, &returned), WBEM_S_TIMEDOUT);
    EXPECT_EQ(events->Next(1, 1, &event, &returned), S_OK);
    EXPECT_EQ(sleptMilliseconds(), 500u);
    event->Release();
    EXPECT_EQ(events->Next(250, 1, &event, &returned), WBEM_S_TIMEDOUT);
    EXPECT_EQ(sleptMilliseconds(), 750u);
    EXPECT_EQ(events->Next(Infinite, 1, &event, &returned), code(WBEM_E_CALL_CANCELLED));
    EXPECT_EQ(events->Reset(), code(WBEM_E_INVALID_OPERATION));
    events->Release();

    IWbemClassObject* const fan = object(u"Test_Fan.Id=\"Rear\"");
    IWbemClassObject* const fanClass = object(u"Test_Fan");
    IWbemClassObject *signature = nullptr, *in = nullptr;
    EXPECT_EQ(fan->GetMethod(L"Measure", 0, &signature, nullptr), code(WBEM_E_ILLEGAL_OPERATION));
    ASSERT_EQ(fanClass->GetMethod(L"measure", 0, &signature, nullptr), S_OK);
    ASSERT_EQ(signature->SpawnInstance(0, &in), S_OK);
    const BSTR path = SysAllocString(L"Test_Fan.Id=\"Rear\"");
    const BSTR method = SysAllocString(L"Measure");
    const auto call = [&](IWbemClassObject* parameters, LONG flags, IWbemCallResult** pending) {
        event = nullptr;
        return services->ExecMethod(path, method, flags, nullptr, parameters, &event, pending);
    };
    EXPECT_EQ(call(nullptr, 0, nullptr), code(WBEM_E_INVALID_METHOD_PARAMETERS));
    EXPECT_EQ(call(fan, 0, nullptr), code(WBEM_E_INVALID_METHOD_PARAMETERS));
    ASSERT_EQ(call(in, 0, nullptr), S_OK);
    EXPECT_EQ(sleptMilliseconds(), 1050u);
    event->Release();
    VARIANT probe;
    probe.vt = VT_I4;
    probe.ulVal = 2;
    EXPECT_EQ(in->Put(L"Probe", 0, &probe, 0), S_OK);
    EXPECT_EQ(call(in, 0, nullptr), code(WBEM_E_FAILED));
    probe.ulVal = 1;
    EXPECT_EQ(in->Put(L"Probe", 0, &probe, 0), S_OK);
    IWbemCallResult* pending = nullptr;
    EXPECT_EQ(call(in, WBEM_FLAG_RETURN_IMMEDIATELY, nullptr), code(WBEM_E_INVALID_PARAMETER));
    ASSERT_EQ(call(in, WBEM_FLAG_RETURN_IMMEDIATELY, &pending), S_OK);
    EXPECT_EQ(event, nullptr);
    LONG status = 1;
    EXPECT_EQ(pending->GetCallStatus(0, &status), WBEM_S_TIMEDOUT);
    EXPECT_EQ(pending->GetResultObject(299, &event), WBEM_S_TIMEDOUT);
    ASSERT_EQ(pending->GetResultObject(1, &event), S_OK);
    EXPECT_EQ(pending->GetCallStatus(0, &status), S_OK);
    EXPECT_EQ(status, S_OK);
    for (IUnknown* each :
         std::initializer_list<IUnknown*>{event, pending, in, signature, fan, fanClass, services}) {
        each->Release();
    }
    SysFreeString(path);
    SysFreeString(method);
    CoUninitialize();
    EXPECT_EQ(ledger().describe() + ledger().violations(), "");
}

}  // namespace
