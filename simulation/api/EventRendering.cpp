#include "simulation/api/EventRendering.h"

#include <cstring>

namespace simulation {

namespace {

using Bytes = std::vector<unsigned char>;

Text escaped(const Text& text) {
    Text result;
    for (const char16_t unit : text) {
        switch (unit) {
            case u'&':
                result += u"&amp;";
                break;
            case u'<':
                result += u"&lt;";
                break;
            case u'>':
                result += u"&gt;";
                break;
            case u'\'':
                result += u"&apos;";
                break;
            case u'"':
                result += u"&quot;";
                break;
            default:
                result += unit;
        }
    }
    return result;
}

Text xmlOf(const EventValue& value) {
    return value.type == EvtVarTypeEvtXml ? value.toText() : escaped(value.toText());
}

void write(Text& xml, const EventElement& element) {
    // The items of an array are elements of their own.
    if (element.value.isArray() && element.children.empty()) {
        for (const EventValue& item : element.value.items)
            write(xml, {element.name, element.attributes, item});
        return;
    }
    xml += u'<' + element.name;
    for (const auto& [name, value] : element.attributes) xml += u' ' + name + u"='" + xmlOf(value) + u'\'';
    const Text text = xmlOf(element.value);
    if (text.empty() && element.children.empty()) {
        xml += u"/>";
        return;
    }
    xml += u'>' + text;
    for (const EventElement& child : element.children) write(xml, child);
    xml += u"</" + element.name + u'>';
}

class Packer {
public:
    Packer(size_t variants, ULONG_PTR address)
        : m_bytes(variants * sizeof(EVT_VARIANT)), m_address(address) {}

    void put(size_t index, const EventValue& value) {
        EVT_VARIANT variant = {};
        variant.Type = value.type;
        if (value.isArray()) {
            variant.Count = static_cast<DWORD>(value.items.size());
            variant.UInt64Val = appendArray(value);
        } else {
            variant.UInt64Val = scalar(value, variant.Count);
        }
        std::memcpy(&m_bytes[index * sizeof variant], &variant, sizeof variant);
    }

    Bytes take() { return std::move(m_bytes); }

private:
    UINT64 append(const void* data, size_t size) {
        // Structures and arrays of pointers stand where their type may.
        m_bytes.resize((m_bytes.size() + 7) / 8 * 8);
        const UINT64 place = m_address + m_bytes.size();
        const auto* const first = static_cast<const unsigned char*>(data);
        m_bytes.insert(m_bytes.end(), first, first + size);
        return place;
    }

    // What stands in the variant itself: the value, or where it stands.
    UINT64 scalar(const EventValue& value, DWORD& count) {
        if (value.nullPointer) return 0;
        UINT64 bits = value.bits;
        switch (value.elementType()) {
            case EvtVarTypeString:
            case EvtVarTypeEvtXml:
                count = static_cast<DWORD>(value.text.size());
                return append(value.text.c_str(), (value.text.size() + 1) * sizeof(char16_t));
            case EvtVarTypeAnsiString: {
                Bytes text = value.bytes;
                count = static_cast<DWORD>(text.size());
                text.push_back(0);
                return append(text.data(), text.size());
            }
            case EvtVarTypeBinary:
                count = static_cast<DWORD>(value.bytes.size());
                [[fallthrough]];
            case EvtVarTypeGuid:
            case EvtVarTypeSid:
                return append(value.bytes.data(), value.bytes.size());
            case EvtVarTypeSysTime: {
                const SYSTEMTIME time = systemTimeOf(value.bits);
                return append(&time, sizeof time);
            }
            case EvtVarTypeSingle: {
                const float single = static_cast<float>(value.real);
                bits = 0;
                std::memcpy(&bits, &single, sizeof single);
                return bits;
            }
            case EvtVarTypeDouble:
                std::memcpy(&bits, &value.real, sizeof bits);
                return bits;
            default:
                return bits & widthMask(value.elementType());
        }
    }

