#include "benchmarks/WmiRows.h"

#include <cstdlib>
#include <string>

#include "support/CodeUnitTraits.h"
#include "support/LogFactory.h"

namespace benchmarks {

namespace {

using libSysmira::WmiObject;

constexpr auto Infinite = static_cast<DWORD>(WBEM_INFINITE);
constexpr CLSID administrativeLocator = {
    0xCB8555CC, 0x9128, 0x11D1, {0xAD, 0x9B, 0x00, 0xC0, 0x4F, 0xD8, 0xFD, 0xFF}};

template <class Value>
unsigned long long numberOf(const WmiObject& row, const zor::String& name) {
    Value value = {};
    row.getProperty(name, value);
    return static_cast<unsigned long long>(value);
}

unsigned long long valueOf(const WmiObject& row, const zor::String& name, CIMTYPE type) {
    switch (type) {
        case CIM_BOOLEAN:
            return numberOf<bool>(row, name);
        case CIM_UINT32:
            return numberOf<unsigned int>(row, name);
        case CIM_UINT64:
            return numberOf<unsigned long long>(row, name);
        case CIM_REAL64:
            return numberOf<double>(row, name);
        default: {
            zor::String text;
            return row.getProperty(name, text) ? text.size() : 0;
        }
    }
}

unsigned long long digitsOf(BSTR text) {
    unsigned long long value = 0;
    for (; *text != 0; ++text) value = value * 10 + static_cast<unsigned>(*text - '0');
    return value;
}

unsigned long long valueOf(IWbemClassObject* row, const Column& column) {
    VARIANT value;
    CIMTYPE type = CIM_EMPTY;
    VariantInit(&value);
    unsigned long long number = 0;
    if (row->Get(column.name, 0, &value, &type, nullptr) == S_OK && value.vt != VT_NULL) {
        switch (column.type) {
            case CIM_BOOLEAN:
                number = value.boolVal != 0 ? 1 : 0;
                break;
            case CIM_UINT32:
                number = value.ulVal;
                break;
            case CIM_UINT64:
                number = digitsOf(value.bstrVal);
                break;
            case CIM_REAL64:
                number = static_cast<unsigned long long>(value.dblVal);
                break;
            default: {
                const std::basic_string<WCHAR, zor::CodeUnitTraits> text(value.bstrVal,
                                                                         SysStringLen(value.bstrVal));
                number = text.size();
            }
        }
    }
    VariantClear(&value);
    return number;
}

}  // namespace

LibraryRows::LibraryRows(const RowsQuery& query) : m_query(query) {
    // The line that ends each enumeration would go to the debugger, which takes its time.
    zor::LogFactory::setPriority(zor::Error);
    for (size_t i = 0; i < m_names.size(); ++i) m_names[i] = query.columns[i].name;
    if (!m_wmi.connect("root\\cimv2") || !m_wmi.query(query.wql, m_rows)) std::abort();
}

Sum LibraryRows::read() {
    Sum sum;
    m_rows.reset();
    while (m_rows.next(m_row, Infinite)) {
        ++sum.rows;
        for (size_t i = 0; i < m_names.size(); ++i)
            sum.total += valueOf(m_row, m_names[i], m_query.columns[i].type);
    }
    return sum;
}

BareRows::BareRows(const RowsQuery& query) : m_query(query) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_PKT, RPC_C_IMP_LEVEL_IMPERSONATE,
                         nullptr, EOAC_NONE, nullptr);
    CoCreateInstance(administrativeLocator, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER,
                     IID_IWbemLocator, reinterpret_cast<void**>(&m_locator));
    const BSTR path = SysAllocString(L"root\\cimv2"), language = SysAllocString(L"WQL"),
               text = SysAllocString(query.wql);
    m_locator->ConnectServer(path, nullptr, nullptr, nullptr, 0, nullptr, nullptr, &m_services);
    m_services->ExecQuery(language, text, WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, &m_rows);
    for (const BSTR used : {path, language, text}) SysFreeString(used);
}

BareRows::~BareRows() {
    m_rows->Release();
    m_services->Release();
    m_locator->Release();
    CoUninitialize();
}

Sum BareRows::read() {
    Sum sum;
    IWbemClassObject* row = nullptr;
    ULONG returned = 0;
    m_rows->Reset();
    while (m_rows->Next(static_cast<LONG>(Infinite), 1, &row, &returned) == S_OK && returned == 1) {
        ++sum.rows;
        for (const Column& column : m_query.columns) sum.total += valueOf(row, column);
        row->Release();
    }
    return sum;
}

}  // namespace benchmarks
