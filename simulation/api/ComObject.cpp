#include "simulation/api/ComObject.h"

#include <memory>
#include <vector>

namespace simulation {

namespace {

std::vector<std::unique_ptr<Tombstone>>& theDead() {
    static std::vector<std::unique_ptr<Tombstone>> dead;
    return dead;
}

const AtReset theDeadAtReset([] { theDead().clear(); });

}  // namespace

void bury(Tombstone* dead) {
    if (control().watching) {
        theDead().emplace_back(dead);
    } else {
        delete dead;
    }
}

}  // namespace simulation
