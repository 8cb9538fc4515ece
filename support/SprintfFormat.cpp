#include "support/SprintfFormat.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>

namespace zor {

namespace {

using Kind = FormatArgument::Kind;

constexpr int LargestWidth = 4096;
constexpr const char* Missing = "{missing}";
constexpr const char* Mismatch = "{mismatch}";

struct Conversion {
    bool left = false;
    bool plus = false;
    bool blank = false;
    bool alternate = false;
    bool zeroes = false;
    int width = 0;
    int precision = -1;  // none given
    char letter = 0;     // none: the format ended
};

class Formatter {
public:
    Formatter(const char* format, const FormatArgument* arguments, std::size_t count)
        : m_format(format), m_argument(arguments), m_end(arguments + count) {}

    String run() {
        while (*m_format != '\0') {
            const char* percent = m_format;
            while (*percent != '\0' && *percent != '%') ++percent;
            appendNarrow(m_format, static_cast<std::size_t>(percent - m_format));
            m_format = percent;
            if (*percent == '%') convert();
        }
        return std::move(m_result);
    }

private:
    void convert() {
        const char* begin = m_format++;
        const Conversion conversion = readConversion();
        const auto length = static_cast<std::size_t>(m_format - begin);
        if (conversion.letter == '%') return void(m_result.append(Char16('%')));
        // An unknown letter, or none: shown as it stands.
        if (conversion.letter == 0 || std::strchr("diuxXocsSpfFeEgG", conversion.letter) == nullptr) {
            return appendNarrow(begin, length);
        }
        if (m_argument == m_end) return void(m_result.append(Missing));
        if (!print(*m_argument++, conversion)) m_result.append(Mismatch);
    }

    Conversion readConversion() {
        Conversion conversion;
        readFlags(conversion);
        conversion.width = readNumber();
        if (conversion.width < 0) {
            conversion.left = true;
            conversion.width = -conversion.width;
        }
        if (*m_format == '.') {
            ++m_format;
            conversion.precision = std::max(readNumber(), -1);
        }
        readLengthModifier();
        conversion.letter = *m_format;
        if (*m_format != '\0') ++m_format;
        return conversion;
    }

    void readFlags(Conversion& conversion) {
        for (;; ++m_format) {
            switch (*m_format) {
                case '-':
                    conversion.left = true;
                    break;
                case '+':
                    conversion.plus = true;
                    break;
                case ' ':
                    conversion.blank = true;
                    break;
                case '#':
                    conversion.alternate = true;
                    break;
                case '0':
                    conversion.zeroes = true;
                    break;
                default:
                    return;
            }
        }
    }

    // Digits or '*'; 0 when there is neither.
    int readNumber() {
        if (*m_format == '*') {
            ++m_format;
            if (m_argument == m_end) return 0;
            const FormatArgument& argument = *m_argument++;
            if (argument.kind() != Kind::Signed && argument.kind() != Kind::Unsigned) return 0;
            return static_cast<int>(
                std::clamp<long long>(signedValue(argument), -LargestWidth, LargestWidth));
        }
        int number = 0;
        for (; *m_format >= '0' && *m_format <= '9'; ++m_format) {
            number = std::min(number * 10 + (*m_format - '0'), LargestWidth);
        }
        return number;
    }

    void readLengthModifier() {
        if (std::strncmp(m_format, "I64", 3) == 0 || std::strncmp(m_format, "I32", 3) == 0) {
            m_format += 3;
        } else {
            while (*m_format != '\0' && std::strchr("hlwLjzt", *m_format) != nullptr) ++m_format;
        }
    }

    bool print(const FormatArgument& argument, const Conversion& conversion) {
        switch (conversion.letter) {
            case 'd':
            case 'i':
            case 'u':
            case 'x':
            case 'X':
            case 'o':
                return printInteger(argument, conversion);
            case 'c':
                return printCharacter(argument, conversion);
            case 's':
            case 'S':
                return printText(argument, conversion);
            case 'p':
                return printPointer(argument, conversion);
            default:
                return printFloating(argument, conversion);
        }
    }

    static unsigned long long unsignedValue(const FormatArgument& argument) {
        const unsigned int unused = 64 - 8 * argument.bytes();
        return argument.integer() << unused >> unused;
    }

    static long long signedValue(const FormatArgument& argument) {
        const unsigned int unused = 64 - 8 * argument.bytes();
        return static_cast<long long>(argument.integer() << unused) >> unused;
    }

    bool printInteger(const FormatArgument& argument, const Conversion& conversion) {
        if (argument.kind() != Kind::Signed && argument.kind() != Kind::Unsigned) return false;
        const char letter = conversion.letter;
        const bool decimal = letter == 'd' || letter == 'i';
        const bool negative = decimal && signedValue(argument) < 0;
        const unsigned long long magnitude =
            negative ? 0 - static_cast<unsigned long long>(signedValue(argument)) : unsignedValue(argument);
        char digits[32];
        const int base = letter == 'x' || letter == 'X' ? 16 : letter == 'o' ? 8 : 10;
        char* end = std::to_chars(digits, digits + sizeof digits, magnitude, base).ptr;
        if (letter == 'X') upper(digits, end);
        // A precision of 0 prints no digit for 0.
        if (conversion.precision == 0 && magnitude == 0) end = digits;

        std::string_view prefix = decimal ? sign(negative, conversion) : "";
        if (conversion.alternate && magnitude != 0) {
            if (base == 16) prefix = letter == 'x' ? "0x" : "0X";
            if (base == 8) prefix = "0";
        }
        const auto count = static_cast<std::size_t>(end - digits);
        const auto least = static_cast<std::size_t>(std::max(conversion.precision, 0));
        const bool fill = conversion.zeroes && conversion.precision < 0;
        printNumber(prefix, least > count ? least - count : 0, {digits, count}, fill, conversion);
        return true;
    }

