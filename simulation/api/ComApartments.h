// COM apartments of the simulated PC's threads.
#pragma once

namespace simulation {

/// How often the calling thread has entered COM and not left it.
unsigned comBalance();
/// The same of all threads together.
unsigned comBalanceOfAllThreads();

/// True when the calling thread may use COM objects: it is in an apartment, or belongs without having entered
/// one to the multithreaded apartment of others. Once it has left, it may not.
bool isInCom();
/// True when the thread was taken out of COM by a CoUninitialize that belongs to a failed CoInitializeEx.
/// What it does without COM is then no fault of its own.
bool isExcusedFromCom();

/// Notes that COM has set the process's security by itself, as it does when the first proxy is made.
void securityWasSet();

}  // namespace simulation
