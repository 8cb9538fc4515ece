// What COM and the shell must do where there is no help pane and no folder of network connections: checked on
// the simulation and, the very same, on the functions of a real system. Nothing of the library is asked here.
#include <gtest/gtest.h>

#include <iterator>

#include "support/WindowsApi.h"

namespace {

constexpr CLSID networkConnections = {
    0x7007ACC7, 0x3202, 0x11D1, {0xAA, 0xD2, 0x00, 0x80, 0x5F, 0xC1, 0x27, 0x0E}};
constexpr CLSID helpPane = {0x8CEC58E7, 0x07A1, 0x11D9, {0xB1, 0x5E, 0x00, 0x0D, 0x56, 0xBF, 0xE6, 0xEE}};
constexpr CLSID classes[] = {networkConnections, helpPane};

struct Made {
    HRESULT result;
    bool isNull;
};

Made make(REFCLSID wanted) {
    void* object = reinterpret_cast<void*>(&object);  // what a failing call must take away
    const HRESULT result =
        CoCreateInstance(wanted, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER, IID_IUnknown, &object);
    return {result, object == nullptr};
}

TEST(ShellContract, ClassesThatAreNotThereAreNotRegistered) {
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    for (const CLSID& each : classes) {
        const Made made = make(each);
        EXPECT_EQ(made.result, REGDB_E_CLASSNOTREG);
        EXPECT_TRUE(made.isNull);
    }
    CoUninitialize();
}

TEST(ShellContract, OutsideComNoClassIsThere) {
    for (const CLSID& each : classes) {
        const Made made = make(each);
        EXPECT_EQ(made.result, CO_E_NOTINITIALIZED);
        EXPECT_TRUE(made.isNull);
    }
}

TEST(ShellContract, TheAllocatorNeedsNoApartment) {
    IMalloc* allocator = nullptr;
    ASSERT_EQ(SHGetMalloc(&allocator), S_OK);
    ASSERT_NE(allocator, nullptr);
    allocator->Free(nullptr);
    allocator->Release();
    CoTaskMemFree(nullptr);
}

TEST(ShellContract, AModuleThatIsNotThereHasNoFunctions) {
    const WCHAR name[] = {'n', 'o', ' ', 's', 'u', 'c', 'h', '.', 'o', 'c', 'x', 0};
    EXPECT_EQ(LoadLibraryW(name), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
}

}  // namespace