    bool printFloating(const FormatArgument& argument, const Conversion& conversion) {
        if (argument.kind() != Kind::Double) return false;
        const double value = std::fabs(argument.floating());
        const bool upperCase = conversion.letter < 'a';
        const char letter = static_cast<char>(conversion.letter | 0x20);
        const auto form = letter == 'f'   ? std::chars_format::fixed
                          : letter == 'e' ? std::chars_format::scientific
                                          : std::chars_format::general;
        const int precision = conversion.precision < 0 ? 6 : conversion.precision;
        // The greatest number has 309 digits before the point.
        std::string digits(static_cast<std::size_t>(precision) + 330, '\0');
        char* end = std::to_chars(digits.data(), digits.data() + digits.size(), value, form, precision).ptr;
        if (upperCase) upper(digits.data(), end);
        const auto count = static_cast<std::size_t>(end - digits.data());
        const bool negative = std::signbit(argument.floating()) && !std::isnan(value);
        const bool fill = conversion.zeroes && std::isfinite(value);
        printNumber(sign(negative, conversion), 0, {digits.data(), count}, fill, conversion);
        return true;
    }

    bool printPointer(const FormatArgument& argument, const Conversion& conversion) {
        if (argument.kind() == Kind::Signed || argument.kind() == Kind::Unsigned ||
            argument.kind() == Kind::Double) {
            return false;
        }
        char digits[32];
        const auto address = reinterpret_cast<std::uintptr_t>(argument.pointer());
        const char* end = std::to_chars(digits, digits + sizeof digits, address, 16).ptr;
        const auto count = static_cast<std::size_t>(end - digits);
        const std::size_t zeroes = 2 * sizeof(void*) - std::min(count, 2 * sizeof(void*));
        printNumber("0x", zeroes, {digits, count}, /*fill=*/false, conversion);
        return true;
    }

    bool printCharacter(const FormatArgument& argument, const Conversion& conversion) {
        if (argument.kind() != Kind::Signed && argument.kind() != Kind::Unsigned) return false;
        String text;
        text.append(static_cast<Char16>(unsignedValue(argument)));
        pad(text, conversion);
        return true;
    }

    // Looks at no more of a text than its precision allows.
    bool printText(const FormatArgument& argument, const Conversion& conversion) {
        if (argument.kind() != Kind::Narrow && argument.kind() != Kind::Wide) return false;
        const unsigned int most =
            conversion.precision < 0 ? NotFound : static_cast<unsigned int>(conversion.precision);
        if (argument.pointer() == nullptr) {
            pad(String("(null)").subString(0, most), conversion);
            return true;
        }
        String text;
        if (argument.kind() == Kind::Narrow) {
            const auto* bytes = static_cast<const unsigned char*>(argument.pointer());
            const unsigned int length = boundedLength(bytes, argument.length(), most);
            text.reserveCapacity(length);
            for (unsigned int i = 0; i < length; ++i) text.append(Char16(bytes[i]));
        } else {
            const auto* units = static_cast<const Char16*>(argument.pointer());
            text.assign(units, boundedLength(units, argument.length(), most));
        }
        pad(text, conversion);
        return true;
    }

    template <class Unit>
    static unsigned int boundedLength(const Unit* text, unsigned int length, unsigned int most) {
        if (length != NotFound) return std::min(length, most);
        unsigned int count = 0;
        while (count < most && text[count] != 0) ++count;
        return count;
    }

    static std::string_view sign(bool negative, const Conversion& conversion) {
        return negative ? "-" : conversion.plus ? "+" : conversion.blank ? " " : "";
    }

    static void upper(char* begin, char* end) {
        for (; begin != end; ++begin) {
            if (*begin >= 'a' && *begin <= 'z') *begin = static_cast<char>(*begin - 0x20);
        }
    }

    void printNumber(std::string_view prefix, std::size_t zeroes, std::string_view digits, bool fill,
                     const Conversion& conversion) {
        const std::size_t length = prefix.size() + zeroes + digits.size();
        const auto width = static_cast<std::size_t>(conversion.width);
        if (fill && !conversion.left && length < width) zeroes += width - length;
        String text;
        for (const char character : prefix) text.append(Char16(character));
        text.append(String::repeat('0', static_cast<unsigned int>(zeroes)));
        for (const char character : digits) text.append(Char16(character));
        pad(text, conversion);
    }

    void pad(const String& text, const Conversion& conversion) {
        const auto width = static_cast<unsigned int>(conversion.width);
        const String blanks = String::repeat(' ', text.size() < width ? width - text.size() : 0);
        if (!conversion.left) m_result.append(blanks);
        m_result.append(text);
        if (conversion.left) m_result.append(blanks);
    }

    void appendNarrow(const char* text, std::size_t length) {
        for (std::size_t i = 0; i < length; ++i) m_result.append(Char16(static_cast<unsigned char>(text[i])));
    }

    const char* m_format;
    const FormatArgument* m_argument;
    const FormatArgument* m_end;
    String m_result;
};

}  // namespace

String formatArguments(const char* format, const FormatArgument* arguments, std::size_t count) {
    return format == nullptr ? String() : Formatter(format, arguments, count).run();
}

}  // namespace zor
