// Any text is a WQL query or none; a query is evaluated without a fault, and the rest of the text as a
// pattern.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "simulation/api/Wql.h"

namespace {

using namespace simulation;

const WmiNamespaceModel& fans() {
    static const WmiNamespaceModel model = [] {
        WmiNamespaceModel fans;
        fans.add(WmiClass{u"Fan",
                          u"",
                          {{u"Id", CIM_STRING, {}, WmiKey},
                           {u"Rpm", CIM_UINT32},
                           {u"Load", CIM_REAL64},
                           {u"Quiet", CIM_BOOLEAN},
                           {u"Case", CIM_OBJECT}}});
        WmiInstance front{u"Fan", {{u"Id", u"front"}, {u"Rpm", 1200}, {u"Load", 0.5}, {u"Quiet", true}}};
        fans.add(WmiInstance{u"Fan", {{u"Id", u"CPU"}, {u"Case", WmiValue(front)}}});
        fans.add(front);
        return fans;
    }();
    return model;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Text text = fromUtf8({reinterpret_cast<const char*>(data), size});
    (void)parseWmiPath(text);
    const size_t half = text.size() / 2;
    (void)matchesWqlPattern(std::u16string_view(text).substr(0, half),
                            std::u16string_view(text).substr(half));
    if (const auto query = parseWql(text)) {
        (void)query->fits(fans(), *fans().findClass(u"Fan"));
        for (const WmiInstance& fan : fans().instances) {
            const WmiObjectData object = dataOfInstance(u"root\\cimv2", fans(), fan);
            if (query->matches(fans(), object)) (void)query->project(object, /*locatable=*/false);
        }
    }
    return 0;
}
