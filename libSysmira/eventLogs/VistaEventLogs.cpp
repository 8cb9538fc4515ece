#include "libSysmira/eventLogs/VistaEventLogs.h"

#include <algorithm>
#include <map>
#include <utility>

#include "libSysmira/eventLogs/EventLogging.h"
#include "libSysmira/eventLogs/EventValues.h"
#include "support/Buffer.h"
#include "support/DescriptorStorage.h"
#include "support/GrowingRead.h"
#include "support/LastErrorKeeper.h"
#include "support/MultiString.h"
#include "support/SharedResource.h"
#include "support/SprintfFormat.h"
#include "support/System.h"
#include "support/WindowsApi.h"

namespace libSysmira {

namespace {

struct EvtHandleResManager {
    static void destroy(EVT_HANDLE handle) noexcept { EvtClose(handle); }
};
using EvtHandle = zor::SharedResource<zor::DescriptorStorage<EVT_HANDLE, 0, EvtHandleResManager>, 0>;

using Row = zor::Array<zor::ZORValue>;

constexpr DWORD NextTimeoutMs = 5000;

thread_local DWORD theLastQueryError = ERROR_SUCCESS;

// The thread's last error, kept as the reason why events are missing.
DWORD noteQueryError() {
    const DWORD error = zor::System::getSystemError();
    theLastQueryError = error == ERROR_SUCCESS ? DWORD{ERROR_GEN_FAILURE} : error;
    return error;
}

zor::String errorText(const char* format, DWORD error) {
    return zor::SprintfFormat(format, error) + zor::System::getSystemErrorMsg(error);
}

// The events that a query has found. They are its own: it closes each of them once.
class QueryResult {
public:
    QueryResult(const zor::String& channel, const zor::String& query, VistaEventLogs::SortOrder order) {
        theLastQueryError = ERROR_SUCCESS;
        const DWORD direction =
            order == VistaEventLogs::NewestFirst ? EvtQueryReverseDirection : EvtQueryForwardDirection;
        m_query = EvtHandle(EvtQuery(/*Session=*/nullptr, channel.getUCS2Buffer(), query.getUCS2Buffer(),
                                     EvtQueryChannelPath | direction));
        if (!m_query.isValid()) {
            const DWORD error = noteQueryError();
            eventsLog.write(zor::Detail, 53, [&](zor::LoggerStream& line) {
                line << "Query \"" << query << "\" on channel \"" << channel
                     << errorText("\" returned error - Error(%u) : ", error);
            });
            return;
        }
        try {
            fetch();
        } catch (...) {
            close();
            throw;
        }
    }
    ~QueryResult() { close(); }
    QueryResult(const QueryResult&) = delete;
    QueryResult& operator=(const QueryResult&) = delete;

    // Whether Windows has taken the query.
    bool isOpen() const { return m_query.isValid(); }
    unsigned int size() const { return m_events.size(); }
    const EVT_HANDLE* begin() const { return m_events.begin(); }
    const EVT_HANDLE* end() const { return m_events.end(); }

private:
    void fetch() {
        while (true) {
            // The handle must not get lost for want of memory.
            if (m_events.size() == m_events.capacity()) m_events.reserve(std::max(16u, m_events.size() * 2));
            EVT_HANDLE event = nullptr;
            DWORD returned = 0;
            if (!EvtNext(m_query.get(), /*EventsSize=*/1, &event, NextTimeoutMs, /*Flags=*/0, &returned)) {
                if (zor::System::getSystemError() != ERROR_NO_MORE_ITEMS) noteQueryError();
                return;
            }
            if (event == nullptr) return;
            m_events.append(event);
        }
    }

    void close() noexcept {
        const zor::LastErrorKeeper keeper;
        for (const EVT_HANDLE event : m_events) {
            if (EvtClose(event)) continue;
            eventsLog.write(zor::Warning, 77, [](zor::LoggerStream& line) {
                line << "Failed to close eventlog: "
                     << zor::System::getSystemErrorMsg(zor::System::getSystemError());
            });
        }
        m_events.clear();
    }

