// The event service: queries of channels, rendering of events, publishers' messages.
#include <algorithm>
#include <cstring>
#include <memory>

#include "simulation/api/EventQuery.h"
#include "simulation/api/EventRendering.h"
#include "simulation/api/EventXPath.h"
#include "simulation/api/MessageText.h"
#include "simulation/control/Call.h"
#include "simulation/control/Clock.h"
#include "simulation/control/HandleTable.h"
#include "simulation/machine/Machine.h"

namespace simulation {

namespace {

struct OpenQuery {
    Text channel;  // the first
    std::vector<EventSelector> selectors;
    bool reverse = false;
    // Of a query on several channels: what they selected when it was opened, by time.
    std::optional<EventChannel> merged = std::nullopt;
    size_t next = 0;  // place among the channel's events in the query's direction
};

struct RenderContext {
    DWORD kind;  // EvtRenderContextValues …
    std::vector<EventXPath> paths;
};

template <class Value, Resource Kind>
HandleTable<Value>& table() {
    static HandleTable<Value> theTable(Kind);
    static const AtReset atReset([] { theTable.clear(); });
    return theTable;
}

HandleTable<OpenQuery>& queries() { return table<OpenQuery, Resource::EventQuery>(); }
HandleTable<ChannelEvent>& events() { return table<ChannelEvent, Resource::Event>(); }
HandleTable<RenderContext>& contexts() { return table<RenderContext, Resource::EventRenderContext>(); }
HandleTable<Text>& publishers() { return table<Text, Resource::EventPublisherMetadata>(); }

const EventChannel* findChannel(const Text& name) {
    const auto found = machine().events.channels.find(name);
    return found != machine().events.channels.end() ? &found->second : nullptr;
}

ULONGLONG currentTicks() {
    const ULONGLONG fixed = machine().events.now;
    if (fixed != 0) return fixed + sleptMilliseconds() * 10000;
    FILETIME now = {};
    GetSystemTimeAsFileTime(&now);
    return ULONGLONG{now.dwHighDateTime} << 32 | now.dwLowDateTime;
}

const EventChannel* channelOf(const OpenQuery& query) {
    return query.merged ? &*query.merged : findChannel(query.channel);
}

bool isSelected(const OpenQuery& query, const ChannelEvent& event) {
    if (query.merged) return true;
    if (query.selectors.size() == 1 && query.selectors[0].filter.selectsAll()) return true;
    return isSelected(query.selectors, query.channel, event.tree(), currentTicks());
}

// What opening a query finds wrong with its channels.
DWORD checkChannels(const std::vector<EventSelector>& selectors) {
    for (const EventSelector& each : selectors) {
        const EventChannel* const channel = findChannel(each.channel);
        if (channel == nullptr) return ERROR_EVT_CHANNEL_NOT_FOUND;
        if (channel->queryError != 0) return channel->queryError;
    }
    return ERROR_SUCCESS;
}

std::optional<EventChannel> merge(const std::vector<EventSelector>& selectors) {
    std::vector<Text> channels;
    for (const EventSelector& each : selectors) {
        const auto same = [&](const Text& name) { return equalNoCase(name, each.channel); };
        if (std::none_of(channels.begin(), channels.end(), same)) channels.push_back(each.channel);
    }
    if (channels.size() == 1) return std::nullopt;
    EventChannel merged;
    for (const Text& name : channels) {
        for (const ChannelEvent& event : findChannel(name)->events) {
            if (isSelected(selectors, name, event.tree(), currentTicks())) merged.events.push_back(event);
        }
    }
    std::stable_sort(
        merged.events.begin(), merged.events.end(),
        [](const ChannelEvent& one, const ChannelEvent& other) { return one.time < other.time; });
    return merged;
}

const ChannelEvent& eventAt(const OpenQuery& query, const EventChannel& channel, size_t place) {
    return channel.events[query.reverse ? channel.events.size() - 1 - place : place];
}

// The place of the first event from `place` on that the query selects; the number of events at the end.
size_t nextSelected(const OpenQuery& query, const EventChannel& channel, size_t place) {
    while (place < channel.events.size() && !isSelected(query, eventAt(query, channel, place))) ++place;
    return place;
}

// The values that a context renders.
std::vector<EventValue> valuesOf(const RenderContext& context, const ChannelEvent& event) {
    if (context.kind == EvtRenderContextSystem) return systemValues(event);
    if (context.kind == EvtRenderContextUser) return event.userValues();
    const EventElement tree = event.tree();
    std::vector<EventValue> values;
    for (const EventXPath& path : context.paths) {
        const EventValue* const found = path.find(tree, currentTicks());
        values.push_back(found != nullptr ? *found : EventValue());
    }
    return values;
}

// The template of an event's message; null when the publisher has none.
const Text* findMessage(const Text& publisher, DWORD id, DWORD qualifiers) {
    const auto found = machine().events.publishers.find(publisher);
    if (found != machine().events.publishers.end()) {
        const auto message = found->second.messages.find(id);
        if (message != found->second.messages.end()) return &message->second;
    }
    return sourceMessage(publisher, qualifiers << 16 | id);
}

// Here every insert is a text, whatever its format. One that the event has no value for stays as it stands.
DWORD expandEventMessage(const Text& message, const std::vector<EventValue>& values, Text& text) {
    bool unresolved = false;
    const MessageInsert insert = [&](unsigned number, const Text&) {
        if (number >= 1 && number <= values.size()) return values[number - 1].toText();
        unresolved = true;
        return u"%" + fromUtf8(std::to_string(number));
    };
    const MessageExpansion expanded = expandMessage(message, &insert);
    if (expanded.error != 0) return expanded.error;
    text = expanded.text;
    return unresolved ? ERROR_EVT_UNRESOLVED_VALUE_INSERT : ERROR_SUCCESS;
}

// What EvtFormatMessage gives for an event, or why it gives nothing.
DWORD formatEvent(const Text& publisher, const ChannelEvent& event, DWORD what, Text& text) {
    static constexpr const char16_t* levels[] = {u"Information", u"Critical",    u"Error",
                                                 u"Warning",     u"Information", u"Verbose"};
    switch (what) {
        case EvtFormatMessageEvent: {
            const Text* const message = findMessage(publisher, event.id, event.qualifiers.value_or(0));
            if (message == nullptr) return ERROR_EVT_MESSAGE_NOT_FOUND;
            return expandEventMessage(*message, event.userValues(), text);
        }
        case EvtFormatMessageLevel:
            if (event.level >= std::size(levels)) return ERROR_EVT_MESSAGE_NOT_FOUND;
            text = levels[event.level];
            return ERROR_SUCCESS;
        case EvtFormatMessageChannel:
            text = event.channel;
            return ERROR_SUCCESS;
        case EvtFormatMessageProvider:
            text = event.provider;
            return ERROR_SUCCESS;
        case EvtFormatMessageXml:
            text = eventXml(event);
            return ERROR_SUCCESS;
        case EvtFormatMessageTask:
        case EvtFormatMessageOpcode:
        case EvtFormatMessageKeyword:
            return ERROR_EVT_MESSAGE_NOT_FOUND;  // publishers of this PC name none
        default:
            return ERROR_INVALID_PARAMETER;
    }
}

// All that EvtCreateRenderContext may be given besides paths: a count that says nothing.
bool readPaths(DWORD count, LPCWSTR* paths, std::vector<EventXPath>& parsed) {
    for (DWORD index = 0; index < count; ++index) {
        if (paths[index] == nullptr) return false;
        const auto path = EventXPath::parsePath(fromWide(paths[index]));
        if (!path) return false;
        parsed.push_back(*path);
    }
    return true;
}

const std::vector<long long> serviceCodes = {RPC_S_SERVER_UNAVAILABLE, RPC_S_CALL_FAILED,
                                             ERROR_ACCESS_DENIED};

}  // namespace

}  // namespace simulation

