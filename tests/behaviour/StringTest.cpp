#include "support/String.h"

#include <climits>

#include "support/RaisedException.h"
#include "tests/behaviour/SimulatedPc.h"

namespace {

using zor::Char16;
using zor::NotFound;
using zor::String;

String fromUtf8(const char* text) { return String::fromUTF8(text); }

TEST(StringBuilding, WidensBytesAndTakesNullPointersForTheEmptyText) {
    const char* noText = nullptr;
    const Char16* noUnits = nullptr;
    EXPECT_TRUE(String(noText).empty());
    EXPECT_TRUE(String(noUnits).empty());
    EXPECT_TRUE(String(noUnits, 5).empty());
    EXPECT_EQ(String("\xE4")[0], 0xE4);
    EXPECT_EQ(String(L"a\0b", 3).size(), 3u);
    EXPECT_TRUE(String() == noText);
    EXPECT_FALSE(String(L"a\0b", 3) == "a");
    EXPECT_FALSE(String(L"a") == String(L"a\0", 2));
}

TEST(StringBuilding, AppendsAndAssignsPartsOfItself) {
    String text("0123456789");
    text.append(text.getUCS2Buffer() + 5);
    EXPECT_EQ(text, String("012345678956789"));
    text += text;
    EXPECT_EQ(text.size(), 30u);
    text.assign(text.getUCS2Buffer() + 28);
    EXPECT_EQ(text, String("89"));
    text = text + "-" + text;
    EXPECT_EQ("<" + text + L">", String("<89-89>"));
    EXPECT_EQ(String::repeat('x', 3) + String::repeat('y', 0), String("xxx"));
}

TEST(StringUtf8, GoesThereAndBackAndReplacesWhatIsIllFormed) {
    const char* scripts = "a\xC3\xA4\xCE\xB2\xD0\x96\xE6\x97\xA5\xF0\x9F\x98\x80";
    EXPECT_EQ(fromUtf8(scripts).size(), 7u);
    EXPECT_EQ(plain(fromUtf8(scripts)), scripts);

    const struct {
        std::string_view bytes;
        const char* replaced;
    } illFormed[] = {
        {"\x80z", "\xEF\xBF\xBDz"},                // a continuation alone
        {"\xC0\xAF", "\xEF\xBF\xBD\xEF\xBF\xBD"},  // overlong
        {"\xE0\x80z", "\xEF\xBF\xBD\xEF\xBF\xBDz"},
        {"\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},  // a surrogate
        {"\xF0\x9F\x98", "\xEF\xBF\xBD"},                          // cut short: one part
        {"\xF4\x90\x80\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"\xE6\x97z", "\xEF\xBF\xBDz"},
    };
    for (const auto& [bytes, replaced] : illFormed) EXPECT_EQ(plain(String::fromUTF8(bytes)), replaced);

    const Char16 lone[] = {0xDC00, 'a', 0xD83D, 'b', 0xD83D};
    EXPECT_EQ(plain(String(lone, 5)),
              "\xEF\xBF\xBD"
              "a\xEF\xBF\xBD"
              "b\xEF\xBF\xBD");
}

TEST(StringSearch, FindsNothingBeyondTheEnd) {
    const String text("abcabc");
    EXPECT_EQ(text.find("bc"), 1u);
    EXPECT_EQ(text.find("bc", 2), 4u);
    EXPECT_EQ(text.find("bc", 5), NotFound);
    EXPECT_EQ(text.find("a", 7), NotFound);
    EXPECT_EQ(text.find("a", NotFound), NotFound);
    EXPECT_EQ(text.find("", 6), 6u);
    EXPECT_EQ(text.findLast("bc"), 4u);
    EXPECT_EQ(text.findLast("bc", 5), NotFound);
    EXPECT_EQ(text.findLast("bc", 7), NotFound);
}

TEST(StringSearch, FindsTheGreatestNumberBehindAnOccurrence) {
    const struct {
        const char* text;
        int number;  // -1: stays as it was
    } cases[] = {
        {"", -1},
        {"nothing here", -1},
        {"100%", -1},
        {"%1 and %2", 2},
        {"%12 and %3", 12},
        {"%1234", 12},  // a third digit is text
        {"%123 of %20", 20},
        {"%n%t%r", -1},
        {"100%% of it", -1},
        {"%%1 is no insert", -1},
        {"%%%1 is one", 1},
        {"%%%%2", -1},
        {"%0", 0},
        {"%n then %4!s! and %%9", 4},
        {"%99999999999999999999 %1", 99},
        {"%09 %1", 9},
    };
    for (const auto& [text, number] : cases) {
        int found = -1;
        String(text).findLast("%", 0, &found);
        EXPECT_EQ(found, number) << text;
    }
    int fromStart = -1;
    EXPECT_EQ(String("%9 %1").findLast("%", 1, &fromStart), 3u);
    EXPECT_EQ(fromStart, 1);
}

TEST(StringSearch, SlicesWithinTheText) {
    const String text("abc");
    EXPECT_EQ(text.subString(1), String("bc"));
    EXPECT_EQ(text.subString(1, 1), String("b"));
    EXPECT_EQ(text.subString(2, NotFound - 1), String("c"));
    EXPECT_EQ(text.subString(3), String());
    EXPECT_EQ(text.subString(NotFound, 1), String());
    EXPECT_THROW(text[3], zor::RaisedException);
    EXPECT_THROW(String("abc")[NotFound] = 'x', zor::RaisedException);
}

TEST(StringSearch, TokenizesWithoutEmptyPieces) {
    EXPECT_EQ(plain(String(";;a.dll;b c.dll,;").tokenize(";,")), (Strings{"a.dll", "b c.dll"}));
    EXPECT_EQ(plain(String("whole").tokenize("")), (Strings{"whole"}));
    EXPECT_TRUE(String(";;").tokenize(";").empty());
}

TEST(StringBlanks, TrimsBothEndsAndCollapsesRuns) {
    EXPECT_EQ(String(" \t\r\na b \v\f").trim(), String("a b"));
    EXPECT_EQ(String(" \n ").trim(), String());
    EXPECT_EQ(String("WD  \t 10\r\n\nEZ  ").normalizeSpaces(), String("WD 10 EZ "));
    EXPECT_EQ(String::normalizeSpaces("  x"), String(" x"));
}

TEST(StringCase, MapsOneUnitToOneWhateverTheLocale) {
    const struct {
        const char* lower;
        const char* upper;
    } pairs[] = {
        {"azAZ09_{", "AZAZ09_{"},
        {"\xC3\xA4\xC3\xBF", "\xC3\x84\xC5\xB8"},                  // a umlaut, y diaeresis (beyond Latin-1)
        {"\xCE\xB1\xCF\x83\xCF\x82", "\xCE\x91\xCE\xA3\xCE\xA3"},  // alpha, both sigmas
        {"\xD0\xB6\xD1\x91", "\xD0\x96\xD0\x81"},                  // Cyrillic zhe, io
        {"\xC3\x9F", "\xC3\x9F"},                                  // sharp s has no single upper-case unit
        {"i\xC4\xB1", "II"},                                       // dotted and dotless i
        {"\xE1\x83\xA5\xEA\xAD\xB0", "\xE1\xB2\xA5\xE1\x8E\xA0"},  // Georgian, Cherokee
        {"\xF0\x90\x90\xA8", "\xF0\x90\x90\xA8"},                  // a letter beyond the plane
    };
    for (const auto& [lower, upper] : pairs) {
        EXPECT_EQ(plain(fromUtf8(lower).toUpper()), upper);
        EXPECT_EQ(fromUtf8(lower).compareNoCase(fromUtf8(upper)), 0) << lower;
    }
    EXPECT_EQ(plain(fromUtf8("A\xC3\x84\xCE\xA3\xD0\x81\xC4\xB0").toLower()),
              "a\xC3\xA4\xCF\x83\xD1\x91"
              "i");
}

TEST(StringCase, ComparesInTheOrderOfUpperCasedUnits) {
    EXPECT_GT(String("_").compareNoCase("a"), 0);  // '_' lies between the cases
    EXPECT_LT(String("abc").compareNoCase("ABCD"), 0);
    EXPECT_GT(String("ABCD").compareNoCase("abc"), 0);
    EXPECT_EQ(String().compareNoCase(""), 0);
    EXPECT_EQ(String(L"a\0b", 3).compareNoCase(String(L"A\0B", 3)), 0);

    // Against the plain rule, for each position in a text and each neighbour of an ASCII or Latin letter.
    for (unsigned length = 1; length <= 9; ++length) {
        for (unsigned place = 0; place < length; ++place) {
            for (unsigned unit = 0x20; unit < 0x180; ++unit) {
                for (const Char16 other : L"@AZ[`az{\xE4\x17F") {
                    String one = String::repeat('q', length);
                    String two = String::repeat('Q', length);
                    one[place] = static_cast<Char16>(unit);
                    two[place] = other;
                    const String left = String(one).toUpper(), right = String(two).toUpper();
                    const int expected = left == right ? 0 : left < right ? -1 : 1;
                    ASSERT_EQ(one.compareNoCase(two), expected) << plain(one) << ' ' << plain(two);
                }
            }
        }
    }
}

TEST(StringNumbers, ReadsTheWholeTextOrNothing) {
    const struct {
        const char* text;
        unsigned base;
        String::ParseResult result;
        unsigned long long value;
    } cases[] = {
        {"0", 0, String::ParseSuccess, 0},
        {"42", 0, String::ParseSuccess, 42},
        {"052", 0, String::ParseSuccess, 42},
        {"0x2A", 0, String::ParseSuccess, 42},
        {"0X2a", 16, String::ParseSuccess, 42},
        {"2a", 16, String::ParseSuccess, 42},
        {"052", 10, String::ParseSuccess, 52},
        {"zz", 36, String::ParseSuccess, 1295},
        {"18446744073709551615", 10, String::ParseSuccess, ULLONG_MAX},
        {"0xFFFFFFFFFFFFFFFF", 0, String::ParseSuccess, ULLONG_MAX},
        {"18446744073709551616", 10, String::ParseOverflow, 0},
        {"0x10000000000000000", 0, String::ParseOverflow, 0},
        {"99999999999999999999x", 10, String::ParseBadCharacter, 0},
        {"", 0, String::ParseEmpty, 0},
        {"0x", 0, String::ParseEmpty, 0},
        {"08", 0, String::ParseBadCharacter, 0},
        {"2a", 0, String::ParseBadCharacter, 0},
        {" 1", 10, String::ParseBadCharacter, 0},
        {"+1", 10, String::ParseBadCharacter, 0},
        {"-1", 10, String::ParseBadCharacter, 0},
        {"1.0", 10, String::ParseBadCharacter, 0},
        {"1", 1, String::ParseBadBase, 0},
        {"1", 37, String::ParseBadBase, 0},
    };
    for (const auto& [text, base, result, value] : cases) {
        unsigned long long read = 4711;
        EXPECT_EQ(String(text).toUint64(read, base), result) << text;
        EXPECT_EQ(read, result == String::ParseSuccess ? value : 4711) << text;
    }
    // Units that end in the byte of a digit are none.
    unsigned long long read = 4711;
    EXPECT_EQ(String(L"\x0131").toUint64(read, 10), String::ParseBadCharacter);
    EXPECT_EQ(String::strToUInt("4294967295", 10), UINT_MAX);
    EXPECT_EQ(String::strToUInt("4294967296", 10), 0u);
    EXPECT_EQ(String::strToUInt("12 ", 10), 0u);
}

}  // namespace
