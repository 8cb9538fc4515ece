#include "simulation/control/Call.h"
#include "simulation/machine/Machine.h"
#include "tests/contract/CounterContractMachine.h"

using namespace simulation;

void prepareCounterContractMachine() {
    reset();
    nameCounters(
        machine(), u"009",
        {u"2", u"System", u"6", u"% Processor Time", u"238", u"Processor", u"674", u"System Up Time"});
    machine().counters.add({2}).add({674}).shows = {{93784}, /*perSecond=*/1};
    CounterObject& processor = machine().counters.add({238});
    processor.hasInstances = true;
    processor.instances = {u"_Total"};
    processor.add({6}).shows.samples = {12.5};
}
