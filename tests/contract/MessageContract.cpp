// Messages of a message file, and classic logs.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/contract/MessageContractMachine.h"

namespace {

constexpr DWORD WithInserts =
    FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY;
constexpr DWORD WithoutInserts =
    FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS;

ULONG_PTR text(const WCHAR* value) { return reinterpret_cast<ULONG_PTR>(value); }

class Messages : public testing::Test {
protected:
    void SetUp() override {
        module = LoadLibraryExW(contractMessageFile(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
        ASSERT_NE(module, nullptr) << GetLastError();
    }
    void TearDown() override { EXPECT_TRUE(FreeLibrary(module)); }

    // The message in ASCII, or the last error.
    std::string format(DWORD flags, DWORD id, std::vector<ULONG_PTR> arguments = {}) const {
        WCHAR* allocated = nullptr;
        SetLastError(0);
        const DWORD units =
            FormatMessageW(flags, module, id, 0, reinterpret_cast<LPWSTR>(&allocated), 1,
                           arguments.empty() ? nullptr : reinterpret_cast<va_list*>(arguments.data()));
        if (units == 0) return "error " + std::to_string(GetLastError());
        EXPECT_EQ(allocated[units], 0) << "terminated, the terminator not counted";
        std::string result;
        for (DWORD i = 0; i < units; ++i) result += static_cast<char>(allocated[i]);
        EXPECT_EQ(LocalFree(allocated), nullptr);
        return result;
    }

    HMODULE module = nullptr;
};

TEST_F(Messages, InsertsAreReplacedByArguments) {
    EXPECT_EQ(format(WithInserts, 0xC0040007, {text(L"CPU"), text(L"900")}),
              "Fan CPU stopped at 900 turns.\r\n");
    EXPECT_EQ(format(WithInserts, 8, {text(L"one"), text(L"two"), text(L"three")}),
              "one is [two   ] 50% of\r\nthree");
    EXPECT_EQ(format(WithInserts, 9, {text(L"")}), "  Nothing is asked.\r\n");
    EXPECT_EQ(format(WithInserts, 9), "  Nothing is asked.\r\n");
    EXPECT_EQ(format(WithInserts, 10, {text(L"one"), text(L"two")}), "two before one, and one again");
    EXPECT_EQ(format(WithInserts, 11, {0xC0DE, static_cast<ULONG_PTR>(-5)}), "0000C0DE 49374 -5");
    EXPECT_EQ(format(WithInserts, 13, {5, text(L"abc")}), "[  abc]");
    std::vector<ULONG_PTR> twelve(11, text(L""));
    twelve.push_back(text(L"twelve"));
    EXPECT_EQ(format(WithInserts, 14, twelve), "twelve34") << "inserts have one or two digits";
}

TEST_F(Messages, InsertsPassThroughWhenIgnored) {
    EXPECT_EQ(format(WithoutInserts, 0xC0040007), "Fan %1 stopped at %2 turns.\r\n");
    EXPECT_EQ(format(WithoutInserts, 10), "%2 before %1, and %1 again");
}

TEST_F(Messages, WhatIsMissingHasItsCode) {
    EXPECT_EQ(format(WithInserts, 99, {text(L"")}), "error 317");
    EXPECT_EQ(format(WithoutInserts, 7), "error 317") << "severity and facility count";
    EXPECT_EQ(LoadLibraryExW(L"C:\\nowhere.dll", nullptr, LOAD_LIBRARY_AS_DATAFILE), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(LoadLibraryExW(L"C:\\nowhere.dll", nullptr, 0), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
}

TEST(ClassicLogs, ALogIsReadInWholeRecordsToItsEnd) {
    prepareClassicLog();
    const HANDLE log = OpenEventLogW(nullptr, L"Application");
    ASSERT_NE(log, nullptr) << GetLastError();
    static unsigned char buffer[0x10000];
    DWORD read = 0, needed = 0;
    for (int i = 0; i < 3; ++i) {
        if (!ReadEventLogW(log, EVENTLOG_SEQUENTIAL_READ | EVENTLOG_FORWARDS_READ, 0, buffer, sizeof buffer,
                           &read, &needed)) {
            EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_HANDLE_EOF));
            break;
        }
        DWORD at = 0;
        while (at + sizeof(EVENTLOGRECORD) <= read) {
            const auto& record = *reinterpret_cast<const EVENTLOGRECORD*>(buffer + at);
            ASSERT_GE(record.Length, sizeof(EVENTLOGRECORD));
            at += record.Length;
        }
        EXPECT_EQ(at, read);
    }
    EXPECT_TRUE(CloseEventLog(log));
}

// The arguments are checked before the handle. Left out: reading, for which the independent implementation
// checks the handle first.
TEST(ClassicLogs, MissingArgumentsAreNotedFirst) {
    DWORD number = 77;
    for (auto* const ask : {GetNumberOfEventLogRecords, GetOldestEventLogRecord}) {
        SetLastError(0);
        EXPECT_FALSE(ask(nullptr, nullptr));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
        EXPECT_FALSE(ask(nullptr, &number));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
        EXPECT_EQ(number, 77u);
    }
    SetLastError(0);
    EXPECT_EQ(OpenEventLogW(nullptr, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(OpenEventLogW(L"nowhere", nullptr), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_FALSE(CloseEventLog(nullptr));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

}  // namespace
