// Environment, system folder, debugger output and sleep of the simulated PC.
#include "simulation/api/DebuggerOutput.h"
#include "simulation/api/Environment.h"
#include "simulation/control/Call.h"
#include "simulation/control/Clock.h"
#include "simulation/machine/Machine.h"

namespace simulation {

namespace {

std::string& theOutput() {
    static std::string output;
    static const AtReset atReset([] { output.clear(); });
    return output;
}

// Copies a text by the rule of the environment functions: units without the terminator when it fits, with it
// when it does not.
DWORD copyUnits(Call& call, const Text& text, LPWSTR buffer, DWORD units, bool countTerminator) {
    const DWORD needed = static_cast<DWORD>(text.size()) + 1;
    const bool fits =
        copyOut(call, text.c_str(), needed * sizeof(WCHAR), buffer, size_t{units} * sizeof(WCHAR), nullptr);
    const DWORD told = fits && !countTerminator ? needed - 1 : needed;
    return call.returns<DWORD>(call.distorted(Distortion::SizeTooLarge) ? told + 4096 : told);
}

Text expand(const Text& text) {
    Text expanded;
    for (size_t at = 0; at < text.size();) {
        const size_t begin = text.find(u'%', at);
        const size_t end = begin == Text::npos ? Text::npos : text.find(u'%', begin + 1);
        if (end == Text::npos) return expanded + text.substr(at);
        const auto found = machine().environment.find(text.substr(begin + 1, end - begin - 1));
        // A reference to no variable stays as it is; its second sign may begin the next one.
        if (found == machine().environment.end()) {
            expanded += text.substr(at, end - at);
            at = end;
        } else {
            expanded += text.substr(at, begin - at) + found->second;
            at = end + 1;
        }
    }
    return expanded;
}

}  // namespace

const std::string& debuggerOutput() { return theOutput(); }
Text expandEnvironment(const Text& text) { return expand(text); }

}  // namespace simulation

using namespace simulation;

SIMULATED(DWORD, WINAPI, GetEnvironmentVariableW, (LPCWSTR name, LPWSTR buffer, DWORD units)) {
    static const Function function{"GetEnvironmentVariableW",
                                   Fails::WithZero,
                                   {ERROR_ENVVAR_NOT_FOUND, ERROR_NOT_ENOUGH_MEMORY},
                                   Distortion::NothingWritten | Distortion::SizeTooLarge};
    Call call(function, name, units);
    if (const auto fault = call.fault<DWORD>()) return *fault;
    const auto found = machine().environment.find(fromWide(name));
    if (found == machine().environment.end()) return call.fails<DWORD>(ERROR_ENVVAR_NOT_FOUND);
    // The length 0 of an empty value is told from a failure by the last error alone.
    if (found->second.empty()) SetLastError(ERROR_SUCCESS);
    return copyUnits(call, found->second, buffer, units, /*countTerminator=*/false);
}

SIMULATED(DWORD, WINAPI, ExpandEnvironmentStringsW, (LPCWSTR text, LPWSTR buffer, DWORD units)) {
    static const Function function{"ExpandEnvironmentStringsW",
                                   Fails::WithZero,
                                   {ERROR_NOT_ENOUGH_MEMORY, ERROR_INVALID_PARAMETER},
                                   Distortion::NothingWritten | Distortion::SizeTooLarge};
    Call call(function, text, units);
    if (const auto fault = call.fault<DWORD>()) return *fault;
    // A null text is an empty one (Wine's test of ExpandEnvironmentStrings, run on Windows). Here the
    // terminator counts in any case.
    return copyUnits(call, expand(fromWide(text)), buffer, units, /*countTerminator=*/true);
}

SIMULATED(void, WINAPI, OutputDebugStringW, (LPCWSTR text)) {
    static const Function function{"OutputDebugStringW", Fails::WithZero, {ERROR_SUCCESS}};
    const Call call(function, text);
    theOutput() += toUtf8(fromWide(text));
}

SIMULATED(void, WINAPI, Sleep, (DWORD milliseconds)) {
    static const Function function{"Sleep", Fails::WithZero, {ERROR_SUCCESS}};
    const Call call(function, milliseconds);
    passMilliseconds(milliseconds);
}

SIMULATED(UINT, WINAPI, GetSystemDirectoryW, (LPWSTR buffer, UINT units)) {
    static const Function function{"GetSystemDirectoryW",
                                   Fails::WithZero,
                                   {ERROR_NOT_ENOUGH_MEMORY, ERROR_ACCESS_DENIED},
                                   Distortion::NothingWritten | Distortion::SizeTooLarge};
    Call call(function, units);
    if (const auto fault = call.fault<UINT>()) return *fault;
    return copyUnits(call, machine().systemDirectory, buffer, units, /*countTerminator=*/false);
}
