// Date-times, measurements, hex dumps, variants: the values that reports print.
#include "support/DateTime.h"
#include "support/HexDumpFormat.h"
#include "support/NonDiscreteMeasurement.h"
#include "support/TriBool.h"
#include "support/ZORValue.h"
#include "tests/behaviour/SimulatedPc.h"

namespace {

using zor::DateTime;
using zor::HexDumpFormat;
using zor::NonDiscreteMeasurement;
using zor::String;
using zor::ZORValue;

TEST(DateTime, ReadsFileTimesAsUtc) {
    const struct {
        unsigned long long ticks;
        const char* text;
    } cases[] = {
        {0, "1601-01-01 00:00:00"},
        {127953216000000000ull, "2006-06-21 00:00:00"},
        {127953721890000000ull, "2006-06-21 14:03:09"},
        {125963423990000000ull, "2000-02-29 23:59:59"},
        {116444735999999999ull, "1969-12-31 23:59:59"},
        {0x7FFFFFFFFFFFFFFFull, "30828-09-14 02:48:05"},
        {0x8000000000000000ull, ""},
        {0xFFFFFFFFFFFFFFFFull, ""},
    };
    for (const auto& [ticks, text] : cases) EXPECT_EQ(plain(DateTime::fromFileTime(ticks).toString()), text);
    EXPECT_EQ(DateTime::fromFileTime(127953721891234567ull).getMicroseconds(), 123456u);
    EXPECT_EQ(DateTime::fromFileTime(0).dateStampString(), String("1601-01-01"));
}

TEST(DateTime, ReadsUnixTimeStampsAsUtc) {
    EXPECT_EQ(DateTime::fromUnixTimeStamp(0).toString(), String("1970-01-01 00:00:00"));
    EXPECT_EQ(DateTime::fromUnixTimeStamp(0xFFFFFFFF).toString(), String("2106-02-07 06:28:15"));
    EXPECT_TRUE(DateTime::fromUnixTimeStamp(~0ull).isEmpty());
    EXPECT_TRUE(DateTime::fromUnixTimeStamp(910692730086ull).isEmpty());
    EXPECT_FALSE(DateTime::fromUnixTimeStamp(910692730085ull).isEmpty());
}

TEST(DateTime, KeepsItsComponentsAndIsEmptyWithoutThem) {
    const DateTime date(2024, 2, 9, 7, 5, 3, 999999, '-', 480);
    EXPECT_EQ(date.toString(), String("2024-02-09 07:05:03"));
    EXPECT_EQ(date.getUtcSign(), '-');
    EXPECT_EQ(date.getUtcOffset(), 480);
    EXPECT_EQ(DateTime().toString() + DateTime().dateStampString(), String());
    const DateTime now = DateTime::getCurrentDateTime();
    EXPECT_GE(now.getYear(), 2020);
    EXPECT_TRUE(now.getUtcSign() == '+' || now.getUtcSign() == '-');
}

TEST(Measurement, ChoosesAMagnitudeThatNeverTakesMoreThanNineCharacters) {
    const struct {
        double bytes;
        const char* text;
    } cases[] = {
        {0, "0 B"},
        {999, "999 B"},
        {1000, "0.98 KB"},
        {1024, "1.00 KB"},
        {999.99 * 1024, "999.99 KB"},
        {999.995 * 1024, "0.98 MB"},  // would be printed as 1000.00
        {1000204886016.0, "931.51 GB"},
        {18446744073709551615.0, "16.00 EB"},
        {-1000204886016.0, "-931.51 GB"},
    };
    for (const auto& [bytes, text] : cases) {
        EXPECT_EQ(plain(NonDiscreteMeasurement(3, bytes, 0).toString(2, 13)), text);
    }
    for (double bytes = 1; bytes < 1.8e19; bytes *= 1.0007) {
        ASSERT_LE(NonDiscreteMeasurement(3, bytes, 0).toString(2, 13).size(), 9u) << bytes;
    }
}

TEST(Measurement, ConvertsBetweenMagnitudes) {
    EXPECT_EQ(NonDiscreteMeasurement(3, 1.5, NonDiscreteMeasurement::Giga).toString(0, 2), String("1536 MB"));
    EXPECT_EQ(NonDiscreteMeasurement(3, 2048, NonDiscreteMeasurement::Mega).toString(1, 13),
              String("2.0 GB"));
    EXPECT_EQ(NonDiscreteMeasurement(3, 1.5, NonDiscreteMeasurement::Kilo).toString(2, 0), String("1536 B"));
    EXPECT_EQ(NonDiscreteMeasurement(0, 2.5, 0, 1).toString(), String("2.5"));
    EXPECT_EQ(NonDiscreteMeasurement(3, 7, 99).toString(2, 99), String("7 B"));
}

TEST(HexDump, ShowsAddressBytesAndText) {
    const unsigned char bytes[] = {'E', 'D', 0, 0x7F, 0xFF, ' '};
    EXPECT_EQ(plain(HexDumpFormat(bytes, 6, 4, 0x10, 2).toString()),
              "  00000010: 45 44 00 7f  ED..\n"
              "  00000014: ff 20        . \n");
    zor::Buffer<unsigned char> buffer;
    buffer.assign(bytes, 2);
    EXPECT_EQ(plain(HexDumpFormat(buffer, 1).toString()),
              " 00000000: 45 44                                            ED\n");
    EXPECT_EQ(HexDumpFormat(bytes, 1, 1, 0x123456789Aull).toString(), String("123456789a: 45  E\n"));
    EXPECT_TRUE(HexDumpFormat(nullptr, 100).toString().empty());
    EXPECT_TRUE(HexDumpFormat(zor::Buffer<unsigned char>()).toString().empty());
    // A line length without measure costs no more than the bytes.
    EXPECT_LT(HexDumpFormat(bytes, 6, 0xFFFFFFFF).toString().size(), 100u);
}

// Which of the typed readers a value allows, one letter each.
std::string readable(const ZORValue& value) {
    std::string result;
    const auto read = [&](auto target, char letter) {
        try {
            value.get(target);
            result += letter;
        } catch (const zor::TypeMismatch& mismatch) {
            EXPECT_NE(std::string(mismatch.what()).find(value.getTypeName()), std::string::npos);
        }
    };
    read(bool(), 'b');
    read(short(), 's');
    read(static_cast<unsigned short>(0), 'S');
    read(int(), 'i');
    read(0u, 'I');
    read(0ll, 'l');
    read(0ull, 'L');
    read(String(), 't');
    read(DateTime(), 'd');
    return result;
}

TEST(ZORValue, IsReadAsItsOwnTypeOnlyAndPrintsReadably) {
    const struct {
        ZORValue value;
        const char* readers;
        const char* text;
    } cases[] = {
        {ZORValue(), "", "  "},
        {true, "b", "  true"},
        {short(-3), "s", "  -3"},
        {static_cast<unsigned short>(65535), "S", "  65535"},
        {-2147483647, "i", "  -2147483647"},
        {4294967295u, "I", "  4294967295"},
        {-9223372036854775807ll, "l", "  -9223372036854775807"},
        {18446744073709551615ull, "L", "  18446744073709551615"},
        {String("text"), "t", "  text"},
        {DateTime::fromUnixTimeStamp(0), "d", "  1970-01-01 00:00:00"},
    };
    for (const auto& [value, readers, text] : cases) {
        EXPECT_EQ(readable(value), readers);
        EXPECT_EQ(plain(value.toString(2)), text);
        EXPECT_EQ(value.isNull(), *readers == '\0');
    }
}

TEST(ZORValue, LeavesTheTargetAloneWhenTheTypeDiffers) {
    unsigned int number = 4711;
    EXPECT_THROW(ZORValue(String("5")).get(number), zor::TypeMismatch);
    EXPECT_THROW(ZORValue(5).get(number), zor::Exception);
    EXPECT_EQ(number, 4711u);
    ZORValue value(5u);
    value.get(number);
    EXPECT_EQ(number, 5u);
    value.assign(String("x"));
    value.clear();
    EXPECT_EQ(value, ZORValue::nilValue());
}

TEST(TriBool, HasThreeValues) {
    EXPECT_EQ(zor::TriBool(false).getValue(), 0);
    EXPECT_EQ(zor::TriBool(true).getValue(), 1);
    EXPECT_EQ(zor::TriBool().getValue(), 2);
    EXPECT_TRUE(zor::TriBool(true) == true);
    EXPECT_FALSE(zor::TriBool() == false);
}

}  // namespace
