// What functions of files, modules, environment and time must do wherever the library runs: the same
// assertions run against the simulation and a real system.
#include <gtest/gtest.h>

#include "support/WindowsApi.h"
#include "tests/contract/ContractText.h"

namespace {

template <class Result>
void expectFailure(Result result, DWORD error) {
    EXPECT_FALSE(result);
    EXPECT_EQ(GetLastError(), error);
}

TEST(SystemContract, FilesThatAreNotThereHaveNoVersion) {
    DWORD unused = 4711;
    SetLastError(Marker);
    expectFailure(GetFileVersionInfoSizeW(L"C:\\not there.dll", &unused), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(unused, 0u);
}

TEST(SystemContract, ModulesThatAreNoneAreNotFound) {
    SetLastError(Marker);
    expectFailure(LoadLibraryW(L"not there.dll"), ERROR_MOD_NOT_FOUND);
    expectFailure(LoadLibraryExW(L"C:\\not there.dll", nullptr, LOAD_LIBRARY_AS_DATAFILE),
                  ERROR_FILE_NOT_FOUND);
    expectFailure(GetProcAddress(nullptr, "NotThere"), ERROR_PROC_NOT_FOUND);
}

TEST(SystemContract, TheProgramsPathIsCutShort) {
    WCHAR path[MAX_PATH] = {};
    SetLastError(Marker);
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    EXPECT_EQ(length, textOf(path).size());
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
    WCHAR few[4] = {L'?', L'?', L'?', L'?'};
    EXPECT_EQ(GetModuleFileNameW(nullptr, few, 4), 4u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(Text(few, few + 3), textOf(path).substr(0, 3));
}

TEST(SystemContract, ANullTextExpandsToAnEmptyOne) {
    WCHAR expanded[4] = {L'?'};
    EXPECT_EQ(ExpandEnvironmentStringsW(nullptr, expanded, 4), 1u);
    EXPECT_EQ(expanded[0], 0);
}

TEST(SystemContract, ConversionsNeedATextAndRoomForIt) {
    WCHAR units[8] = {};
    SetLastError(Marker);
    expectFailure(MultiByteToWideChar(CP_ACP, 0, "text", 0, units, 8), ERROR_INVALID_PARAMETER);
    expectFailure(MultiByteToWideChar(CP_ACP, 0, "text", 4, units, 3), ERROR_INSUFFICIENT_BUFFER);
}

// An hour ahead of UTC, two from the last Sunday in March at 2:00 to the last one in October at 3:00.
TIME_ZONE_INFORMATION centralEurope() {
    TIME_ZONE_INFORMATION zone = {};
    zone.Bias = -60;
    zone.DaylightBias = -60;
    zone.DaylightDate.wMonth = 3;
    zone.DaylightDate.wDay = 5;
    zone.DaylightDate.wHour = 2;
    zone.StandardDate.wMonth = 10;
    zone.StandardDate.wDay = 5;
    zone.StandardDate.wHour = 3;
    return zone;
}

TEST(SystemContract, TheRulesOfAZoneSayWhenItsSummerIs) {
    const TIME_ZONE_INFORMATION north = centralEurope();
    TIME_ZONE_INFORMATION south = north;  // summer over the turn of the year
    std::swap(south.DaylightDate, south.StandardDate);
    TIME_ZONE_INFORMATION noRules = north;
    noRules.DaylightDate = noRules.StandardDate = {};
    noRules.StandardBias = -30;
    const struct {
        const TIME_ZONE_INFORMATION& zone;
        SYSTEMTIME utc;
        WORD hour, minute;
    } cases[] = {
        {north, {2021, 1, 0, 15, 12, 0, 0, 0}, 13, 0},   {north, {2021, 7, 0, 15, 12, 0, 0, 0}, 14, 0},
        {north, {2021, 3, 0, 28, 0, 59, 0, 0}, 1, 59},   {north, {2021, 3, 0, 28, 1, 0, 0, 0}, 3, 0},
        {north, {2021, 10, 0, 31, 0, 59, 59, 0}, 2, 59}, {north, {2021, 10, 0, 31, 1, 0, 0, 0}, 2, 0},
        {north, {2021, 10, 0, 24, 12, 0, 0, 0}, 14, 0},  {south, {2021, 1, 0, 15, 12, 0, 0, 0}, 14, 0},
        {south, {2021, 7, 0, 15, 12, 0, 0, 0}, 13, 0},   {noRules, {2021, 7, 0, 15, 12, 0, 0, 0}, 13, 0},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(testing::Message() << one.utc.wMonth << "-" << one.utc.wDay << " " << one.utc.wHour);
        SYSTEMTIME local = {};
        EXPECT_TRUE(SystemTimeToTzSpecificLocalTime(&one.zone, &one.utc, &local));
        EXPECT_EQ(local.wHour, one.hour);
        EXPECT_EQ(local.wMinute, one.minute);
    }
    const SYSTEMTIME impossible = {2021, 13, 0, 1, 0, 0, 0, 0};
    SYSTEMTIME local = {};
    SetLastError(Marker);
    expectFailure(SystemTimeToTzSpecificLocalTime(&north, &impossible, &local), ERROR_INVALID_PARAMETER);
}

}  // namespace
