// What the Performance Data Helper must do wherever the library runs: checked on the simulation and, the very
// same, on the functions of a real system. Nothing of the library is asked here.
//
// Left out, because the independent implementation that this runs on differs from what is documented or has
// nothing: lists of objects and items, names of objects, asking for the size of a name, real numbers, rates
// before their second sample, the number of an instance that is none.
#include <gtest/gtest.h>

#include <string>

#include "support/WindowsApi.h"
#include "tests/contract/ContractText.h"
#include "tests/contract/CounterContractMachine.h"

namespace {

constexpr DWORD upTimeIndex = 674;
constexpr DWORD roomy = 600;

DWORD unsignedOf(PDH_STATUS status) { return static_cast<DWORD>(status); }

class CounterContract : public testing::Test {
protected:
    void SetUp() override { prepareCounterContractMachine(); }

    // A function's text with what it says of its size.
    struct Answer {
        DWORD status = 0;
        DWORD size = 0;
        Text text;
        bool operator==(const Answer&) const = default;
    };
    template <class Ask>
    static Answer answer(DWORD room, Ask&& ask) {
        WCHAR buffer[roomy + 1] = {};
        Answer result;
        result.size = room;
        result.status = unsignedOf(ask(room != 0 ? buffer : nullptr, &result.size));
        for (const WCHAR* unit = buffer; result.status == ERROR_SUCCESS && *unit != 0; ++unit) {
            result.text += static_cast<char16_t>(*unit);
        }
        return result;
    }
    static Answer nameOf(DWORD index, DWORD room) {
        return answer(room, [&](LPWSTR buffer, LPDWORD size) {
            return PdhLookupPerfNameByIndexW(nullptr, index, buffer, size);
        });
    }
    static Answer path(LPCWSTR object, LPCWSTR counter, DWORD room) {
        PDH_COUNTER_PATH_ELEMENTS_W elements = {};
        elements.szObjectName = const_cast<LPWSTR>(object);
        elements.szCounterName = const_cast<LPWSTR>(counter);
        elements.dwInstanceIndex = static_cast<DWORD>(-1);
        return answer(room, [&](LPWSTR buffer, LPDWORD size) {
            return PdhMakeCounterPathW(&elements, buffer, size, 0);
        });
    }
};

TEST_F(CounterContract, NamesHaveIndices) {
    EXPECT_EQ(nameOf(upTimeIndex, roomy), (Answer{ERROR_SUCCESS, 15, u"System Up Time"}));
    EXPECT_EQ(nameOf(upTimeIndex, 15).text, u"System Up Time");
    EXPECT_EQ(nameOf(upTimeIndex, 14), (Answer{PDH_MORE_DATA, 15, u""})) << "units, with the terminator";
    EXPECT_EQ(nameOf(60000, roomy).status, PDH_INVALID_ARGUMENT);

    DWORD one = 1;
    // Index 0 has no name: Windows 10 answers with success and an empty one, Wine 8 as for any unknown index.
    const PDH_STATUS unnamed = PdhLookupPerfNameByIndexW(nullptr, 0, nullptr, &one);
    EXPECT_TRUE(unnamed == ERROR_SUCCESS || unnamed == static_cast<PDH_STATUS>(PDH_INVALID_ARGUMENT))
        << unnamed;
    EXPECT_EQ(one, 1u);

    DWORD index = 77;
    EXPECT_EQ(unsignedOf(PdhLookupPerfIndexByNameW(nullptr, wide(u"No such name"), &index)),
              PDH_STRING_NOT_FOUND);
    EXPECT_EQ(index, 77u);
    EXPECT_EQ(PdhLookupPerfIndexByNameW(nullptr, wide(u"System Up Time"), &index), ERROR_SUCCESS);
    EXPECT_EQ(index, upTimeIndex);
    EXPECT_EQ(unsignedOf(PdhLookupPerfIndexByNameW(nullptr, nullptr, &index)), PDH_INVALID_ARGUMENT);
    EXPECT_EQ(unsignedOf(PdhLookupPerfIndexByNameW(nullptr, wide(u"System Up Time"), nullptr)),
              PDH_INVALID_ARGUMENT);
}

TEST_F(CounterContract, PathsAreMadeOfObjectAndCounter) {
    const Text object = u"System", counter = u"System Up Time";
    EXPECT_EQ(path(wide(object), wide(counter), roomy),
              (Answer{ERROR_SUCCESS, 23, u"\\System\\System Up Time"}));
    EXPECT_EQ(path(wide(object), wide(counter), 23).status, ERROR_SUCCESS);
    for (const DWORD room : {0u, 5u, 22u}) {
        EXPECT_EQ(path(wide(object), wide(counter), room), (Answer{PDH_MORE_DATA, 23, u""})) << room;
    }
    EXPECT_EQ(path(nullptr, wide(counter), roomy).status, PDH_INVALID_ARGUMENT);
    EXPECT_EQ(path(wide(object), nullptr, roomy).status, PDH_INVALID_ARGUMENT);
}

TEST_F(CounterContract, PathsAreValidated) {
    const struct {
        Text path;
        DWORD status;
    } rows[] = {
        {u"\\System\\System Up Time", ERROR_SUCCESS},
        {u"\\Processor(_Total)\\% Processor Time", ERROR_SUCCESS},
        {u"\\System\\Nothing", PDH_CSTATUS_NO_COUNTER},
        {u"System", PDH_CSTATUS_BAD_COUNTERNAME},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(unsignedOf(PdhValidatePathW(wide(row.path))), row.status) << row.path.size();
    }
    EXPECT_EQ(unsignedOf(PdhValidatePathW(nullptr)), PDH_INVALID_ARGUMENT);
    EXPECT_EQ(unsignedOf(PdhValidatePathW(wide(u""))), PDH_INVALID_ARGUMENT);
}

TEST_F(CounterContract, AQuerySamplesItsCounters) {
    const Text upTime = u"\\System\\System Up Time";
    PDH_HQUERY query = nullptr;
    PDH_HCOUNTER counter = nullptr, other = &query;
    EXPECT_EQ(unsignedOf(PdhOpenQueryW(nullptr, 0, nullptr)), PDH_INVALID_ARGUMENT);
    ASSERT_EQ(PdhOpenQueryW(nullptr, 0, &query), ERROR_SUCCESS);
    EXPECT_EQ(unsignedOf(PdhCollectQueryData(query)), PDH_NO_DATA) << "no counters";
    EXPECT_EQ(unsignedOf(PdhAddCounterW(query, wide(u"\\System\\Nothing"), 0, &other)),
              PDH_CSTATUS_NO_COUNTER);
    EXPECT_EQ(other, nullptr) << "a counter that could not be added";
    EXPECT_EQ(unsignedOf(PdhAddCounterW(nullptr, wide(upTime), 0, &other)), PDH_INVALID_HANDLE);
    EXPECT_EQ(unsignedOf(PdhAddCounterW(nullptr, wide(upTime), 0, nullptr)), PDH_INVALID_ARGUMENT);
    EXPECT_EQ(unsignedOf(PdhAddCounterW(query, nullptr, 0, &other)), PDH_INVALID_ARGUMENT);
    ASSERT_EQ(PdhAddCounterW(query, wide(upTime), 0, &counter), ERROR_SUCCESS);
    PDH_FMT_COUNTERVALUE large = {}, again = {}, narrow = {};
    EXPECT_EQ(PdhGetFormattedCounterValue(counter, PDH_FMT_LARGE, nullptr, &large), ERROR_SUCCESS)
        << "no rate: readable before the first collection";
    ASSERT_EQ(PdhCollectQueryData(query), ERROR_SUCCESS);

    EXPECT_EQ(PdhGetFormattedCounterValue(counter, PDH_FMT_LARGE, nullptr, &large), ERROR_SUCCESS);
    EXPECT_GT(large.largeValue, 0);
    EXPECT_EQ(PdhGetFormattedCounterValue(counter, PDH_FMT_LONG, nullptr, &narrow), ERROR_SUCCESS);
    EXPECT_EQ(narrow.longValue, large.largeValue);
    EXPECT_EQ(PdhGetFormattedCounterValue(counter, PDH_FMT_LARGE, nullptr, &again), ERROR_SUCCESS);
    EXPECT_EQ(again.largeValue, large.largeValue) << "reading takes no sample";
    for (const DWORD flag : {PDH_FMT_NOSCALE, PDH_FMT_NOCAP100, PDH_FMT_1000}) {
        EXPECT_EQ(PdhGetFormattedCounterValue(counter, PDH_FMT_LARGE | flag, nullptr, &again), ERROR_SUCCESS)
            << flag;
    }
    EXPECT_EQ(unsignedOf(PdhGetFormattedCounterValue(counter, PDH_FMT_LARGE, nullptr, nullptr)),
              PDH_INVALID_ARGUMENT);
    EXPECT_EQ(unsignedOf(PdhGetFormattedCounterValue(nullptr, PDH_FMT_LARGE, nullptr, &large)),
              PDH_INVALID_HANDLE);
    EXPECT_EQ(PdhCloseQuery(query), ERROR_SUCCESS);
    EXPECT_EQ(unsignedOf(PdhCloseQuery(nullptr)), PDH_INVALID_HANDLE);
}

}  // namespace
