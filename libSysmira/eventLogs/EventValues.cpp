#include "libSysmira/eventLogs/EventValues.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "libSysmira/eventLogs/EventLogging.h"
#include "support/Buffer.h"
#include "support/HexDumpFormat.h"
#include "support/MultiString.h"
#include "support/SprintfFormat.h"

namespace libSysmira {

namespace {

// The memory in which an answer lies.
class Answer {
public:
    Answer(const unsigned char* bytes, std::size_t size) : m_begin(bytes), m_end(bytes + size) {}

    // How many bytes are there from an address on; 0 when it is none of the answer's.
    std::size_t left(const void* address) const {
        const auto at = reinterpret_cast<ULONG_PTR>(address);
        const auto begin = reinterpret_cast<ULONG_PTR>(m_begin), end = reinterpret_cast<ULONG_PTR>(m_end);
        return at >= begin && at < end ? end - at : 0;
    }

private:
    const unsigned char* m_begin;
    const unsigned char* m_end;
};

zor::ZORValue localTime(const SYSTEMTIME& utc) {
    SYSTEMTIME local = {};
    if (!SystemTimeToTzSpecificLocalTime(nullptr, const_cast<SYSTEMTIME*>(&utc), &local)) return {};
    // The offset is today's, whatever the season of the event.
    const zor::DateTime now = zor::DateTime::getCurrentDateTime();
    return zor::DateTime(local.wYear, static_cast<unsigned char>(local.wMonth),
                         static_cast<unsigned char>(local.wDay), static_cast<unsigned char>(local.wHour),
                         static_cast<unsigned char>(local.wMinute), static_cast<unsigned char>(local.wSecond),
                         local.wMilliseconds * 1000u, now.getUtcSign(), now.getUtcOffset());
}

zor::ZORValue localTime(ULONGLONG ticks) {
    const FILETIME fileTime = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
    SYSTEMTIME utc = {};
    if (!FileTimeToSystemTime(&fileTime, &utc)) return {};
    return localTime(utc);
}

zor::ZORValue wideText(const WCHAR* text, const Answer& answer) {
    const std::size_t left = answer.left(text);
    if (left == 0) return {};
    return zor::textFromBytes(reinterpret_cast<const unsigned char*>(text), left);
}

zor::ZORValue ansiText(const char* text, const Answer& answer) {
    const std::size_t left = answer.left(text);
    if (left == 0) return {};
    const std::size_t length = static_cast<std::size_t>(std::find(text, text + left, '\0') - text);
    const std::string terminated(text, length);  // its terminator may lie beyond the answer
    zor::Buffer<WCHAR> wide(length + 1);
    const auto count = static_cast<int>(length + 1);
    if (MultiByteToWideChar(CP_ACP, /*dwFlags=*/0, terminated.c_str(), count, wide.data(), count) == 0) {
        eventsLog.write(zor::Detail, 156, [&](zor::LoggerStream& line) {
            line << "Failed to convert ANSI string:\n"
                 << zor::HexDumpFormat(terminated.c_str(), length + 1).toString();
        });
        return {};
    }
    return zor::textFromBytes(reinterpret_cast<const unsigned char*>(wide.data()),
                              wide.size() * sizeof(WCHAR));
}

zor::ZORValue valueOf(const EVT_VARIANT& variant, const Answer& answer) {
    switch (variant.Type) {
        case EvtVarTypeString:
            return wideText(variant.StringVal, answer);
        case EvtVarTypeAnsiString:
            return ansiText(variant.AnsiStringVal, answer);
        case EvtVarTypeInt16:
            return static_cast<short>(variant.Int16Val);
        case EvtVarTypeUInt16:
            return static_cast<unsigned short>(variant.UInt16Val);
        case EvtVarTypeInt32:
            return static_cast<int>(variant.Int32Val);
        case EvtVarTypeUInt32:
            return static_cast<unsigned int>(variant.UInt32Val);
        case EvtVarTypeInt64:
            return static_cast<long long>(variant.Int64Val);
        case EvtVarTypeUInt64:
            return static_cast<unsigned long long>(variant.UInt64Val);
        case EvtVarTypeBoolean:
            return variant.BooleanVal == FALSE;  // the other way round, deliberately: callers know it so
        case EvtVarTypeFileTime:
            return localTime(variant.FileTimeVal);
        case EvtVarTypeSysTime: {
            SYSTEMTIME utc;
            if (answer.left(variant.SysTimeVal) < sizeof utc) return {};
            std::memcpy(&utc, variant.SysTimeVal, sizeof utc);
            return localTime(utc);
        }
        case EvtVarTypeHexInt32:
            return zor::SprintfFormat("0x%X", variant.UInt32Val);
        case EvtVarTypeHexInt64:
            return zor::SprintfFormat("0x%llX", variant.UInt64Val);
        default:
            eventsLog.write(zor::Detail, 199, [&](zor::LoggerStream& line) {
                line << "Unsupported event variant type (w/ code "
                     << zor::ZORValue(static_cast<unsigned int>(variant.Type)).toString() << ") returned";
            });
            return {};
    }
}

}  // namespace

void appendEventValues(const unsigned char* bytes, std::size_t size, DWORD count,
                       zor::Array<zor::ZORValue>& row) {
    const Answer answer(bytes, size);
    const std::size_t most = std::min<std::size_t>(count, size / sizeof(EVT_VARIANT));
    row.reserve(static_cast<unsigned int>(row.size() + most));
    for (std::size_t i = 0; i < most; ++i) {
        EVT_VARIANT variant;
        std::memcpy(&variant, bytes + i * sizeof variant, sizeof variant);
        row.append(valueOf(variant, answer));
    }
}

}  // namespace libSysmira
