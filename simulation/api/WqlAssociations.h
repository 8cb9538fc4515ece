// The two queries of WQL that follow references between objects.
//
//     associators of {PATH} [where [AssocClass = C] [ResultClass = C] [Role = P] [ResultRole = P] [KeysOnly]]
//     references of {PATH} [where [ResultClass = C] [Role = P] [KeysOnly]]
//
// An association is an instance with properties of type "ref". Clauses follow each other without "and". Those
// about qualifiers and schemas are no part of the simulation.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "simulation/api/WmiObjects.h"

namespace simulation {

struct AssociationQuery {
    bool associators = false;  ///< the objects at the other ends; otherwise the associations themselves
    Text path;                 ///< of the object that the query starts from
    Text associationClass;     ///< empty, as all that follow: any
    Text resultClass;
    Text role;        ///< the property that names the object the query starts from
    Text resultRole;  ///< the property that names the result

    /// The instances that it finds, each once, in the namespace's order.
    std::vector<const WmiInstance*> run(const WmiNamespaceModel& model, const WmiInstance& start) const;
};

/// Nothing when the text is no such query.
std::optional<AssociationQuery> parseAssociationQuery(std::u16string_view text);

}  // namespace simulation
