#include "simulation/machine/Counters.h"

#include <algorithm>
#include <cmath>

#include "simulation/machine/Machine.h"

namespace simulation {

namespace {

// As Windows reads it: digits, and no more than 32 bits.
std::optional<DWORD> parseIndex(const Text& text) {
    unsigned long long value = 0;
    for (const char16_t unit : text) {
        if (unit < u'0' || unit > u'9') return std::nullopt;
        value = value * 10 + (unit - u'0');
        if (value > 0xFFFFFFFF) return std::nullopt;
    }
    if (text.empty()) return std::nullopt;
    return static_cast<DWORD>(value);
}

template <class Values>
auto findIndex(const Values& values, DWORD index) {
    const auto found =
        std::find_if(values.begin(), values.end(), [&](const auto& each) { return each.index == index; });
    return found != values.end() ? &*found : nullptr;
}

}  // namespace

CounterNames::CounterNames(std::vector<Text> table) : m_table(std::move(table)) {
    for (size_t at = 0; at + 1 < m_table.size(); at += 2) {
        const auto index = parseIndex(m_table[at]);
        if (!index) continue;
        m_names.try_emplace(*index, at + 1);
        m_indices.try_emplace(upper(m_table[at + 1]), *index);
    }
}

const Text* CounterNames::nameOf(DWORD index) const {
    const auto found = m_names.find(index);
    return found != m_names.end() ? &m_table[found->second] : nullptr;
}

std::optional<DWORD> CounterNames::indexOf(std::u16string_view name) const {
    const auto found = m_indices.find(upper(name));
    if (found == m_indices.end()) return std::nullopt;
    return found->second;
}

CounterSample::CounterSample(double value) : real(value) {
    constexpr double limit = 9.2e18;
    whole = static_cast<long long>(std::clamp(value, -limit, limit));
}

CounterSample CounterSample::gone() {
    CounterSample sample;
    sample.there = false;
    return sample;
}

CounterSample CounterScript::at(size_t collection, unsigned long long milliseconds) const {
    CounterSample sample = samples.empty() ? CounterSample() : samples[collection % samples.size()];
    if (perSecond == 0) return sample;
    const CounterSample more(perSecond * static_cast<double>(milliseconds) / 1000);
    sample.real += more.real;
    sample.whole = static_cast<long long>(static_cast<unsigned long long>(sample.whole) +
                                          static_cast<unsigned long long>(more.whole));
    return sample;
}

CounterDefinition& CounterObject::add(CounterDefinition counter) {
    return counters.emplace_back(std::move(counter));
}

const CounterDefinition* CounterObject::find(DWORD counter) const { return findIndex(counters, counter); }

CounterObject& CounterModel::add(CounterObject object) { return objects.emplace_back(std::move(object)); }

const CounterObject* CounterModel::find(DWORD object) const { return findIndex(objects, object); }

const CounterNames& CounterModel::ownNames() const {
    static const CounterNames none;
    for (const Text& each : {language, Text(u"009")}) {
        if (const auto found = names.find(each); found != names.end()) return found->second;
    }
    return none;
}

Text CounterModel::ownName(DWORD index) const {
    const Text* const name = ownNames().nameOf(index);
    return name != nullptr ? *name : fromUtf8(std::to_string(index));
}

void nameCounters(Machine& machine, const Text& language, const std::vector<Text>& table) {
    machine.counters.names[language] = CounterNames(table);
    machine.localMachine().make(counterNamesKey(language)).values[u"Counter"] = RegistryValue::texts(table);
}

Text counterNamesKey(const Text& language) {
    return u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Perflib\\" + language;
}

}  // namespace simulation