using namespace simulation;

SIMULATED_PLAIN(EVT_HANDLE, WINAPI, EvtQuery,
                (EVT_HANDLE session, LPCWSTR path, LPCWSTR query, DWORD flags)) {
    static const Function function{
        "EvtQuery",
        Fails::WithZero,
        {ERROR_EVT_CHANNEL_NOT_FOUND, ERROR_EVT_INVALID_QUERY, ERROR_ACCESS_DENIED, RPC_S_SERVER_UNAVAILABLE},
        0u | Distortion::NullResult};
    Call call(function, path, query, flags);
    if (const auto fault = call.fault<EVT_HANDLE>()) return *fault;
    if (call.distorted(Distortion::NullResult)) return call.returns<EVT_HANDLE>(nullptr);
    constexpr DWORD bothDirections = EvtQueryForwardDirection | EvtQueryReverseDirection;
    constexpr DWORD known =
        EvtQueryChannelPath | EvtQueryFilePath | bothDirections | EvtQueryTolerateQueryErrors;
    const bool oneSource = ((flags & EvtQueryChannelPath) != 0) != ((flags & EvtQueryFilePath) != 0);
    if (session != nullptr) return call.fails<EVT_HANDLE>(ERROR_INVALID_HANDLE);
    const Text text = query != nullptr ? fromWide(query) : Text(u"*");
    // A structured query names its channels itself.
    if (!oneSource || (flags & ~known) != 0 || (flags & bothDirections) == bothDirections ||
        (path == nullptr && !isStructuredQuery(text)))
        return call.fails<EVT_HANDLE>(ERROR_INVALID_PARAMETER);
    if ((flags & EvtQueryFilePath) != 0) return call.fails<EVT_HANDLE>(ERROR_FILE_NOT_FOUND);
    auto selectors = parseEventQuery(path != nullptr ? fromWide(path) : Text(), text);
    if (!selectors) return call.fails<EVT_HANDLE>(ERROR_EVT_INVALID_QUERY);
    if (const DWORD error = checkChannels(*selectors)) return call.fails<EVT_HANDLE>(error);
    auto open = std::make_unique<OpenQuery>();
    open->channel = selectors->front().channel;
    open->merged = merge(*selectors);
    open->selectors = std::move(*selectors);
    open->reverse = (flags & EvtQueryReverseDirection) != 0;
    return call.returns(queries().add(std::move(open), call.name()));
}

