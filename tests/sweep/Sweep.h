// The fault sweep: every operation of the library is run once to count its Windows calls; then each of those
// calls is failed in turn, with every code that the function may give and every deception it can show, once
// and from there on; then each of the operation's memory allocations. Whatever fails: no crash, no leak,
// nothing closed twice, a result that the interface allows, and the same operation succeeds afterwards.
#pragma once

#include <exception>
#include <functional>
#include <string>
#include <vector>

#include "simulation/machine/Machine.h"

namespace sweep {

/// What an operation gave back, as text that can be compared.
struct Result {
    bool success = true;
    std::string output;
};

enum class Failure { Code, Deception, Allocation };

/// Empty when the interface allows `result`, given what the undisturbed operation gave; else why not.
using Check = std::function<std::string(const Result& result, const Result& clean, Failure failure)>;

/// Whether an operation documents that it ends in this exception after such a failure. That it may throw
/// std::bad_alloc when an allocation fails goes without saying.
using MayThrow = bool (*)(const std::exception& exception, Failure failure);
inline bool throwsNothing(const std::exception&, Failure) { return false; }

struct Operation {
    const char* name;
    void (*fill)(simulation::Machine& machine);
    Result (*run)();
    Check check;
    MayThrow mayThrow = throwsNothing;
    /// What it leaves open on purpose when memory lacks, as the ledger describes it.
    const char* leavesWithoutMemory = "";
    /// Whether the failed calls in the journal kept it from closing what is left.
    bool (*mayLeave)(const std::string& left) = nullptr;
};

/// All operations of the library and its support library.
const std::vector<Operation>& operations();

// The usual checks. After a success with a failed call inside, the output is the undisturbed one; a deception
// may change it.

/// Failure leaves nothing in the output.
Check clearedOnFailure();
/// Failure leaves the output as the operation found it.
Check keptOnFailure(const std::string& before);
/// The output is lines "label: value"; each is the undisturbed one, or its value is one of these or empty.
Check linesMayLose(const std::vector<std::string>& substitutes);
/// The output is the beginning of the undisturbed one: an enumeration that fails looks like one that ends.
Check beginningOfIt();
/// The output is one device instance ID a line: known to the machine, each once, some perhaps missing.
Check someOfTheDevices();
/// The output is whatever the operation documents for it.
Check anyOf(const std::vector<std::string>& outputs);

/// Fails the n-th allocation from now on this thread, made outside simulated functions, until disarmed.
void failAllocation(unsigned nth);
/// Whether an allocation was failed since; and switches failing off.
bool disarmAllocations();

}  // namespace sweep
