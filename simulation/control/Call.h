// What every simulated Windows function begins with: the journal entry, the fault that a test asked for, the
// order of calls among threads. A function reads
//
//     SIMULATED(CONFIGRET, WINAPI, CM_Get_Parent, (PDEVINST parent, DEVINST node, ULONG flags)) {
//         static const Function function{"CM_Get_Parent", Fails::WithCode, {CR_FAILURE, CR_NO_SUCH_DEVNODE}};
//         Call call(function, node);
//         if (const auto fault = call.fault<CONFIGRET>()) return *fault;
//         ...
//         return call.returns(CR_SUCCESS);
//     }
#pragma once

#include <deque>
#include <initializer_list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "simulation/control/Text.h"
#include "support/WindowsApi.h"

// Defines a Windows function. On the host it is the only one there is. In a Windows program calls go through
// import pointers (__imp_NAME), so defining that pointer takes the call before the import library is looked
// at.
#ifdef TARGET_HOST
#define SIMULATED(result, convention, name, parameters) extern "C" result convention name parameters
#else
#define SIMULATED(result, convention, name, parameters)           \
    static result convention simulated_##name parameters;         \
    extern "C" {                                                  \
    decltype(&simulated_##name) __imp_##name = &simulated_##name; \
    }                                                             \
    static result convention simulated_##name parameters
#endif

// The same for functions that their header declares without import: calls go to the plain name then.
#ifdef TARGET_HOST
#define SIMULATED_PLAIN SIMULATED
#else
#define SIMULATED_PLAIN(result, convention, name, parameters)      \
    extern "C" {                                                   \
    result convention simulated_##name parameters;                 \
    decltype(&simulated_##name) __imp_##name = &simulated_##name;  \
    }                                                              \
    __asm__(".globl " #name "\n.set " #name ", simulated_" #name); \
    extern "C" result convention simulated_##name parameters
#endif

namespace simulation {

/// How a function tells of failure.
enum class Fails {
    WithCode,      ///< the code is the result (CONFIGRET, LSTATUS, HRESULT)
    WithZero,      ///< last error, and 0, FALSE or null
    WithMinusOne,  ///< last error, and INVALID_HANDLE_VALUE, INVALID_FILE_ATTRIBUTES or -1
};

/// Ways in which a function may say success and yet deceive its caller. Each function honours those that
/// make sense for what it gives back and names them in its Function.
enum class Distortion : unsigned {
    None = 0,
    NothingWritten = 1,  ///< success, and no out-parameter was touched
    SizeTooLarge = 2,    ///< the reported size is beyond the buffer (or, when asked for, absurd)
    SizeZero = 4,        ///< the reported size is 0
    OddSize = 8,         ///< a size in bytes that cuts a code unit in half
    NoTerminator = 16,   ///< the text fills its space to the last unit
    NullResult = 32,     ///< success with a null pointer or handle
    // Of properties: the VARIANT is not what the CIM type announces.
    WrongType = 64,        ///< another VARIANT type
    EmptyValue = 128,      ///< VT_EMPTY
    NullContent = 256,     ///< a text, array or object whose pointer is null
    TwoDimensions = 512,   ///< an array of two dimensions
    WideElements = 1024,   ///< an array whose elements take four bytes each
    CountTooLarge = 2048,  ///< a count inside the answer is beyond what came with it
    OtherSuccess = 4096,   ///< everything was written, and the code is a success other than S_OK
};
constexpr unsigned operator|(Distortion one, Distortion other) {
    return static_cast<unsigned>(one) | static_cast<unsigned>(other);
}
constexpr unsigned operator|(unsigned one, Distortion other) { return one | static_cast<unsigned>(other); }

/// What is known of a function before it is called: its name, how it fails, the codes that it may fail with
/// on a real machine, and the distortions that it can show.
struct Function {
    const char* name;
    Fails fails;
    std::vector<long long> codes;
    unsigned distortions = 0;
    /// The Windows function of which this is one request ("DeviceIoControl"), or null. Faults and counts may
    /// name either.
    const char* family = nullptr;

    bool isCalled(std::string_view other) const {
        return other == name || (family != nullptr && other == family);
    }
};

struct JournalEntry {
    const Function* function;
    std::string arguments;  ///< those that matter, joined by ", "
    std::string result;     ///< empty while the call runs
};

/// One fault that a test asks for. Calls are counted from the moment it is set.
struct Fault {
    std::string function;  ///< empty: of every function
    unsigned nth = 1;      ///< the call that fails, from 1
    bool onwards = false;  ///< and every matching call after it
    long long code = 0;    ///< what it fails with, unless it is a distortion
    Distortion distortion = Distortion::None;
    bool endsProcess = false;  ///< the function ends the whole process, as one with an error in it does
    bool hangs = false;        ///< the function never returns, as one that waits for broken hardware
    unsigned seen = 0;         ///< matching calls so far
};

/// Journal and faults. Reached through simulation::control(); guarded by the lock that every Call holds.
class Control {
public:
    /// Off: calls are neither locked, journalled nor faulted (benchmarks, on one thread). On at start.
    bool watching = true;

    const std::deque<JournalEntry>& journal() const { return m_journal; }
    void clearJournal() { m_journal.clear(); }
    /// How often a function was called since the journal was cleared.
    unsigned calls(std::string_view function) const;
    /// The names called, in order.
    std::vector<std::string> names() const;

    void add(Fault fault) { m_faults.push_back(std::move(fault)); }
    void clearFaults() { m_faults.clear(); }
    /// True once a fault has been given to some call since the faults were last cleared.
    bool faultWasGiven() const { return m_given; }
    void clearGiven() { m_given = false; }

private:
    friend class Call;
    std::deque<JournalEntry> m_journal;
    std::vector<Fault> m_faults;
    bool m_given = false;
};

Control& control();

/// The lock that orders simulated calls among threads. A test that reads the journal, the ledger or the
/// machine while other threads call takes it too.
std::recursive_mutex& callMutex();

/// Forgets journal, faults, open resources, ledger and simulated time; the machine becomes an empty one.
void reset();
/// Registers work for reset() to do (tables of open handles). Called from static initialisers.
struct AtReset {
    explicit AtReset(void (*work)());
};

std::string toArgument(long long value);
std::string toArgument(unsigned long long value);
std::string toArgument(const void* value);
std::string toArgument(const WCHAR* value);
std::string toArgument(const GUID* value);
inline std::string toArgument(const char* value) { return value == nullptr ? "null" : value; }

/// One call of a simulated function, from its first line to its return.
class Call {
public:
    template <class... Arguments>
    explicit Call(const Function& function, const Arguments&... arguments) : m_function(function) {
        ++s_depth;
        if (!control().watching) return;
        m_lock = std::unique_lock(callMutex());
        begin();
        (argument(arguments), ...);
    }
    ~Call() { --s_depth; }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    /// The failure that a test asked for, with the last error set where the function sets it.
    template <class Result>
    std::optional<Result> fault() {
        if (!m_code) return std::nullopt;
        return fails<Result>(*m_code);
    }

    /// True when the test asked for this deception of this call.
    bool distorted(Distortion distortion) const { return m_distortion == distortion; }

    /// Fails as this function does: with the code as result, or with the code as last error.
    template <class Result>
    Result fails(long long code) {
        if (m_function.fails == Fails::WithCode) {
            if constexpr (std::is_integral_v<Result>) return returns(static_cast<Result>(code));
        }
        SetLastError(static_cast<DWORD>(code));
        note(code);
        const long long value = m_function.fails == Fails::WithMinusOne ? -1 : 0;
        if constexpr (std::is_pointer_v<Result>) {
            return reinterpret_cast<Result>(value);
        } else {
            return static_cast<Result>(value);
        }
    }

    /// Notes the result in the journal and gives it back. The last error stays as it was.
    template <class Result>
    Result returns(Result result) {
        if constexpr (std::is_pointer_v<Result>) {
            note(result != nullptr ? 1 : 0);
        } else {
            note(static_cast<long long>(result));
        }
        return result;
    }

    const char* name() const { return m_function.name; }

    /// Runs code of the caller (a callback) as outside the simulation.
    template <class Work>
    auto outside(Work&& work) {
        struct Outside {
            unsigned depth = s_depth;
            Outside() { s_depth = 0; }
            ~Outside() { s_depth = depth; }
        } const left;
        return work();
    }

    /// Marks work of the simulation outside any call (whose is this handle?) as such while it lives.
    class Inside {
    public:
        Inside() { ++s_depth; }
        ~Inside() { --s_depth; }
        Inside(const Inside&) = delete;
        Inside& operator=(const Inside&) = delete;
    };

    /// True while a simulated function runs on this thread: its allocations are not the library's.
    static bool running() { return s_depth != 0; }

private:
    void begin();
    void note(long long result);
    template <class Argument>
    void argument(const Argument& value) {
        if constexpr (std::is_integral_v<Argument> || std::is_enum_v<Argument>) {
            if constexpr (std::is_unsigned_v<Argument>) {
                append(toArgument(static_cast<unsigned long long>(value)));
            } else {
                append(toArgument(static_cast<long long>(value)));
            }
        } else {
            append(toArgument(value));
        }
    }
    void append(const std::string& argument);

    static inline thread_local unsigned s_depth = 0;

    const Function& m_function;
    std::unique_lock<std::recursive_mutex> m_lock;
    size_t m_entry = 0;
    std::optional<long long> m_code;
    Distortion m_distortion = Distortion::None;
};

/// Copies bytes to a caller's buffer and tells their number: the one place where sizes are reported, so that
/// every function shows the same deceptions. `capacity` and `*reported` are bytes. Returns false when the
/// buffer is missing or too small; nothing is copied then, and the size is reported all the same.
bool copyOut(const Call& call, const void* bytes, size_t size, void* buffer, size_t capacity,
             DWORD* reported);

}  // namespace simulation