// Fewer events than asked for may come with success. The end is a failure of its own.
SIMULATED_PLAIN(WINBOOL, WINAPI, EvtNext,
                (EVT_HANDLE handle, DWORD count, EVT_HANDLE* array, DWORD timeout, DWORD flags,
                 PDWORD returned)) {
    static const Function function{
        "EvtNext",
        Fails::WithZero,
        {ERROR_NO_MORE_ITEMS, ERROR_TIMEOUT, ERROR_EVT_QUERY_RESULT_STALE, RPC_S_CALL_FAILED},
        Distortion::NothingWritten | Distortion::NullResult | Distortion::SizeZero |
            Distortion::SizeTooLarge};
    Call call(function, count, timeout);
    if (const auto fault = call.fault<WINBOOL>()) return *fault;
    OpenQuery* const query = queries().find(handle, call.name());
    if (query == nullptr) return call.fails<WINBOOL>(ERROR_INVALID_HANDLE);
    if (count == 0 || array == nullptr || returned == nullptr || flags != 0)
        return call.fails<WINBOOL>(ERROR_INVALID_PARAMETER);
    if (call.distorted(Distortion::NothingWritten)) return call.returns<WINBOOL>(TRUE);
    *returned = 0;
    const EventChannel* const channel = channelOf(*query);
    if (channel == nullptr) return call.fails<WINBOOL>(ERROR_EVT_QUERY_RESULT_STALE);
    if (call.distorted(Distortion::NullResult) || call.distorted(Distortion::SizeZero)) {
        array[0] = nullptr;
        *returned = call.distorted(Distortion::SizeZero) ? 0 : 1;
        return call.returns<WINBOOL>(TRUE);
    }
    DWORD error = ERROR_NO_MORE_ITEMS;
    ULONGLONG left = timeout;
    while (*returned < count) {
        const size_t place = nextSelected(*query, *channel, query->next);
        if (place >= channel->events.size()) break;
        if (timeout != INFINITE && channel->millisecondsPerEvent > left) {
            passMilliseconds(left);
            error = ERROR_TIMEOUT;
            break;
        }
        passMilliseconds(channel->millisecondsPerEvent);
        left -= channel->millisecondsPerEvent;
        array[(*returned)++] =
            events().add(std::make_unique<ChannelEvent>(eventAt(*query, *channel, place)), call.name());
        query->next = place + 1;
    }
    if (*returned == 0) return call.fails<WINBOOL>(error);
    if (call.distorted(Distortion::SizeTooLarge)) *returned = count + 4096;
    return call.returns<WINBOOL>(TRUE);
}

