#include <gtest/gtest.h>

#include <cstdio>
#include <new>
#include <optional>

#include "simulation/control/Call.h"
#include "simulation/control/Ledger.h"
#include "support/LogFactory.h"
#include "tests/sweep/Sweep.h"

namespace sweep {

void PrintTo(const Operation& operation, std::ostream* stream) { *stream << operation.name; }

namespace {

struct Totals {
    unsigned operations = 0;
    unsigned long long calls = 0;
    unsigned long long faultedRuns = 0;
    unsigned long long failedAllocations = 0;
} totals;

class Sweep : public ::testing::TestWithParam<Operation> {
protected:
    static void TearDownTestSuite() {
        std::printf("sweep: %u operations, %llu calls, %llu faulted runs, %llu failed allocations\n",
                    totals.operations, totals.calls, totals.faultedRuns, totals.failedAllocations);
    }

    void SetUp() override {
        simulation::reset();
        GetParam().fill(simulation::machine());
        // Log lines are built too, so that building them is swept.
        zor::LogFactory::setPriority(1);
        zor::LogFactory::setSink([](const zor::String&, int, const zor::String&) {});
    }
    void TearDown() override {
        zor::LogFactory::setSink(nullptr);
        zor::LogFactory::setPriority(3);
        simulation::reset();
    }

    // Empty when nothing is open and nothing was misused.
    static std::string leftovers() {
        std::string text = simulation::ledger().describe() + simulation::ledger().violations();
        simulation::ledger().clear();
        return text;
    }

    // Runs the operation disturbed by what `disturb` sets up, judges it, and runs it again undisturbed.
    template <class Disturb, class Restore>
    bool runDisturbed(const Result& clean, Failure failure, const std::string& what, Disturb disturb,
                      Restore restore) {
        std::optional<Result> result;
        std::string thrown;
        disturb();
        try {
            result = GetParam().run();
        } catch (const std::bad_alloc&) {
            if (failure != Failure::Allocation) thrown = "std::bad_alloc";
        } catch (const std::exception& exception) {
            // Who may be deceived may also be refused in the course of it.
            const bool allowed =
                GetParam().mayThrow(exception, failure) ||
                (failure == Failure::Deception && GetParam().mayThrow(exception, Failure::Code));
            if (!allowed) thrown = exception.what();
        } catch (...) {
            thrown = "something";
        }
        const bool happened = restore();
        if (!thrown.empty()) ADD_FAILURE() << what << ": threw " << thrown;
        if (result) {
            const std::string why = GetParam().check(*result, clean, failure);
            if (!why.empty()) ADD_FAILURE() << what << ": " << why;
        }
        const std::string left = leftovers();
        const bool onPurpose = (failure == Failure::Allocation && left == GetParam().leavesWithoutMemory) ||
                               (GetParam().mayLeave != nullptr && GetParam().mayLeave(left));
        if (!left.empty() && !onPurpose) ADD_FAILURE() << what << ": left behind\n" << left;

        const Result again = GetParam().run();
        if (again.success != clean.success || again.output != clean.output) {
            ADD_FAILURE() << what << ": afterwards the operation gave \"" << again.output << "\"";
        }
        const std::string leftAgain = leftovers();
        if (!leftAgain.empty())
            ADD_FAILURE() << what << ": afterwards the operation left behind\n" << leftAgain;
        return happened;
    }

    bool runFaulted(const Result& clean, unsigned nth, const char* function, simulation::Fault fault) {
        fault.nth = nth;
        const bool deceives = fault.distortion != simulation::Distortion::None;
        // A code that means success deceives, too: nothing was done.
        const bool successful = deceives || fault.code == 0;
        const std::string what =
            std::string(function) + ", call " + std::to_string(nth) + (fault.onwards ? " and on, " : ", ") +
            (deceives ? "deception " + std::to_string(static_cast<unsigned>(fault.distortion))
                      : "code " + std::to_string(fault.code));
        ++totals.faultedRuns;
        return runDisturbed(
            clean, successful ? Failure::Deception : Failure::Code, what,
            [&] {
                simulation::control().clearJournal();
                simulation::control().clearGiven();
                simulation::control().add(fault);
            },
            [] {
                simulation::control().clearFaults();
                return simulation::control().faultWasGiven();
            });
    }
};

TEST_P(Sweep, SurvivesEveryFailure) {
    ++totals.operations;
    const Result clean = GetParam().run();
    ASSERT_EQ(leftovers(), "");
    simulation::control().clearJournal();
    ASSERT_EQ(GetParam().run().output, clean.output) << "the operation is not repeatable";
    std::vector<const simulation::Function*> called;
    for (const simulation::JournalEntry& entry : simulation::control().journal())
        called.push_back(entry.function);
    totals.calls += called.size();

    for (unsigned nth = 1; nth <= called.size(); ++nth) {
        const simulation::Function& function = *called[nth - 1];
        EXPECT_FALSE(function.codes.empty() && function.distortions == 0) << function.name << " cannot fail";
        for (const bool onwards : {false, true}) {
            simulation::Fault fault;
            fault.onwards = onwards;
            for (const long long code : function.codes) {
                fault.code = code;
                EXPECT_TRUE(runFaulted(clean, nth, function.name, fault)) << "the fault met no call";
            }
            for (unsigned bit = 1; bit != 0 && bit <= function.distortions; bit <<= 1) {
                if ((function.distortions & bit) == 0) continue;
                fault.distortion = static_cast<simulation::Distortion>(bit);
                EXPECT_TRUE(runFaulted(clean, nth, function.name, fault)) << "the fault met no call";
            }
            if (HasFailure()) return;
        }
    }

    for (unsigned nth = 1;; ++nth) {
        const bool happened = runDisturbed(
            clean, Failure::Allocation, "allocation " + std::to_string(nth), [&] { failAllocation(nth); },
            [] { return disarmAllocations(); });
        if (!happened || HasFailure()) break;
        ++totals.failedAllocations;
    }
}

INSTANTIATE_TEST_SUITE_P(Operations, Sweep, ::testing::ValuesIn(operations()),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace sweep
