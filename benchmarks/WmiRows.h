// Two ways to read the rows of a WMI query, five properties each: through the library, and with the bare COM
// calls that the library makes. Both add up what they read, so that it can be seen to be the same.
#pragma once

#include <array>

#include "libSysmira/wmi/Wmi.h"
#include "support/WindowsApi.h"

namespace benchmarks {

struct Column {
    const WCHAR* name;
    CIMTYPE type;  ///< boolean, uint32, uint64, real64 or string
};

struct RowsQuery {
    const WCHAR* wql;
    std::array<Column, 5> columns;
};

struct Sum {
    unsigned rows = 0;
    unsigned long long total = 0;
    bool operator==(const Sum&) const = default;
};

/// Runs its query once; each read() goes over all rows, from the first on.
class LibraryRows {
public:
    explicit LibraryRows(const RowsQuery& query);
    Sum read();

private:
    RowsQuery m_query;
    std::array<zor::String, 5> m_names;
    libSysmira::WmiNamespace m_wmi;
    libSysmira::WmiQueryResult m_rows;
    libSysmira::WmiObject m_row;
};

class BareRows {
public:
    explicit BareRows(const RowsQuery& query);
    ~BareRows();
    BareRows(const BareRows&) = delete;
    BareRows& operator=(const BareRows&) = delete;
    Sum read();

private:
    RowsQuery m_query;
    IWbemLocator* m_locator = nullptr;
    IWbemServices* m_services = nullptr;
    IEnumWbemClassObject* m_rows = nullptr;
};

}  // namespace benchmarks
