// What COM and WMI must do wherever the library runs: checked on the simulation and, the very same, on the
// functions of a real system. Nothing of the library is asked here.
//
// Left out, because the independent implementation that this runs on differs from what is documented:
// notification queries and calls that do not wait (not there), unknown classes (an empty result there), names
// of unknown properties and methods where they fail with codes of their own, lengths of paths.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/WindowsApi.h"
#include "tests/contract/ContractText.h"
#include "tests/contract/WmiContractMachine.h"

namespace {

constexpr CLSID administrativeLocator = {
    0xCB8555CC, 0x9128, 0x11D1, {0xAD, 0x9B, 0x00, 0xC0, 0x4F, 0xD8, 0xFD, 0xFF}};
constexpr LONG Infinite = static_cast<LONG>(WBEM_INFINITE);
constexpr auto NotFound = static_cast<HRESULT>(WBEM_E_NOT_FOUND);

template <class Interface>
class Com {
public:
    Com() = default;
    ~Com() { reset(); }
    Com(const Com&) = delete;
    Com& operator=(const Com&) = delete;
    Interface* operator->() const { return m_pointer; }
    Interface* get() const { return m_pointer; }
    Interface** out() { return &m_pointer; }
    void reset() {
        if (m_pointer != nullptr) m_pointer->Release();
        m_pointer = nullptr;
    }

private:
    Interface* m_pointer = nullptr;
};

class Bstr {
public:
    explicit Bstr(const Text& text) : m_text(SysAllocStringLen(wide(text), static_cast<UINT>(text.size()))) {}
    ~Bstr() { SysFreeString(m_text); }
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    operator BSTR() const { return m_text; }

private:
    BSTR m_text;
};

// A property as it came.
struct Value {
    HRESULT result = E_FAIL;
    CIMTYPE type = CIM_EMPTY;
    VARIANT variant = {};

    Value() { VariantInit(&variant); }
    ~Value() { VariantClear(&variant); }
    Value(const Value&) = delete;
    Value& operator=(const Value&) = delete;
    Text text() const { return variant.vt == VT_BSTR ? textOf(variant.bstrVal) : Text(u"(no text)"); }
};

void get(IWbemClassObject* object, const Text& name, Value& value) {
    value.result = object->Get(wide(name), 0, &value.variant, &value.type, nullptr);
}

class WmiContract : public testing::Test {
protected:
    void SetUp() override {
        prepareWmiContractMachine();
        ASSERT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
        IUnknown* unknown = nullptr;
        ASSERT_EQ(CoCreateInstance(administrativeLocator, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER,
                                   IID_IUnknown, reinterpret_cast<void**>(&unknown)),
                  S_OK);
        // Its IUnknown is what it does its work with.
        *locator.out() = static_cast<IWbemLocator*>(unknown);
        ASSERT_EQ(connect(u"root\\cimv2", services), S_OK);
    }
    void TearDown() override {
        services.reset();
        locator.reset();
        CoUninitialize();
    }

    // The path is a plain text, as the function takes it everywhere.
    HRESULT connect(const Text& path, Com<IWbemServices>& connection) {
        return locator->ConnectServer(const_cast<BSTR>(wide(path)), nullptr, nullptr, nullptr, 0, nullptr,
                                      nullptr, connection.out());
    }
    HRESULT query(const Text& wql, Com<IEnumWbemClassObject>& rows, const Text& language = u"WQL") {
        return services->ExecQuery(Bstr(language), Bstr(wql), WBEM_FLAG_RETURN_IMMEDIATELY, nullptr,
                                   rows.out());
    }
    void first(const Text& wql, Com<IWbemClassObject>& row) {
        Com<IEnumWbemClassObject> rows;
        ULONG returned = 0;
        ASSERT_EQ(query(wql, rows), S_OK);
        ASSERT_EQ(rows->Next(Infinite, 1, row.out(), &returned), S_OK);
        ASSERT_EQ(returned, 1u);
    }