SIMULATED_PLAIN(WINBOOL, WINAPI, EvtSeek,
                (EVT_HANDLE handle, LONGLONG position, EVT_HANDLE bookmark, DWORD timeout, DWORD flags)) {
    static const Function function{
        "EvtSeek", Fails::WithZero, {ERROR_NOT_FOUND, ERROR_EVT_QUERY_RESULT_INVALID_POSITION}};
    Call call(function, position, flags);
    if (const auto fault = call.fault<WINBOOL>()) return *fault;
    OpenQuery* const query = queries().find(handle, call.name());
    const EventChannel* const channel = query != nullptr ? channelOf(*query) : nullptr;
    if (channel == nullptr) return call.fails<WINBOOL>(ERROR_INVALID_HANDLE);
    const DWORD origin = flags & EvtSeekOriginMask;
    // Bookmarks are not kept on this PC; the time-out is reserved.
    const bool valid = bookmark == nullptr && timeout == 0 && origin >= EvtSeekRelativeToFirst &&
                       origin <= EvtSeekRelativeToCurrent &&
                       (flags & ~DWORD{EvtSeekOriginMask | EvtSeekStrict}) == 0;
    if (!valid) return call.fails<WINBOOL>(ERROR_INVALID_PARAMETER);
    std::vector<size_t> places;
    LONGLONG current = 0;
    for (size_t place = nextSelected(*query, *channel, 0); place < channel->events.size();
         place = nextSelected(*query, *channel, place + 1)) {
        if (place < query->next) ++current;
        places.push_back(place);
    }
    const auto last = static_cast<LONGLONG>(places.size()) - 1;
    const LONGLONG begin = origin == EvtSeekRelativeToFirst  ? 0
                           : origin == EvtSeekRelativeToLast ? last
                                                             : current;
    LONGLONG target = 0;
    const bool overflows = __builtin_add_overflow(begin, position, &target);
    const bool inside = !overflows && target >= 0 && target <= last;
    if (!inside && (flags & EvtSeekStrict) != 0) return call.fails<WINBOOL>(ERROR_NOT_FOUND);
    // Beyond either end the query stands at that end.
    if (overflows) target = position < 0 ? 0 : last + 1;
    target = std::clamp<LONGLONG>(target, 0, last + 1);
    query->next = target > last ? channel->events.size() : places[static_cast<size_t>(target)];
    return call.returns<WINBOOL>(TRUE);
}

// Paths are for values alone; the other kinds take a count without paths.
SIMULATED_PLAIN(EVT_HANDLE, WINAPI, EvtCreateRenderContext, (DWORD count, LPCWSTR* paths, DWORD flags)) {
    static const Function function{
        "EvtCreateRenderContext",
        Fails::WithZero,
        {ERROR_INVALID_PARAMETER, ERROR_EVT_INVALID_QUERY, ERROR_NOT_ENOUGH_MEMORY},
        0u | Distortion::NullResult};
    Call call(function, count, flags);
    if (const auto fault = call.fault<EVT_HANDLE>()) return *fault;
    if (call.distorted(Distortion::NullResult)) return call.returns<EVT_HANDLE>(nullptr);
    const bool withPaths = flags == EvtRenderContextValues;
    if (flags > EvtRenderContextUser || withPaths != (paths != nullptr) || (withPaths && count == 0))
        return call.fails<EVT_HANDLE>(ERROR_INVALID_PARAMETER);
    RenderContext context{flags, {}};
    if (withPaths && !readPaths(count, paths, context.paths))
        return call.fails<EVT_HANDLE>(ERROR_EVT_INVALID_QUERY);
    return call.returns(contexts().add(std::make_unique<RenderContext>(std::move(context)), call.name()));
}

