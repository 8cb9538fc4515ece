#include "support/SprintfFormat.h"

#include <clocale>
#include <cstdint>
#include <limits>

#include "tests/behaviour/SimulatedPc.h"

namespace {

using zor::SprintfFormat;
using zor::String;

TEST(SprintfFormat, PrintsAsPrintfDoes) {
    const double infinity = std::numeric_limits<double>::infinity();
    const struct {
        String printed;
        const char* expected;
    } cases[] = {
        {SprintfFormat("plain 100%%"), "plain 100%"},
        {SprintfFormat("%d %i %u", -5, 6, 7u), "-5 6 7"},
        {SprintfFormat("[%5d] [%-5d] [%05d] [%+d] [% d]", 42, 42, -42, 42, 42),
         "[   42] [42   ] [-0042] [+42] [ 42]"},
        {SprintfFormat("[%.3d] [%6.3d] [%.0d] [%06.3d]", 5, -5, 0, 5), "[005] [  -005] [] [   005]"},
        {SprintfFormat("%x %X %#x %#X %08lX %o %#o", 255, 255, 255, 255, 0xBEEF, 8, 8),
         "ff FF 0xff 0XFF 0000BEEF 10 010"},
        {SprintfFormat("%#x|%#o", 0, 0), "0|0"},
        {SprintfFormat("[%*d] [%-*d] [%*d] [%.*f]", 4, 1, 4, 2, -4, 3, 2, 1.005),
         "[   1] [2   ] [3   ] [1.00]"},
        {SprintfFormat("%1.6f %f %.0f %.2f", 0.5, 1e15, 2.5, -0.001),
         "0.500000 1000000000000000.000000 2 -0.00"},
        {SprintfFormat("%e %.2E %g %g %G", 12345.678, 0.00012, 1e-5, 100000.0, 1e20),
         "1.234568e+04 1.20E-04 1e-05 100000 1E+20"},
        {SprintfFormat("[%08.2f] [%-8.1f] [%+.1f]", -3.14159, 2.0, 1.0), "[-0003.14] [2.0     ] [+1.0]"},
        {SprintfFormat("[%5f] [%05F] [%e]", infinity, -infinity, std::numeric_limits<double>::quiet_NaN()),
         "[  inf] [ -INF] [nan]"},
        {SprintfFormat("%c%c[%3c]", 'a', L'\x4E', 'b'), "aN[  b]"},
        {SprintfFormat("%s|%5s|%-5s|%.2s", "text", "ab", "ab", "abcdef"), "text|   ab|ab   |ab"},
        {SprintfFormat("%ws|%s|%ls|%.1ws", L"wide", String("string"), String("x").getUCS2Buffer(), L"ab"),
         "wide|string|x|a"},
        {SprintfFormat("%p", reinterpret_cast<const void*>(std::uintptr_t{0xAB})), "0x00000000000000ab"},
    };
    for (const auto& [printed, expected] : cases) EXPECT_EQ(plain(printed), expected);
}

TEST(SprintfFormat, TakesEveryWidthForEveryNumber) {
    EXPECT_EQ(SprintfFormat("%u %lu %llu %I64u %hhu", 1ull, 2u, static_cast<unsigned short>(3), 4, 5ul),
              String("1 2 3 4 5"));
    EXPECT_EQ(SprintfFormat("%x %x %x", -1, static_cast<short>(-1), -1ll),
              String("ffffffff ffff ffffffffffffffff"));
    EXPECT_EQ(SprintfFormat("%d %d %u", 0x80041001u, std::uint64_t{1} << 63, -1),
              String("-2147217407 -9223372036854775808 4294967295"));
    EXPECT_EQ(SprintfFormat("%u", std::numeric_limits<unsigned long long>::max()),
              String("18446744073709551615"));
    EXPECT_EQ(SprintfFormat("%d %u", true, zor::String::ParseOverflow), String("1 3"));
}

TEST(SprintfFormat, ShowsWrongAndMissingArgumentsAndReadsNoGarbage) {
    const char* noText = nullptr;
    const char unterminated[] = {'a', 'b', 'c'};
    const struct {
        String printed;
        const char* expected;
    } cases[] = {
        {SprintfFormat("%d %s."), "{missing} {missing}."},
        {SprintfFormat("%d", "text"), "{mismatch}"},
        {SprintfFormat("%s %ws %u", 5, 6, 7), "{mismatch} {mismatch} 7"},
        {SprintfFormat("%f %d %p", 1, 1.5, 2), "{mismatch} {mismatch} {mismatch}"},
        {SprintfFormat("%*d", "x"), "{missing}"},
        {SprintfFormat("%s|%.3s|%10s", noText, noText, noText), "(null)|(nu|    (null)"},
        {SprintfFormat("%.3s", &unterminated[0]), "abc"},
        {SprintfFormat("%y %n %d", 1), "%y %n 1"},
        {SprintfFormat("50%"), "50%"},
        {SprintfFormat("%-08.3l"), "%-08.3l"},
        {SprintfFormat("%u", 1, 2, 3), "1"},
        {zor::formatArguments(nullptr, nullptr, 0), ""},
    };
    for (const auto& [printed, expected] : cases) EXPECT_EQ(plain(printed), expected);
    EXPECT_EQ(SprintfFormat("%999999999999d", 1).size(), 4096u);
    EXPECT_EQ(SprintfFormat("%.99999f", 1e308).size(), 309u + 1 + 4096);
}

TEST(SprintfFormat, DoesNotDependOnTheLocale) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    for (const char* locale : {"de_DE.UTF-8", "German_Germany.1252", "C.UTF-8"})
        std::setlocale(LC_ALL, locale);
    EXPECT_EQ(SprintfFormat("%.1f %u", 1234567.5, 1234567), String("1234567.5 1234567"));
    std::setlocale(LC_ALL, before.c_str());
}

}  // namespace