    Com<IWbemLocator> locator;
    Com<IWbemServices> services;
};

TEST_F(WmiContract, AThreadStaysInItsApartment) {
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_FALSE);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), RPC_E_CHANGED_MODE);
    CoUninitialize();
}

TEST_F(WmiContract, NamespacesAreFoundByAnySpelling) {
    for (const char16_t* path :
         {u"root\\cimv2", u"root/cimv2", u"ROOT\\CIMV2", u"\\\\.\\root\\cimv2", u"root/wmi", u"root",
          u"\\\\.\\root", u"\\/.\\root", u"//./root", u"\\\\localhost\\root"}) {
        Com<IWbemServices> connection;
        EXPECT_EQ(connect(path, connection), S_OK) << Text(path).size();
        EXPECT_NE(connection.get(), nullptr);
    }
    // As Wine's tests found it on Windows.
    for (const char16_t* path : {u"root\\nowhere", u"cimv2", u"", u"\\", u"\\\\", u"\\\\.", u"\\root",
                                 u"\\\\.\\none", u"root\\\\cimv2", u"root\\cimv2\\"}) {
        Com<IWbemServices> connection;
        EXPECT_EQ(connect(path, connection), static_cast<HRESULT>(WBEM_E_INVALID_NAMESPACE));
        EXPECT_EQ(connection.get(), nullptr);
    }
}

// Windows accepts a query that is not waited for and fails its first row; Wine refuses it at once.
TEST_F(WmiContract, WrongQueriesFailAtTheFirstRowAtTheLatest) {
    const struct {
        const char16_t* language;
        const char16_t* wql;
        unsigned result;
    } rows[] = {
        {u"WQL", u"select * from Win32_DiskDrive where", WBEM_E_INVALID_QUERY},
        {u"WQL", u"disks, please", WBEM_E_INVALID_QUERY},
        {u"SQL", u"select * from Win32_DiskDrive", WBEM_E_INVALID_QUERY_TYPE},
        {u"WQL", u"", WBEM_E_INVALID_PARAMETER},
    };
    for (const auto& row : rows) {
        Com<IEnumWbemClassObject> result;
        Com<IWbemClassObject> object;
        ULONG returned = 0;
        HRESULT failure = query(row.wql, result, row.language);
        if (failure == S_OK) failure = result->Next(Infinite, 1, object.out(), &returned);
        EXPECT_EQ(failure, static_cast<HRESULT>(row.result)) << Text(row.wql).size();
        EXPECT_EQ(object.get(), nullptr);
    }
}

TEST_F(WmiContract, RowsComInOrderAndTheEndIsNoError) {
    Com<IEnumWbemClassObject> rows;
    ASSERT_EQ(query(u"select * from Win32_DiskDrive", rows), S_OK);
    std::vector<Text> ids[2];
    for (auto& pass : ids) {
        for (;;) {
            Com<IWbemClassObject> row;
            ULONG returned = 7;
            const HRESULT result = rows->Next(Infinite, 1, row.out(), &returned);
            if (result != S_OK) {
                EXPECT_EQ(result, WBEM_S_FALSE);
                EXPECT_EQ(returned, 0u);
                EXPECT_EQ(row.get(), nullptr);
                break;
            }
            EXPECT_EQ(returned, 1u);
            Value id;
            get(row.get(), u"DeviceID", id);
            pass.push_back(id.text());
        }
        EXPECT_EQ(rows->Reset(), S_OK);
    }
    EXPECT_FALSE(ids[0].empty());
    EXPECT_EQ(ids[0], ids[1]);
}