// Sizes are bytes. XML is counted with its terminator, and has no properties.
SIMULATED_PLAIN(WINBOOL, WINAPI, EvtRender,
                (EVT_HANDLE context, EVT_HANDLE event, DWORD flags, DWORD size, PVOID buffer, PDWORD used,
                 PDWORD count)) {
    static const Function function{
        "EvtRender",
        Fails::WithZero,
        {ERROR_INVALID_HANDLE, ERROR_EVT_INVALID_EVENT_DATA, ERROR_NOT_ENOUGH_MEMORY},
        Distortion::NothingWritten | Distortion::SizeTooLarge | Distortion::SizeZero | Distortion::OddSize |
            Distortion::NoTerminator | Distortion::NullContent};
    Call call(function, flags, size);
    if (const auto fault = call.fault<WINBOOL>()) return *fault;
    const ChannelEvent* const found = events().find(event, call.name());
    if (found == nullptr) return call.fails<WINBOOL>(ERROR_INVALID_HANDLE);
    if (used == nullptr || count == nullptr || flags > EvtRenderEventXml)
        return call.fails<WINBOOL>(ERROR_INVALID_PARAMETER);
    if (flags == EvtRenderEventXml) {
        if (context != nullptr) return call.fails<WINBOOL>(ERROR_INVALID_PARAMETER);
        const Text xml = eventXml(*found);
        if (!call.distorted(Distortion::NothingWritten)) *count = 0;
        const bool fits = copyOut(call, xml.c_str(), (xml.size() + 1) * sizeof(char16_t), buffer, size, used);
        return fits ? call.returns<WINBOOL>(TRUE) : call.fails<WINBOOL>(ERROR_INSUFFICIENT_BUFFER);
    }
    const RenderContext* const rendering = contexts().find(context, call.name());
    if (rendering == nullptr) return call.fails<WINBOOL>(ERROR_INVALID_HANDLE);
    std::vector<EventValue> values = valuesOf(*rendering, *found);
    for (EventValue& value : values) value.nullPointer |= call.distorted(Distortion::NullContent);
    const auto bytes = packVariants(values, reinterpret_cast<ULONG_PTR>(buffer));
    const bool fits = copyOut(call, bytes.data(), bytes.size(), buffer, size, used);
    if (!call.distorted(Distortion::NothingWritten)) {
        // Values are written as a whole or not at all, and so they are counted.
        *count = fits ? static_cast<DWORD>(values.size()) : 0;
        if (fits && call.distorted(Distortion::SizeTooLarge)) *count += 4096;
    }
    return fits ? call.returns<WINBOOL>(TRUE) : call.fails<WINBOOL>(ERROR_INSUFFICIENT_BUFFER);
}

SIMULATED_PLAIN(EVT_HANDLE, WINAPI, EvtOpenPublisherMetadata,
                (EVT_HANDLE session, LPCWSTR publisher, LPCWSTR file, LCID locale, DWORD flags)) {
    static const Function function{"EvtOpenPublisherMetadata",
                                   Fails::WithZero,
                                   {ERROR_EVT_PUBLISHER_METADATA_NOT_FOUND, ERROR_FILE_NOT_FOUND,
                                    ERROR_ACCESS_DENIED, RPC_S_SERVER_UNAVAILABLE},
                                   0u | Distortion::NullResult};
    Call call(function, publisher, locale);
    if (const auto fault = call.fault<EVT_HANDLE>()) return *fault;
    if (call.distorted(Distortion::NullResult)) return call.returns<EVT_HANDLE>(nullptr);
    if (session != nullptr) return call.fails<EVT_HANDLE>(ERROR_INVALID_HANDLE);
    if (publisher == nullptr || file != nullptr || flags != 0)
        return call.fails<EVT_HANDLE>(ERROR_INVALID_PARAMETER);
    const Text name = fromWide(publisher);
    const bool known = machine().events.publishers.count(name) != 0 || hasMessageFiles(name);
    if (!known) return call.fails<EVT_HANDLE>(ERROR_EVT_PUBLISHER_METADATA_NOT_FOUND);
    return call.returns(publishers().add(std::make_unique<Text>(name), call.name()));
}

