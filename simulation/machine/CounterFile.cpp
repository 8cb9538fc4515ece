#include "simulation/machine/CounterFile.h"

#include <algorithm>
#include <cmath>

namespace simulation {

namespace {

constexpr unsigned LeastDetail = 100;
constexpr unsigned GreatestDetail = 400;
constexpr int MostGrowth = 10000;

class CounterReader {
public:
    explicit CounterReader(Machine& machine) : m_machine(machine), m_model(machine.counters) {}

    void read(const JsonPlace& place) {
        place.allowOnly({"language", "names", "objects"});
        if (const auto names = place.member("names")) {
            names->forEachMember("an object of name tables",
                                 [&](const std::string& language, const JsonPlace& each) {
                                     readNames(fromUtf8(language), each);
                                 });
        }
        if (const auto language = place.member("language")) {
            m_model.language = language->text();
            if (m_model.names.count(m_model.language) == 0) language->fail("a language that \"names\" has");
        }
        if (const auto objects = place.member("objects")) {
            objects->forEachElement("a list of objects", [&](const JsonPlace& each) { readObject(each); });
        }
    }

private:
    void readNames(const Text& language, const JsonPlace& place) {
        if (language.empty() || language.find(u'\\') != Text::npos) {
            place.complain("found no language, expected one such as \"009\"");
        }
        if (m_model.names.count(language) != 0) {
            place.complain("found a second table of the language, expected one");
        }
        std::vector<Text> table = place.texts();
        m_machine.localMachine()
            .make(counterNamesKey(language))
            .values.try_emplace(u"Counter", RegistryValue::texts(table));
        m_model.names[language] = CounterNames(std::move(table));
    }

    // By index, or by the name that stands for it in English.
    DWORD readIndex(const JsonPlace& place) const {
        if (!place.isString()) {
            return static_cast<DWORD>(place.number(0, 0xFFFFFFFF, "an English name or an index"));
        }
        const auto english = m_model.names.find(Text(u"009"));
        const auto index =
            english != m_model.names.end() ? english->second.indexOf(place.text()) : std::nullopt;
        if (!index) place.fail("a name of the table \"009\"");
        return *index;
    }

    static DWORD readDetail(const JsonPlace& place) {
        return static_cast<DWORD>(place.number(LeastDetail, GreatestDetail, "a level from 100 to 400"));
    }

    void readObject(const JsonPlace& place) {
        place.allowOnly({"object", "detail", "instances", "instancesGrowBy", "counters"});
        const JsonPlace name = place.required("object", "the name or index of the object");
        CounterObject object;
        object.index = readIndex(name);
        if (m_model.find(object.index) != nullptr) name.fail("an object that does not stand above");
        if (const auto detail = place.member("detail")) object.detail = readDetail(*detail);
        if (const auto instances = place.member("instances")) {
            object.hasInstances = true;
            object.instances = instances->texts();
        }
        if (const auto growth = place.member("instancesGrowBy")) {
            const nlohmann::json& json = growth->json();
            const bool fits = json.is_number_integer() && std::abs(json.get<double>()) <= MostGrowth;
            if (!fits) growth->fail("a number of instances from -10000 to 10000");
            object.instancesGrowBy = json.get<int>();
        }
        if (const auto counters = place.member("counters")) {
            counters->forEachElement("a list of counters",
                                     [&](const JsonPlace& each) { readCounter(each, object); });
        }
        m_model.add(std::move(object));
    }

    void readCounter(const JsonPlace& place, CounterObject& object) const {
        place.allowOnly({"counter", "detail", "rate", "shows", "instances"});
        const JsonPlace name = place.required("counter", "the name or index of the counter");
        CounterDefinition counter;
        counter.index = readIndex(name);
        if (object.find(counter.index) != nullptr) name.fail("a counter that does not stand above");
        if (const auto detail = place.member("detail")) counter.detail = readDetail(*detail);
        if (const auto rate = place.member("rate")) counter.rate = rate->truth();
        if (const auto script = place.member("shows")) counter.shows = readScript(*script);
        if (const auto instances = place.member("instances")) {
            instances->forEachMember(
                "an object of instances", [&](const std::string& instance, const JsonPlace& each) {
                    const Text known = fromUtf8(instance);
                    const auto found = std::find(object.instances.begin(), object.instances.end(), known);
                    if (found == object.instances.end()) {
                        each.complain("found no such instance of the object, expected one of it");
                    }
                    counter.instances[known] = readScript(each);
                });
        }
        object.add(std::move(counter));
    }

    // A number, a list of samples, or an object with one and what comes with time.
    static CounterScript readScript(const JsonPlace& place) {
        CounterScript script;
        if (!place.isObject()) {
            script.samples = readSamples(place);
            return script;
        }
        place.allowOnly({"samples", "perSecond"});
        if (const auto samples = place.member("samples")) script.samples = readSamples(*samples);
        if (const auto perSecond = place.member("perSecond")) {
            if (!perSecond->json().is_number()) perSecond->fail("a number");
            script.perSecond = perSecond->json().get<double>();
        }
        return script;
    }

    static std::vector<CounterSample> readSamples(const JsonPlace& place) {
        if (!place.isArray()) return {readSample(place)};
        std::vector<CounterSample> samples;
        place.forEachElement("a list of samples",
                             [&](const JsonPlace& each) { samples.push_back(readSample(each)); });
        return samples;
    }

    static CounterSample readSample(const JsonPlace& place) {
        const nlohmann::json& json = place.json();
        if (json.is_null()) return CounterSample::gone();
        if (json.is_number_integer()) {
            const bool fits =
                !json.is_number_unsigned() || json.get<unsigned long long>() <= 0x7FFFFFFFFFFFFFFFull;
            if (!fits) place.fail("a number of at most 63 bits");
            return json.get<long long>();
        }
        if (!json.is_number()) place.fail("a number, or null");
        return json.get<double>();
    }

    Machine& m_machine;
    CounterModel& m_model;
};

}  // namespace

void readCounters(const JsonPlace& place, Machine& machine) { CounterReader(machine).read(place); }

}  // namespace simulation
