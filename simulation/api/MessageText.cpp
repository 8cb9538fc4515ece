#include "simulation/api/MessageText.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include "simulation/api/Environment.h"
#include "simulation/machine/Machine.h"

namespace simulation {

namespace {

// Windows formats 64 KiB at most.
constexpr size_t LongestText = 32767;

bool isDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

// A printf format without its percent sign.
struct ArgumentFormat {
    Text flags;
    std::optional<size_t> width;
    bool widthIsArgument = false;
    std::optional<size_t> precision;
    bool precisionIsArgument = false;
    Text size;
    char16_t conversion = u's';
};

std::optional<size_t> takeDigits(const Text& text, size_t& at) {
    if (at == text.size() || !isDigit(text[at])) return std::nullopt;
    size_t value = 0;
    for (; at < text.size() && isDigit(text[at]); ++at) {
        value = std::min<size_t>(value * 10 + (text[at] - u'0'), LongestText + 1);
    }
    return value;
}

ArgumentFormat parseFormat(const Text& text) {
    ArgumentFormat format;
    if (text.empty()) return format;
    size_t at = 0;
    const auto takeWhile = [&](std::u16string_view units) {
        const size_t begin = at;
        while (at < text.size() && units.find(text[at]) != Text::npos) ++at;
        return text.substr(begin, at - begin);
    };
    format.flags = takeWhile(u"-+ #0");
    format.widthIsArgument = at < text.size() && text[at] == u'*';
    if (format.widthIsArgument) ++at;
    format.width = takeDigits(text, at);
    if (at < text.size() && text[at] == u'.') {
        ++at;
        format.precisionIsArgument = at < text.size() && text[at] == u'*';
        if (format.precisionIsArgument) ++at;
        format.precision = takeDigits(text, at);
        if (!format.precision) format.precision = 0;
    }
    format.size = text.substr(at, 3) == u"I64" || text.substr(at, 3) == u"I32" ? text.substr(at, 3) : Text();
    at += format.size.size();
    if (format.size.empty()) format.size = takeWhile(u"hlw");
    format.conversion = at < text.size() ? text[at] : u's';
    return format;
}

Text padded(const Text& text, const ArgumentFormat& format) {
    const size_t width = std::min(format.width.value_or(0), LongestText + 1);
    if (text.size() >= width) return text;
    const Text blanks(width - text.size(), u' ');
    return format.flags.find(u'-') != Text::npos ? text + blanks : blanks + text;
}

// No more than the precision is read.
template <class Unit>
Text readText(const Unit* text, size_t most) {
    Text result;
    for (size_t at = 0; at < most && text[at] != 0; ++at) {
        result += static_cast<char16_t>(static_cast<std::make_unsigned_t<Unit>>(text[at]));
    }
    return result;
}

Text formatNumber(ULONG_PTR value, const ArgumentFormat& format) {
    const bool wideNumber = format.size == u"I64" || format.size == u"ll";
    const bool isSigned = format.conversion == u'd' || format.conversion == u'i';
    long long number = static_cast<long long>(value);
    if (!wideNumber && format.conversion != u'p') {
        number = isSigned ? static_cast<long long>(static_cast<INT32>(value))
                          : static_cast<long long>(static_cast<UINT32>(value));
    }
    std::string pattern = "%" + toUtf8(format.flags);
    if (format.width) pattern += std::to_string(std::min<size_t>(*format.width, 256));
    if (format.precision) pattern += "." + std::to_string(std::min<size_t>(*format.precision, 256));
    if (format.conversion == u'p') {
        pattern = "%016llX";
    } else {
        pattern += std::string("ll") + static_cast<char>(format.conversion);
    }
    char text[600];
    std::snprintf(text, sizeof text, pattern.c_str(), number);
    return fromUtf8(text);
}

Text eventLogKey() { return u"SYSTEM\\CurrentControlSet\\Services\\Eventlog"; }

Text textOf(const RegistryValue& value) {
    Text text(value.bytes.size() / sizeof(char16_t), u'\0');
    std::memcpy(text.data(), value.bytes.data(), text.size() * sizeof(char16_t));
    return text.substr(0, text.find(u'\0'));
}

// The tables of the message files of a source, in order.
std::vector<const std::map<DWORD, Text>*> tablesOf(const Text& source) {
    std::vector<const std::map<DWORD, Text>*> tables;
    const RegistryKey* const logs = machine().localMachine().find(eventLogKey());
    if (logs == nullptr || source.empty()) return tables;
    for (const auto& [log, key] : logs->keys) {
        const RegistryKey* const found = key.find(source);
        if (found == nullptr) continue;
        const auto value = found->values.find(u"EventMessageFile");
        if (value == found->values.end()) continue;
        const Text files = expandEnvironment(textOf(value->second));
        for (size_t at = 0; at < files.size();) {
            const size_t end = std::min(files.find(u';', at), files.size());
            const auto* const table = messageTable(files.substr(at, end - at));
            if (table != nullptr) tables.push_back(table);
            at = end + 1;
        }
    }
    return tables;
}

}  // namespace

MessageExpansion expandMessage(const Text& message, const MessageInsert* insert) {
    const MessageExpansion illFormed{{}, ERROR_INVALID_PARAMETER};
    Text result;
    for (size_t at = 0; at < message.size(); ++at) {
        if (result.size() > LongestText) return {{}, ERROR_MORE_DATA};
        const char16_t unit = message[at];
        // A line end of any kind becomes the usual two.
        if (unit == u'\n' || unit == u'\r') {
            result += u"\r\n";
            if (unit == u'\r' && at + 1 < message.size() && message[at + 1] == u'\n') ++at;
            continue;
        }
        if (unit != u'%') {
            result += unit;
            continue;
        }
        if (++at == message.size()) return illFormed;
        const char16_t sign = message[at];
        if (sign == u'0') break;
        if (sign == u'n') {
            result += u"\r\n";
        } else if (sign == u'r') {
            result += u'\r';
        } else if (sign == u't') {
            result += u'\t';
        } else if (insert == nullptr) {
            result += u'%';
            result += sign;
        } else if (!isDigit(sign)) {
            result += sign;
        } else {
            unsigned number = sign - u'0';
            if (at + 1 < message.size() && isDigit(message[at + 1]))
                number = number * 10 + (message[++at] - u'0');
            Text format;
            if (at + 1 < message.size() && message[at + 1] == u'!') {
                const size_t end = message.find(u'!', at + 2);
                if (end == Text::npos) return illFormed;
                format = message.substr(at + 2, end - at - 2);
                at = end;
            }
            result += (*insert)(number, format);
        }
    }
    if (result.size() > LongestText) return {{}, ERROR_MORE_DATA};
    return {result, 0};
}

Text formatArgument(unsigned number, const Text& text,
                    const std::function<ULONG_PTR(unsigned number)>& argument) {
    ArgumentFormat format = parseFormat(text);
    if (format.widthIsArgument) format.width = static_cast<size_t>(argument(number++));
    if (format.precisionIsArgument) format.precision = static_cast<size_t>(argument(number++));
    const ULONG_PTR value = argument(number);
    const bool narrow = format.conversion == u'S' || format.size == u"h";
    switch (format.conversion) {
        case u's':
        case u'S': {
            const size_t most = format.precision.value_or(LongestText + 1);
            if (value == 0) return padded(Text(u"(null)").substr(0, most), format);
            return padded(narrow ? readText(reinterpret_cast<const char*>(value), most)
                                 : readText(reinterpret_cast<const char16_t*>(value), most),
                          format);
        }
        case u'c':
        case u'C':
            return padded(Text(1, static_cast<char16_t>(value)), format);
        case u'd':
        case u'i':
        case u'u':
        case u'x':
        case u'X':
        case u'o':
        case u'p':
            return formatNumber(value, format);
        default:
            return {};
    }
}

const std::map<DWORD, Text>* messageTable(const Text& file) {
    const auto found = machine().files.find(file);
    if (found == machine().files.end() || !found->second.messages) return nullptr;
    return &*found->second.messages;
}

const Text* sourceMessage(const Text& source, DWORD id) {
    for (const auto* const table : tablesOf(source)) {
        const auto found = table->find(id);
        if (found != table->end()) return &found->second;
    }
    return nullptr;
}

bool hasMessageFiles(const Text& source) { return !tablesOf(source).empty(); }

}  // namespace simulation
