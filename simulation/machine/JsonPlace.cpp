#include "simulation/machine/JsonPlace.h"

#include <algorithm>

#include "simulation/machine/MachineFile.h"

namespace simulation {

namespace {

constexpr ULONGLONG ticksPerSecond = 10'000'000;

struct JsonTypeName {
    const char* name;
    DWORD type;
};
constexpr JsonTypeName typeNames[] = {
    {"REG_NONE", REG_NONE},         {"REG_SZ", REG_SZ},       {"REG_EXPAND_SZ", REG_EXPAND_SZ},
    {"REG_BINARY", REG_BINARY},     {"REG_DWORD", REG_DWORD}, {"REG_DWORD_BIG_ENDIAN", REG_DWORD_BIG_ENDIAN},
    {"REG_MULTI_SZ", REG_MULTI_SZ}, {"REG_QWORD", REG_QWORD},
};

// What a sentence quotes stays short, and whole characters.
std::string shortened(const std::string& text) {
    constexpr size_t longest = 60;
    if (text.size() <= longest) return text;
    size_t end = longest - 3;
    while (end != 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
    return text.substr(0, end) + "...";
}

constexpr bool isDigit(char letter) { return letter >= '0' && letter <= '9'; }

// A run of digits at the beginning of `text`, taken off it; false when it has not as many as asked.
bool takeNumber(std::string_view& text, size_t fewest, size_t most, unsigned& value) {
    size_t count = 0;
    value = 0;
    for (; count < std::min(most, text.size()) && isDigit(text[count]); ++count) {
        value = value * 10 + static_cast<unsigned>(text[count] - '0');
    }
    text.remove_prefix(count);
    return count >= fewest;
}

bool take(std::string_view& text, char letter) {
    if (text.empty() || text.front() != letter) return false;
    text.remove_prefix(1);
    return true;
}

int hexDigit(char letter) {
    if (isDigit(letter)) return letter - '0';
    const char lower = static_cast<char>(letter | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// How many single-letter changes lead from one word to the other.
size_t distanceOf(const std::string& one, const std::string& other) {
    std::vector<size_t> row(other.size() + 1);
    for (size_t j = 0; j < row.size(); ++j) row[j] = j;
    for (size_t i = 1; i <= one.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j < row.size(); ++j) {
            const size_t changed = diagonal + (one[i - 1] == other[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({changed, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

unsigned daysInMonth(unsigned year, unsigned month) {
    constexpr unsigned days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    return days[month - 1] + (month == 2 && leap ? 1 : 0);
}

// In the Gregorian calendar; years from 1601.
ULONGLONG daysSince1601(unsigned year, unsigned month, unsigned day) {
    const unsigned past = year - 1601;
    ULONGLONG days = past * 365 + past / 4 - past / 100 + past / 400;
    for (unsigned before = 1; before < month; ++before) days += daysInMonth(year, before);
    return days + day - 1;
}

}  // namespace

void JsonPlace::fail(const std::string& expected) const {
    const std::string found = m_value.is_array()    ? "a list"
                              : m_value.is_object() ? "an object"
                                                    : shortened(m_value.dump());
    complain("found " + found + ", expected " + expected);
}

void JsonPlace::complain(const std::string& sentence) const {
    throw MachineFileError(m_source + ": " + (m_path.empty() ? "" : m_path + ": ") + sentence);
}

std::string JsonPlace::memberPath(const std::string& path, const std::string& name) {
    const bool plain = !name.empty() && std::all_of(name.begin(), name.end(), [](char letter) {
        return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') || isDigit(letter);
    });
    if (!plain) return path + "[\"" + shortened(name) + "\"]";
    return path.empty() ? shortened(name) : path + "." + shortened(name);
}

void JsonPlace::allowOnly(std::initializer_list<const char*> names) const {
    if (!m_value.is_object()) fail("an object");
    for (const auto& [name, value] : m_value.items()) {
        if (std::find(names.begin(), names.end(), name) != names.end()) continue;
        const std::string found = shortened(name);
        const auto nearest = std::min_element(names.begin(), names.end(), [&](auto one, auto other) {
            return distanceOf(found, one) < distanceOf(found, other);
        });
        if (distanceOf(found, *nearest) <= 2) {
            complain("found \"" + found + "\", expected \"" + *nearest + "\"");
        }
        std::string all;
        for (const char* known : names) all += std::string(all.empty() ? "" : ", ") + known;
        complain("found \"" + found + "\", expected one of " + all);
    }
}

std::optional<JsonPlace> JsonPlace::member(const char* name) const {
    const auto found = m_value.find(name);
    if (found == m_value.end()) return std::nullopt;
    return JsonPlace(*found, m_source, placeOf(name));
}

JsonPlace JsonPlace::required(const char* name, const std::string& what) const {
    const auto found = member(name);
    if (!found) complain("found no \"" + std::string(name) + "\", expected " + what);
    return *found;
}

std::string JsonPlace::utf8(const std::string& expected) const {
    if (!m_value.is_string()) fail(expected);
    const auto& text = m_value.get_ref<const std::string&>();
    if (text.find('\0') != std::string::npos) fail(expected + " without NUL");
    return text;
}

std::vector<Text> JsonPlace::texts() const {
    std::vector<Text> result;
    forEachElement("a list of texts", [&](const JsonPlace& element) { result.push_back(element.text()); });
    return result;
}

bool JsonPlace::truth() const {
    if (!m_value.is_boolean()) fail("true or false");
    return m_value.get<bool>();
}

unsigned long long JsonPlace::number(unsigned long long least, unsigned long long greatest,
                                     const std::string& what) const {
    if (!m_value.is_number_unsigned()) fail(what);
    const auto value = m_value.get<unsigned long long>();
    if (value < least || value > greatest) {
        fail(what + " from " + std::to_string(least) + " to " + std::to_string(greatest));
    }
    return value;
}

ULONGLONG JsonPlace::date() const {
    const std::string expected = "a date like \"2006-06-21\" or \"2006-06-21 14:03:09\", from 1601 on";
    const std::string text = utf8(expected);
    std::string_view rest = text;
    unsigned year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    const bool isDate = takeNumber(rest, 4, 4, year) && take(rest, '-') && takeNumber(rest, 2, 2, month) &&
                        take(rest, '-') && takeNumber(rest, 2, 2, day);
    const bool isTime = rest.empty() || (take(rest, ' ') && takeNumber(rest, 2, 2, hour) && take(rest, ':') &&
                                         takeNumber(rest, 2, 2, minute) && take(rest, ':') &&
                                         takeNumber(rest, 2, 2, second) && rest.empty());
    if (!isDate || !isTime || hour > 23 || minute > 59 || second > 59) fail(expected);
    if (year < 1601 || month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month)) fail(expected);
    return (daysSince1601(year, month, day) * 86400 + hour * 3600 + minute * 60 + second) * ticksPerSecond;
}

ULONGLONG JsonPlace::version() const {
    const std::string expected = "a version like \"10.0.19041.1\", each part below 65536";
    const std::string text = utf8(expected);
    std::string_view rest = text;
    ULONGLONG version = 0;
    for (int part = 0; part < 4; ++part) {
        unsigned value = 0;
        if ((part != 0 && !take(rest, '.')) || !takeNumber(rest, 1, 5, value) || value > 0xFFFF)
            fail(expected);
        version = version << 16 | value;
    }
    if (!rest.empty()) fail(expected);
    return version;
}

Bytes JsonPlace::hex() const {
    const std::string expected = "bytes in hexadecimal like \"00 5a ff\"";
    const std::string text = utf8(expected);
    Bytes bytes;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == ' ') continue;
        const int high = hexDigit(text[i]);
        const int low = ++i < text.size() ? hexDigit(text[i]) : -1;
        if (high < 0 || low < 0) fail(expected);
        bytes.push_back(static_cast<unsigned char>(high << 4 | low));
    }
    return bytes;
}

RegistryValue JsonPlace::registryValue() const {
    const std::string expected = "a text, a number of 32 bits, a list of texts or an object with a type";
    if (m_value.is_string()) return RegistryValue::text(text());
    if (m_value.is_array()) return RegistryValue::texts(texts());
    if (m_value.is_number())
        return RegistryValue::number(static_cast<DWORD>(number(0, 0xFFFFFFFF, "a number")));
    if (!m_value.is_object()) fail(expected);
    allowOnly({"type", "text", "texts", "number", "hex"});

    const JsonPlace typePlace = required("type", "a type like \"REG_BINARY\" or its number");
    RegistryValue value;
    if (typePlace.isString()) {
        const std::string name = typePlace.utf8();
        const auto known = std::find_if(std::begin(typeNames), std::end(typeNames),
                                        [&](const JsonTypeName& type) { return name == type.name; });
        if (known == std::end(typeNames)) typePlace.fail("a type like \"REG_BINARY\" or its number");
        value.type = known->type;
    } else {
        value.type = static_cast<DWORD>(typePlace.number(0, 0xFFFFFFFF, "a type"));
    }
    // Nothing beside the type is a value of no bytes.
    if (m_value.size() > 2) complain("found several contents, expected one of text, texts, number, hex");
    if (const auto content = member("text")) value.bytes = RegistryValue::text(content->text()).bytes;
    if (const auto content = member("texts")) value.bytes = RegistryValue::texts(content->texts()).bytes;
    if (const auto content = member("hex")) value.bytes = content->hex();
    if (const auto content = member("number")) {
        const size_t width = value.type == REG_QWORD ? 8 : 4;
        const auto bits = content->number(0, width == 8 ? ~0ull : 0xFFFFFFFF, "a number");
        for (size_t i = 0; i < width; ++i) value.bytes.push_back(static_cast<unsigned char>(bits >> 8 * i));
        if (value.type == REG_DWORD_BIG_ENDIAN) std::reverse(value.bytes.begin(), value.bytes.end());
    }
    return value;
}

}  // namespace simulation