    EvtHandle m_query;
    zor::Array<EVT_HANDLE> m_events;
};

EvtHandle valuesContext(const zor::Array<zor::String>& paths) {
    zor::Array<LPCWSTR> texts(paths.size());
    for (const zor::String& path : paths) texts.append(path.getUCS2Buffer());
    return EvtHandle(EvtCreateRenderContext(texts.size(), texts.begin(), EvtRenderContextValues));
}

bool renderXml(EVT_HANDLE event, zor::String& xml) {
    DWORD used = 0, count = 0;
    if (EvtRender(nullptr, event, EvtRenderEventXml, 0, nullptr, &used, &count) ||
        zor::System::getSystemError() != ERROR_INSUFFICIENT_BUFFER) {
        return false;
    }
    zor::Buffer<unsigned char> bytes;
    if (!zor::tryResize(bytes, used & ~DWORD{1})) return false;
    const auto room = static_cast<DWORD>(bytes.size());
    if (!EvtRender(nullptr, event, EvtRenderEventXml, room, bytes.data(), &used, &count)) return false;
    xml = zor::textFromBytes(bytes.data(), bytes.size());
    return !xml.empty();
}

bool renderValues(const EvtHandle& context, EVT_HANDLE event, Row& row) {
    row.clear();
    alignas(EVT_VARIANT) unsigned char first[256] = {};
    DWORD used = 0, count = 0;
    if (EvtRender(context.get(), event, EvtRenderEventValues, sizeof first, first, &used, &count)) {
        appendEventValues(first, sizeof first, count, row);
        return true;
    }
    if (zor::System::getSystemError() != ERROR_INSUFFICIENT_BUFFER) return false;
    zor::Buffer<unsigned char> bytes;
    if (!zor::tryResize(bytes, used)) return false;
    if (!EvtRender(context.get(), event, EvtRenderEventValues, used, bytes.data(), &used, &count))
        return false;
    appendEventValues(bytes.data(), bytes.size(), count, row);
    return true;
}

zor::String formatMessage(const EvtHandle& metadata, EVT_HANDLE event) {
    DWORD needed = 0;
    if (EvtFormatMessage(metadata.get(), event, /*MessageId=*/0, /*ValueCount=*/0, /*Values=*/nullptr,
                         EvtFormatMessageEvent, /*BufferSize=*/0, /*Buffer=*/nullptr, &needed)) {
        return {};
    }
    const DWORD error = zor::System::getSystemError();
    if (error != ERROR_INSUFFICIENT_BUFFER) {
        eventsLog.write(zor::Warning, 360, [&](zor::LoggerStream& line) {
            line << "EvtFormatMessage failed with " << zor::System::getSystemErrorMsg(error);
        });
        return {};
    }
    if (needed > zor::LargestRead / sizeof(WCHAR)) return {};
    zor::Buffer<WCHAR> text(needed);
    DWORD used = 0;
    EvtFormatMessage(metadata.get(), event, 0, 0, nullptr, EvtFormatMessageEvent, needed, text.data(), &used);
    // The size that was announced is the text's, terminator included.
    return {text.data(), needed};
}

// What the providers of one query say about their events. A provider is asked once, whatever it answers.
class ProviderMetadata {
public:
    const EvtHandle& find(const zor::String& provider) {
        const auto known = m_handles.find(provider);
        if (known != m_handles.end()) return known->second;
        EvtHandle& handle = m_handles[provider];
        handle = EvtHandle(EvtOpenPublisherMetadata(/*Session=*/nullptr, provider.getUCS2Buffer(),
                                                    /*LogFilePath=*/nullptr, /*Locale=*/0, /*Flags=*/0));
        if (!handle.isValid()) {
            const DWORD error = zor::System::getSystemError();
            eventsLog.write(zor::Warning, 492, [&](zor::LoggerStream& line) {
                line << zor::SprintfFormat("Unable to open provider metadata for \"%s\" - Error(%u): ",
                                           provider.getUTF8String(), error)
                     << zor::System::getSystemErrorMsg(error);
            });
        }
        return handle;
    }

private:
    std::map<zor::String, EvtHandle> m_handles;
};

}  // namespace

DWORD getLastEventQueryError() noexcept { return theLastQueryError; }

bool VistaEventLogs::queryLogs(const zor::String& channel, const zor::String& query, SortOrder order,
                               zor::Array<zor::String>& xmlEvents) {
    xmlEvents.clear();
    const QueryResult events(channel, query, order);
    for (const EVT_HANDLE event : events) {
        zor::String xml;
        if (!renderXml(event, xml)) return false;
        xmlEvents.append(std::move(xml));
    }
    return true;
}

bool VistaEventLogs::queryLogs(const zor::String& channel, const zor::String& query, SortOrder order,
                               const zor::Array<zor::String>& valuePaths, zor::Array<Row>& values) {
    values.clear();
    theLastQueryError = ERROR_EVT_INVALID_QUERY;
    if (query.empty()) return false;
    const QueryResult events(channel, query, order);
    // There is nothing to render, and a system without channels may end a program that asks for a context.
    if (!events.isOpen()) return true;
    const EvtHandle context = valuesContext(valuePaths);
    if (!context.isValid()) {
        const DWORD error = noteQueryError();
        eventsLog.write(zor::Detail, 413, [&](zor::LoggerStream& line) {
            line << errorText("Unable to create render context - Error(%u) : ", error);
        });
        return false;
    }
    values.reserve(events.size());
    for (const EVT_HANDLE event : events) {
        Row row;
        renderValues(context, event, row);
        values.append(std::move(row));
    }
    return true;
}

bool VistaEventLogs::queryLogs(const zor::String& channel, const zor::String& query, SortOrder order,
                               const zor::Array<zor::String>& valuePaths, zor::Array<Row>& values,
                               zor::Array<zor::String>& messages) {
    values.clear();
    theLastQueryError = ERROR_EVT_INVALID_QUERY;
    if (query.empty()) return false;
    const QueryResult events(channel, query, order);
    if (!events.isOpen()) return true;
    zor::Array<zor::String> paths = valuePaths;
    paths.append("Event/System/Provider/@Name");
    const EvtHandle systemContext = valuesContext(paths);
    if (!systemContext.isValid()) {
        const DWORD error = noteQueryError();
        eventsLog.write(zor::Detail, 448, [&](zor::LoggerStream& line) {
            line << errorText("Unable to create system render context - Error(%u) : ", error);
        });
        return false;
    }
    // The number of paths goes along, though user data have none.
    const EvtHandle userContext(EvtCreateRenderContext(paths.size(), nullptr, EvtRenderContextUser));
    if (!userContext.isValid()) {
        const DWORD error = noteQueryError();
        eventsLog.write(zor::Detail, 455, [&](zor::LoggerStream& line) {
            line << errorText("Unable to create user data render context - Error(%u) : ", error);
        });
        return false;
    }

    ProviderMetadata providers;
    values.reserve(events.size());
    messages.reserve(messages.size() + events.size());
    for (const EVT_HANDLE event : events) {
        Row row, userRow;
        zor::String message;
        if (renderValues(systemContext, event, row) && !row.empty()) {
            const zor::String provider = row[row.size() - 1].toString();
            const EvtHandle& metadata = providers.find(provider);
            if (metadata.isValid()) {
                message = formatMessage(metadata, event);
                renderValues(userContext, event, userRow);
            } else {
                eventsLog.write(zor::Detail, 503, [&](zor::LoggerStream& line) {
                    line << "Cached provider metadata for \"" << provider << "\" had a prior error, skipping";
                });
            }
        }
        for (zor::ZORValue& value : userRow) row.append(std::move(value));
        values.append(std::move(row));
        messages.append(std::move(message));
    }
    return true;
}

}  // namespace libSysmira
