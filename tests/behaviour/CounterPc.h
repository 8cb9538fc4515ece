// A simulated PC that speaks German, with performance counters.
#pragma once

#include "simulation/control/Clock.h"
#include "tests/behaviour/EnglishCounterNames.h"
#include "tests/behaviour/SimulatedPc.h"

class CounterPc : public SimulatedPc {
protected:
    void SetUp() override {
        SimulatedPc::SetUp();
        libSysmira::PerformanceNameTableReset::run();
        english = {u"1",   u"1847",      u"2",   u"System",    u"6",   u"% Processor Time",
                   u"24",  u"Threads",   u"230", u"Process",   u"238", u"Processor",
                   u"264", u"Bytes/sec", u"506", u"Bytes/sec", u"674", u"System Up Time",
                   u"900", u"Spindles",  u"910", u"Fan",       u"5000"};
        german = {u"2",    u"System",        u"6",   u"Prozessorzeit (%)",
                  u"24",   u"Threads",       u"230", u"Prozess",
                  u"238",  u"Prozessor",     u"264", u"Bytes/s (alt)",
                  u"506",  u"Bytes/s (neu)", u"674", u"Systembetriebszeit",
                  u"910",  u"L\u00FCfter",   u"950", u"Regler",
                  u"5000", u"Namenlos"};
        name();
        machine.counters.language = u"007";

        simulation::CounterObject& processor = machine.counters.add({238});
        processor.hasInstances = true;
        processor.instances = {u"0", u"1", u"_Total"};
        simulation::CounterDefinition& load = processor.add({6, /*rate=*/true});
        load.shows.samples = {10, 20.5, 30};
        load.instances[u"_Total"].samples = {1.5, 2.5, 3.5};
        simulation::CounterObject& system = machine.counters.add({2});
        system.add({674}).shows = {{93784}, /*perSecond=*/1};
        system.add({24}).shows.samples = {2718};
        forgetCalls();
    }
    void TearDown() override {
        libSysmira::PerformanceNameTableReset::run();
        SimulatedPc::TearDown();
    }

    /// Puts `english` and `german` into the machine.
    void name() {
        simulation::nameCounters(machine, u"009", english);
        simulation::nameCounters(machine, u"007", german);
    }

    std::vector<Text> english, german;
};
