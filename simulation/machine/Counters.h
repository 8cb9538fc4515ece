// The performance counters of the simulated PC as plain data: names by language, objects with instances, and
// what each counter shows.
//
//     nameCounters(machine(), u"009", {u"2", u"System", u"674", u"System Up Time"});
//     nameCounters(machine(), u"007", {u"2", u"System", u"674", u"Systembetriebszeit"});
//     machine().counters.language = u"007";
//     machine().counters.add({2}).add({674}).shows = {{93784}, /*perSecond=*/1};
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "simulation/control/Text.h"
#include "support/WindowsApi.h"

namespace simulation {

class Machine;

/// The name table of one language: an index, its name, the next index … as the registry has it.
class CounterNames {
public:
    CounterNames() = default;
    explicit CounterNames(std::vector<Text> table);

    const std::vector<Text>& table() const { return m_table; }
    /// Null when the index has no name; of several, the first.
    const Text* nameOf(DWORD index) const;
    /// The index of the first such name, whatever its case.
    std::optional<DWORD> indexOf(std::u16string_view name) const;

private:
    std::vector<Text> m_table;
    std::unordered_map<DWORD, size_t> m_names;  ///< positions in the table
    std::unordered_map<Text, DWORD> m_indices;  ///< by upper-case name
};

/// One sample: a number, or nothing because the counter's instance is gone.
struct CounterSample {
    bool there = true;
    long long whole = 0;
    double real = 0;

    CounterSample() = default;
    CounterSample(int value) : whole(value), real(value) {}
    CounterSample(long long value) : whole(value), real(static_cast<double>(value)) {}
    CounterSample(double value);
    static CounterSample gone();
};

/// What a counter shows: one sample for each collection, from the first again after the last; and something
/// more for every second of simulated time. Without samples it starts at 0.
struct CounterScript {
    std::vector<CounterSample> samples = {};
    double perSecond = 0;

    CounterSample at(size_t collection, unsigned long long milliseconds) const;
};

struct CounterDefinition {
    DWORD index = 0;
    bool rate = false;   ///< shows nothing before the second collection
    DWORD detail = 100;  ///< the level from which on it is listed
    CounterScript shows = {};
    std::map<Text, CounterScript, LessNoCase> instances = {};  ///< of instances that show something else
};

struct CounterObject {
    DWORD index = 0;
    DWORD detail = 100;
    bool hasInstances = false;
    std::vector<Text> instances = {};  ///< two may have one name
    std::deque<CounterDefinition> counters = {};
    /// How many instances have come (or, below 0, gone) by the time that their names are fetched, after
    /// somebody asked for the room that these need.
    int instancesGrowBy = 0;

    CounterDefinition& add(CounterDefinition counter);
    const CounterDefinition* find(DWORD counter) const;
};

struct CounterModel {
    Text language = u"009";  ///< the system's own
    std::map<Text, CounterNames, LessNoCase> names;
    std::deque<CounterObject> objects;
    /// The objects that Windows saw when it last looked; it does so at first and when it is told to.
    std::optional<std::vector<DWORD>> seen;

    CounterObject& add(CounterObject object);
    const CounterObject* find(DWORD object) const;
    /// The names of the system's language; those of English where it has none.
    const CounterNames& ownNames() const;
    /// A name in the system's language; the number itself where it has none.
    Text ownName(DWORD index) const;
};

/// Gives a language its names, in the model and in the registry.
void nameCounters(Machine& machine, const Text& language, const std::vector<Text>& table);
/// The key that holds a language's names, below HKEY_LOCAL_MACHINE.
Text counterNamesKey(const Text& language);

}  // namespace simulation
