// The DLL's WMI client on the system's own WMI.
#include <gtest/gtest.h>

#include <string>

#include "libSysmira/wmi/Wmi.h"
#include "support/RaisedException.h"
#include "tests/windows/PlainText.h"

namespace {

using libSysmira::getLastWmiResult;
using libSysmira::WmiNamespace;
using libSysmira::WmiObject;
using libSysmira::WmiQueryResult;

constexpr auto Infinite = static_cast<DWORD>(WBEM_INFINITE);

class WmiDll : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(wmi.connect("root\\cimv2")) << getLastWmiResult(); }

    WmiNamespace wmi;
    WmiQueryResult result;
    WmiObject object;
};

TEST_F(WmiDll, DisksHaveTheirTypes) {
    ASSERT_TRUE(wmi.query("select * from Win32_DiskDrive", result));
    ASSERT_TRUE(result.next(object, Infinite));
    zor::String text;
    unsigned int index = 77;
    unsigned short narrow = 77;
    unsigned long long size = 0;
    EXPECT_TRUE(object.getClassName(text));
    EXPECT_EQ(plain(text), "Win32_DiskDrive");
    EXPECT_TRUE(object.getPath(text));
    EXPECT_NE(plain(text).find("Win32_DiskDrive."), std::string::npos);
    EXPECT_EQ(plain(text).back(), '"') << "nothing behind the path";
    EXPECT_TRUE(object.getProperty("Index", index));
    EXPECT_EQ(index, 0u);
    EXPECT_FALSE(object.getProperty("Index", narrow));
    EXPECT_EQ(narrow, 77);
    EXPECT_TRUE(object.getProperty("Size", size));
    EXPECT_GT(size, 0u);
    EXPECT_FALSE(object.getProperty("Nothing", index));
    EXPECT_NE(plain(object.toString()).find("instance of Win32_DiskDrive"), std::string::npos);
}

TEST_F(WmiDll, AResultIsRewoundAndOutlivesItsNamespace) {
    {
        WmiNamespace other;
        ASSERT_TRUE(other.connect("root/cimv2"));
        ASSERT_TRUE(other.query("select * from Win32_LogicalDisk", result));
    }
    const auto rows = [&] {
        std::string texts;
        zor::String id;
        unsigned int type = 0;
        while (result.next(object, Infinite)) {
            EXPECT_TRUE(object.getProperty("DeviceID", id));
            EXPECT_TRUE(object.getProperty("DriveType", type));
            texts += plain(id) + " " + std::to_string(type) + "\n";
        }
        EXPECT_EQ(getLastWmiResult(), WBEM_S_FALSE);
        return texts;
    };
    const std::string once = rows();
    EXPECT_NE(once.find("C: "), std::string::npos) << once;
    EXPECT_TRUE(result.reset());
    EXPECT_EQ(rows(), once);
}

TEST_F(WmiDll, ProcessorsHaveNullsAndSmallNumbers) {
    ASSERT_TRUE(wmi.query("select * from Win32_Processor", result));
    ASSERT_TRUE(result.next(object, Infinite));
    unsigned short width = 0;
    unsigned int cores = 0;
    zor::String unique = "before";
    EXPECT_TRUE(object.getProperty("AddressWidth", width));
    EXPECT_EQ(width, 64);
    EXPECT_TRUE(object.getProperty("NumberOfCores", cores));
    EXPECT_GT(cores, 0u);
    EXPECT_FALSE(object.getProperty("UniqueId", unique));
    EXPECT_EQ(plain(unique), "before");
}

TEST_F(WmiDll, AMethodIsCalledWithParameters) {
    WmiObject in, out;
    unsigned int code = 77;
    ASSERT_TRUE(wmi.query("select * from StdRegProv", result));
    ASSERT_TRUE(result.next(object, Infinite));
    ASSERT_TRUE(object.getMethodInputParams("EnumKey", in));
    // Refused as VT_UI4, and written as VT_I4. Texts go in through the object itself.
    EXPECT_TRUE(in.setProperty("hDefKey", 0x80000002u)) << getLastWmiResult();
    VARIANT text;
    VariantInit(&text);
    text.vt = VT_BSTR;
    text.bstrVal = SysAllocString(L"Software");
    EXPECT_EQ(in.getObject()->Put(L"sSubKeyName", 0, &text, 0), S_OK);
    VariantClear(&text);
    ASSERT_TRUE(object.execMethod("EnumKey", in, out)) << getLastWmiResult();
    EXPECT_TRUE(out.getProperty("ReturnValue", code));
    EXPECT_EQ(code, 0u);
    EXPECT_FALSE(object.getMethodInputParams("EnumNothing", in));
    EXPECT_FALSE(object.execMethod("EnumNothing", out));
}

TEST_F(WmiDll, FailuresAndMisuseCrossTheDll) {
    WmiNamespace elsewhere;
    EXPECT_FALSE(elsewhere.connect("root\\nowhere"));
    EXPECT_EQ(getLastWmiResult(), static_cast<HRESULT>(WBEM_E_INVALID_NAMESPACE));
    EXPECT_THROW(elsewhere.query("select * from Win32_Processor", result), zor::RaisedException);
    // Wine refuses a wrong query at once, Windows its first row.
    EXPECT_FALSE(wmi.query("select * from Win32_Processor where", result) && result.next(object, Infinite));
    EXPECT_EQ(getLastWmiResult(), static_cast<HRESULT>(WBEM_E_INVALID_QUERY));
}

DWORD WINAPI constructInAnotherApartment(void* text) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    try {
        const WmiQueryResult refused;
    } catch (const zor::Exception& exception) {
        *static_cast<std::string*>(text) = exception.what();
    }
    CoUninitialize();
    return 0;
}

TEST_F(WmiDll, AThreadOfAnotherApartmentIsRefused) {
    std::string text;
    const HANDLE thread = CreateThread(nullptr, 0, constructInAnotherApartment, &text, 0, nullptr);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    EXPECT_EQ(text, "COM concurrency model has changed.");
}

}  // namespace