TEST_F(WmiContract, ConditionsChoose) {
    const struct {
        const char16_t* condition;
        bool matches;
    } rows[] = {
        {u"Index = 0", true},     {u"Index <> 0 and InterfaceType = 'IDE' and Index = 0", false},
        {u"Index > 1000", false}, {u"InterfaceType = 'none' or Index < 1", true},
        {u"INDEX = 0", true},
    };
    for (const auto& row : rows) {
        Com<IEnumWbemClassObject> result;
        Com<IWbemClassObject> object;
        ULONG returned = 0;
        ASSERT_EQ(query(Text(u"select * from Win32_DiskDrive where ") + row.condition, result), S_OK);
        const HRESULT next = result->Next(Infinite, 1, object.out(), &returned);
        EXPECT_EQ(next == S_OK, row.matches) << Text(row.condition).size();
    }
}

TEST_F(WmiContract, PropertiesComInTheFieldsThatWmiUses) {
    Com<IWbemClassObject> disk, processor;
    first(u"select * from Win32_DiskDrive", disk);
    first(u"select * from Win32_Processor", processor);
    ASSERT_NE(disk.get(), nullptr);
    ASSERT_NE(processor.get(), nullptr);
    const struct {
        IWbemClassObject* object;
        const char16_t* name;
        CIMTYPE type;
        VARTYPE field;
    } rows[] = {
        {disk.get(), u"InterfaceType", CIM_STRING, VT_BSTR},
        {disk.get(), u"deviceid", CIM_STRING, VT_BSTR},
        {disk.get(), u"Index", CIM_UINT32, VT_I4},
        {disk.get(), u"Size", CIM_UINT64, VT_BSTR},
        {processor.get(), u"AddressWidth", CIM_UINT16, VT_I4},
        {processor.get(), u"NumberOfCores", CIM_UINT32, VT_I4},
        {processor.get(), u"UniqueId", CIM_STRING, VT_NULL},
        {disk.get(), u"__CLASS", CIM_STRING, VT_BSTR},
        {disk.get(), u"__PATH", CIM_STRING, VT_BSTR},
    };
    for (const auto& row : rows) {
        Value value;
        get(row.object, row.name, value);
        EXPECT_EQ(value.result, S_OK) << Text(row.name).size();
        EXPECT_EQ(value.type, row.type) << Text(row.name).size();
        EXPECT_EQ(value.variant.vt, row.field) << Text(row.name).size();
    }
    Value name, size;
    get(disk.get(), u"__CLASS", name);
    EXPECT_EQ(name.text(), u"Win32_DiskDrive");
    get(disk.get(), u"Size", size);
    EXPECT_EQ(size.text().find_first_not_of(u"0123456789"), Text::npos) << "decimal digits";
    CIMTYPE type = CIM_EMPTY;
    EXPECT_EQ(disk->Get(wide(u"Index"), 0, nullptr, &type, nullptr), S_OK)
        << "the type alone may be asked for";
    EXPECT_EQ(type, CIM_UINT32);
}

TEST_F(WmiContract, PropertiesAreListedWithoutTheSystemsOwn) {
    Com<IWbemClassObject> disk;
    first(u"select * from Win32_DiskDrive", disk);
    ASSERT_NE(disk.get(), nullptr);
    SAFEARRAY* names = nullptr;
    ASSERT_EQ(disk->GetNames(nullptr, WBEM_FLAG_ALWAYS | WBEM_FLAG_NONSYSTEM_ONLY, nullptr, &names), S_OK);
    ASSERT_NE(names, nullptr);
    EXPECT_EQ(names->cDims, 1);
    EXPECT_EQ(names->cbElements, sizeof(BSTR));
    unsigned found = 0;
    void* data = nullptr;
    EXPECT_EQ(SafeArrayAccessData(names, &data), S_OK);
    for (ULONG i = 0; i < names->rgsabound[0].cElements; ++i) {
        const Text name = textOf(static_cast<BSTR*>(data)[i]);
        EXPECT_NE(name.substr(0, 2), u"__");
        if (name == u"Index" || name == u"Size" || name == u"InterfaceType") ++found;
    }
    EXPECT_EQ(SafeArrayUnaccessData(names), S_OK);
    EXPECT_EQ(SafeArrayDestroy(names), S_OK);
    EXPECT_EQ(found, 3u);
}

