// WMI objects as MOF text, as GetObjectText writes it.
#include "simulation/api/WmiObjects.h"

namespace simulation {

namespace {

Text nameOf(CIMTYPE type) {
    switch (type & ~CIM_FLAG_ARRAY) {
        case CIM_SINT8:
            return u"sint8";
        case CIM_UINT8:
            return u"uint8";
        case CIM_SINT16:
            return u"sint16";
        case CIM_UINT16:
            return u"uint16";
        case CIM_SINT32:
            return u"sint32";
        case CIM_UINT32:
            return u"uint32";
        case CIM_SINT64:
            return u"sint64";
        case CIM_UINT64:
            return u"uint64";
        case CIM_REAL32:
            return u"real32";
        case CIM_REAL64:
            return u"real64";
        case CIM_BOOLEAN:
            return u"boolean";
        case CIM_DATETIME:
            return u"datetime";
        case CIM_REFERENCE:
            return u"object ref";
        case CIM_CHAR16:
            return u"char16";
        case CIM_OBJECT:
            return u"object";
        default:
            return u"string";
    }
}

Text mofText(const Text& text) {
    Text result = u"\"";
    for (const char16_t unit : text) {
        if (unit == u'\n') {
            result += u"\\n";
            continue;
        }
        if (unit == u'"' || unit == u'\\') result += u'\\';
        result += unit;
    }
    return result + u"\"";
}

Text mof(const WmiObjectData& data, const Text& indent);

Text itemText(const WmiObjectData& data, CIMTYPE type, const WmiItem& item, const Text& indent) {
    switch (type & ~CIM_FLAG_ARRAY) {
        case CIM_OBJECT:
            if (item.object == nullptr) return u"NULL";
            return mof(dataOfEmbedded(data.nameSpace, *item.object), indent);
        case CIM_STRING:
        case CIM_DATETIME:
        case CIM_REFERENCE:
        // 64-bit numbers are texts to WMI.
        case CIM_SINT64:
        case CIM_UINT64:
            return mofText(plainText(type, item));
        default:
            return plainText(type, item);
    }
}

Text valueText(const WmiObjectData& data, const WmiObjectData::Property& property, const Text& indent) {
    if ((property.type & CIM_FLAG_ARRAY) == 0) {
        if (property.value.items.empty()) return u"NULL";
        return itemText(data, property.type, property.value.items[0], indent);
    }
    Text text = u"{";
    for (size_t i = 0; i < property.value.items.size(); ++i) {
        if (i != 0) text += u", ";
        text += itemText(data, property.type, property.value.items[i], indent);
    }
    return text + u"}";
}

Text declaration(CIMTYPE type, const Text& name) {
    return nameOf(type) + u" " + name + ((type & CIM_FLAG_ARRAY) != 0 ? u"[]" : u"");
}

Text parameterList(const std::vector<WmiProperty>& parameters, const char16_t* direction) {
    Text text;
    for (const WmiProperty& parameter : parameters) {
        if (equalNoCase(parameter.name, u"ReturnValue")) continue;
        if (!text.empty()) text += u", ";
        text += direction + declaration(parameter.type, parameter.name);
    }
    return text;
}

Text methodText(const WmiMethod& method) {
    Text returns = u"void";
    for (const WmiProperty& parameter : method.out) {
        if (equalNoCase(parameter.name, u"ReturnValue")) returns = nameOf(parameter.type);
    }
    const Text in = parameterList(method.in, u"[IN] ");
    const Text out = parameterList(method.out, u"[OUT] ");
    return (method.isStatic ? u"[static] " : u"") + returns + u" " + method.name + u"(" + in +
           (in.empty() || out.empty() ? u"" : u", ") + out + u");";
}

Text classText(const WmiObjectData& data) {
    Text text = u"class " + data.className;
    if (!data.ancestors.empty()) text += u" : " + data.ancestors.front();
    text += u"\n{\n";
    for (const auto& property : data.properties) {
        text += property.key ? u"\t[key] " : u"\t";
        text += declaration(property.type, property.name);
        if (!property.value.null) text += u" = " + valueText(data, property, u"\t");
        text += u";\n";
    }
    for (const WmiMethod& method : data.methods) text += u"\t" + methodText(method) + u"\n";
    return text + u"}";
}

// Null properties are left out.
Text mof(const WmiObjectData& data, const Text& indent) {
    if (data.isClass) return classText(data);
    Text text = u"instance of " + data.className + u"\n" + indent + u"{\n";
    for (const auto& property : data.properties) {
        if (property.value.null) continue;
        text += indent + u"\t" + property.name + u" = " + valueText(data, property, indent + u"\t") + u";\n";
    }
    return text + indent + u"}";
}

}  // namespace

Text toMof(const WmiObjectData& data) { return u"\n" + mof(data, u"") + u";\n"; }

}  // namespace simulation
