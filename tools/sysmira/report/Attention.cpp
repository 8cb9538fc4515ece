#include "tools/sysmira/report/Attention.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <string>

#include "tools/sysmira/report/JsonPath.h"
#include "tools/sysmira/text/Sizes.h"

namespace sysmira {

using Json = nlohmann::ordered_json;

namespace {

class Finder {
public:
    void devices(const JsonPath& data) {
        const JsonPath devices = data["tree"].exists() ? data["tree"]["devices"] : data["list"]["devices"];
        for (const JsonPath& device : devices.items()) {
            // Somebody has switched these off.
            if (device["problem"].isNull() || device["disabled"].isTrue()) continue;
            add("devices", nameOfDevice(device) + " has problem " +
                               std::to_string(device["problem"]["number"].toNumber<unsigned>()) + ": " +
                               device["problem"]["meaning"].toText());
        }
    }

    void drives(const JsonPath& data) {
        constexpr double nearlyFull = 0.95;
        for (const JsonPath& volume : data["volumes"]["volumes"].items()) {
            const auto total = volume["totalBytes"].toNumber<double>();
            const auto free = volume["freeBytes"].toNumber<unsigned long long>();
            // Discs are full by nature.
            if (volume["type"].toText() != "fixed" || total == 0) continue;
            if (1 - static_cast<double>(free) / total < nearlyFull) continue;
            const std::string letter = volume["letter"].toText();
            add("drives", "the volume " + (letter.empty() ? volume["label"].toText() : letter + ":") +
                              " is nearly full: " + shortSize(free) + " are free");
        }
    }

    void displays(const JsonPath& data) {
        for (const JsonPath& display : data["displays"]["displays"].items()) {
            for (const JsonPath& problem : display["edid"]["contents"]["problems"].items()) {
                add("displays", "the EDID of " + display["name"].toText() + ": " + problem.toText());
            }
        }
    }

    void diagnostics(const JsonPath& data) {
        for (const JsonPath& failure : data["results"]["diskFailures"].items()) {
            add("diagnostics", "Windows expected on " + failure["time"].toText().substr(0, 10) +
                                   " that the disk " + failure["disk"].toText() + " will fail");
        }
        for (const JsonPath& test : data["results"]["memoryTests"].items()) {
            if (test["passed"].isTrue()) continue;
            add("diagnostics", "the memory test of " + test["time"].toText().substr(0, 10) + " found " +
                                   std::to_string(test["badPages"].toNumber<unsigned long long>()) +
                                   " bad pages");
        }
    }

    Json found() && { return std::move(m_found); }

private:
    static std::string nameOfDevice(const JsonPath& device) {
        for (const char* key : {"name", "friendlyName", "description", "id"}) {
            if (const std::string name = device[key].toText(); !name.empty()) return name;
        }
        return "a device without name";
    }

    void add(const char* section, const std::string& sentence) {
        m_found.push_back({{"section", section}, {"sentence", sentence}});
    }

    Json m_found = Json::array();
};

}  // namespace

Json findAttention(const Json& sections) {
    Finder finder;
    for (const JsonPath& section : JsonPath(sections).items()) {
        const std::string name = section["name"].toText();
        if (name == "devices") finder.devices(section["data"]);
        if (name == "drives") finder.drives(section["data"]);
        if (name == "displays") finder.displays(section["data"]);
        if (name == "diagnostics") finder.diagnostics(section["data"]);
    }
    return std::move(finder).found();
}

}  // namespace sysmira