// Sizes are characters with the terminator. A message of which only inserts are lacking is written all the
// same, beside the failure.
SIMULATED_PLAIN(WINBOOL, WINAPI, EvtFormatMessage,
                (EVT_HANDLE publisher, EVT_HANDLE event, DWORD id, DWORD valueCount, PEVT_VARIANT,
                 DWORD flags, DWORD units, LPWSTR buffer, PDWORD used)) {
    static const Function function{"EvtFormatMessage",
                                   Fails::WithZero,
                                   {ERROR_EVT_MESSAGE_NOT_FOUND, ERROR_EVT_MESSAGE_ID_NOT_FOUND,
                                    ERROR_EVT_UNRESOLVED_VALUE_INSERT, ERROR_RESOURCE_TYPE_NOT_FOUND},
                                   Distortion::NothingWritten | Distortion::SizeTooLarge |
                                       Distortion::SizeZero | Distortion::NoTerminator};
    Call call(function, flags, units);
    if (const auto fault = call.fault<WINBOOL>()) return *fault;
    const Text* const name = publishers().find(publisher, call.name());
    if (name == nullptr) return call.fails<WINBOOL>(ERROR_INVALID_HANDLE);
    if (used == nullptr || (units != 0 && buffer == nullptr))
        return call.fails<WINBOOL>(ERROR_INVALID_PARAMETER);
    Text text;
    DWORD error = ERROR_SUCCESS;
    if (flags == EvtFormatMessageId) {
        // By its number alone, with values that this PC does not take.
        const Text* const message = findMessage(*name, id & 0xFFFF, id >> 16);
        error = message == nullptr ? ERROR_EVT_MESSAGE_ID_NOT_FOUND
                : valueCount != 0  ? ERROR_INVALID_PARAMETER
                                   : expandEventMessage(*message, {}, text);
    } else {
        const ChannelEvent* const found = events().find(event, call.name());
        if (found == nullptr) return call.fails<WINBOOL>(ERROR_INVALID_HANDLE);
        error = formatEvent(*name, *found, flags, text);
    }
    if (error != ERROR_SUCCESS && error != ERROR_EVT_UNRESOLVED_VALUE_INSERT)
        return call.fails<WINBOOL>(error);
    DWORD bytes = *used * DWORD{sizeof(WCHAR)};
    const bool fits = copyOut(call, text.c_str(), (text.size() + 1) * sizeof(WCHAR), buffer,
                              size_t{units} * sizeof(WCHAR), &bytes);
    if (!call.distorted(Distortion::NothingWritten)) *used = bytes / DWORD{sizeof(WCHAR)};
    if (!fits) return call.fails<WINBOOL>(ERROR_INSUFFICIENT_BUFFER);
    return error == ERROR_SUCCESS ? call.returns<WINBOOL>(TRUE) : call.fails<WINBOOL>(error);
}

SIMULATED_PLAIN(WINBOOL, WINAPI, EvtClose, (EVT_HANDLE handle)) {
    static const Function function{"EvtClose", Fails::WithZero, {ERROR_INVALID_HANDLE, RPC_S_CALL_FAILED}};
    Call call(function, handle);
    // What is made to fail in closing is gone all the same: nobody closes twice.
    bool closed = false;
    if (queries().holds(handle)) {
        closed = queries().close(handle, call.name());
    } else if (contexts().holds(handle)) {
        closed = contexts().close(handle, call.name());
    } else if (publishers().holds(handle)) {
        closed = publishers().close(handle, call.name());
    } else {
        closed = events().close(handle, call.name());
    }
    if (const auto fault = call.fault<WINBOOL>()) return *fault;
    return closed ? call.returns<WINBOOL>(TRUE) : call.fails<WINBOOL>(ERROR_INVALID_HANDLE);
}
