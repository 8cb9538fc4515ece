// WQL, WMI's query language: what data and event queries of the simulated PC are written in.
//
//     select * | PROPERTY, … from CLASS [within SECONDS] [where CONDITION]
//
// Conditions compare properties (also of objects inside: TargetInstance.Name) with texts, numbers, true,
// false and null by = <> != < > <= >= like, "is [not] null" and isa, joined by and, or, not and parentheses.
#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "simulation/api/WmiObjects.h"

namespace simulation {

struct WqlCondition;

struct WqlQuery {
    std::vector<Text> properties;  ///< empty: all
    Text className;
    std::optional<double> within;
    std::shared_ptr<const WqlCondition> where;  ///< null: every object

    /// Whether every property that the query names exists, as far as the class tells (those of embedded
    /// objects are known only when they come).
    bool fits(const WmiNamespaceModel& model, const WmiClass& wmiClass) const;
    bool matches(const WmiNamespaceModel& model, const WmiObjectData& object) const;
    /// The object as the query's list of properties leaves it; with its path where the caller asks for that.
    WmiObjectData project(WmiObjectData object, bool locatable) const;
};

/// Nothing when the text is no WQL.
std::optional<WqlQuery> parseWql(std::u16string_view text);

/// The like operator, without case: % any text, _ one character, [a-f] a set, [^…] one not of the set.
bool matchesWqlPattern(std::u16string_view text, std::u16string_view pattern);

}  // namespace simulation