    static size_t widthOf(DWORD type) {
        switch (type) {
            case EvtVarTypeSByte:
            case EvtVarTypeByte:
                return 1;
            case EvtVarTypeInt16:
            case EvtVarTypeUInt16:
                return 2;
            case EvtVarTypeInt32:
            case EvtVarTypeUInt32:
            case EvtVarTypeHexInt32:
            case EvtVarTypeBoolean:
            case EvtVarTypeSingle:
                return 4;
            default:
                return 8;
        }
    }
    static UINT64 widthMask(DWORD type) { return ~0ull >> (64 - 8 * widthOf(type)); }

    // Texts and SIDs as pointers, GUIDs and times as the structures themselves, numbers in their width.
    UINT64 appendArray(const EventValue& value) {
        Bytes elements;
        for (const EventValue& item : value.items) {
            if (value.elementType() == EvtVarTypeGuid) {
                elements.insert(elements.end(), item.bytes.begin(), item.bytes.end());
            } else if (value.elementType() == EvtVarTypeSysTime) {
                const SYSTEMTIME time = systemTimeOf(item.bits);
                const auto* const first = reinterpret_cast<const unsigned char*>(&time);
                elements.insert(elements.end(), first, first + sizeof time);
            } else {
                DWORD unused = 0;
                const UINT64 bits = scalar(item, unused);
                const auto* const first = reinterpret_cast<const unsigned char*>(&bits);
                elements.insert(elements.end(), first, first + widthOf(value.elementType()));
            }
        }
        return append(elements.data(), elements.size());
    }

    Bytes m_bytes;
    ULONG_PTR m_address;
};

EventValue number(DWORD type, ULONGLONG value) {
    return EventValue::number(type, static_cast<long long>(value));
}

}  // namespace

Text eventXml(const ChannelEvent& event) {
    Text xml;
    write(xml, event.tree());
    return xml;
}

std::vector<EventValue> systemValues(const ChannelEvent& event) {
    std::vector<EventValue> values(EvtSystemPropertyIdEND);
    values[EvtSystemProviderName] = event.provider;
    if (event.providerGuid) values[EvtSystemProviderGuid] = EventValue::guid(*event.providerGuid);
    values[EvtSystemEventID] = number(EvtVarTypeUInt16, event.id);
    if (event.qualifiers) values[EvtSystemQualifiers] = number(EvtVarTypeUInt16, *event.qualifiers);
    values[EvtSystemLevel] = number(EvtVarTypeByte, event.level);
    values[EvtSystemTask] = number(EvtVarTypeUInt16, event.task);
    values[EvtSystemOpcode] = number(EvtVarTypeByte, event.opcode);
    values[EvtSystemKeywords] = number(EvtVarTypeHexInt64, event.keywords);
    values[EvtSystemTimeCreated] = EventValue::fileTime(event.time);
    values[EvtSystemEventRecordId] = number(EvtVarTypeUInt64, event.record);
    if (event.activity) values[EvtSystemActivityID] = EventValue::guid(*event.activity);
    if (event.relatedActivity) {
        values[EvtSystemRelatedActivityID] = EventValue::guid(*event.relatedActivity);
    }
    values[EvtSystemProcessID] = number(EvtVarTypeUInt32, event.process);
    values[EvtSystemThreadID] = number(EvtVarTypeUInt32, event.thread);
    values[EvtSystemChannel] = event.channel;
    values[EvtSystemComputer] = event.computer;
    if (!event.user.empty()) values[EvtSystemUserID] = EventValue::sid(event.user);
    values[EvtSystemVersion] = number(EvtVarTypeByte, event.version);
    return values;
}

Bytes packVariants(const std::vector<EventValue>& values, ULONG_PTR address) {
    Packer packer(values.size(), address);
    for (size_t index = 0; index < values.size(); ++index) packer.put(index, values[index]);
    return packer.take();
}

}  // namespace simulation