TEST_F(WmiContract, AnObjectIsShownAsMof) {
    Com<IWbemClassObject> disk;
    first(u"select * from Win32_DiskDrive", disk);
    ASSERT_NE(disk.get(), nullptr);
    BSTR mof = nullptr;
    ASSERT_EQ(disk->GetObjectText(0, &mof), S_OK);
    const Text text = textOf(mof);
    SysFreeString(mof);
    EXPECT_NE(text.find(u"instance of Win32_DiskDrive\n{"), Text::npos);
    EXPECT_NE(text.find(u"\tIndex = 0;\n"), Text::npos);
    EXPECT_NE(text.find(u"\tInterfaceType = \""), Text::npos);
}

TEST_F(WmiContract, AStaticMethodIsCalledOnItsClass) {
    Com<IWbemClassObject> registry, in, parameters, out;
    ASSERT_EQ(services->GetObject(Bstr(u"StdRegProv"), 0, nullptr, registry.out(), nullptr), S_OK);
    ASSERT_EQ(registry->GetMethod(wide(u"EnumKey"), 0, in.out(), nullptr), S_OK);
    ASSERT_NE(in.get(), nullptr);
    ASSERT_EQ(in->SpawnInstance(0, parameters.out()), S_OK);
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_I4;
    value.lVal = static_cast<LONG>(0x80000002);
    EXPECT_EQ(parameters->Put(wide(u"hDefKey"), 0, &value, 0), S_OK);
    const Bstr software(u"Software");
    value.vt = VT_BSTR;
    value.bstrVal = software;
    EXPECT_EQ(parameters->Put(wide(u"sSubKeyName"), 0, &value, 0), S_OK);
    Value written;
    get(parameters.get(), u"sSubKeyName", written);
    EXPECT_EQ(written.text(), u"Software");

    ASSERT_EQ(services->ExecMethod(Bstr(u"StdRegProv"), Bstr(u"EnumKey"), 0, nullptr, parameters.get(),
                                   out.out(), nullptr),
              S_OK);
    ASSERT_NE(out.get(), nullptr);
    Value code, names;
    get(out.get(), u"ReturnValue", code);
    EXPECT_EQ(code.type, CIM_UINT32);
    EXPECT_EQ(code.variant.vt, VT_I4);
    EXPECT_EQ(code.variant.lVal, 0);
    get(out.get(), u"sNames", names);
    EXPECT_EQ(names.type, CIM_STRING | CIM_FLAG_ARRAY);
    ASSERT_EQ(names.variant.vt, VT_ARRAY | VT_BSTR);
    EXPECT_EQ(names.variant.parray->cDims, 1);
    EXPECT_GT(names.variant.parray->rgsabound[0].cElements, 0u);
}

TEST_F(WmiContract, WhatThereIsNotIsNotFound) {
    Com<IWbemClassObject> nothing, registry, in;
    EXPECT_EQ(services->GetObject(Bstr(u"Win32_Nothing"), 0, nullptr, nothing.out(), nullptr), NotFound);
    EXPECT_EQ(nothing.get(), nullptr);
    ASSERT_EQ(services->GetObject(Bstr(u"StdRegProv"), 0, nullptr, registry.out(), nullptr), S_OK);
    EXPECT_EQ(registry->GetMethod(wide(u"EnumNothing"), 0, in.out(), nullptr), NotFound);
    EXPECT_EQ(in.get(), nullptr);
    EXPECT_TRUE(FAILED(services->ExecMethod(Bstr(u"StdRegProv"), Bstr(u"EnumNothing"), 0, nullptr, nullptr,
                                            in.out(), nullptr)));
    Value value;
    get(registry.get(), u"Nothing", value);
    EXPECT_TRUE(FAILED(value.result));
    EXPECT_EQ(value.variant.vt, VT_EMPTY) << "a failure leaves the value alone";
}

}  // namespace
