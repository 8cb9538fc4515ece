#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <ext/stdio_filebuf.h>

#include "tools/sysmira/Command.h"
#include "tools/sysmira/OwnProcess.h"
#include "tools/sysmira/Target.h"

namespace sysmira {

namespace {

using Clock = std::chrono::steady_clock;

// The copy of this process does the work; the simulated PC came along with it.
[[noreturn]] void runAsChild(const std::vector<std::string>& arguments, int outEnd, std::ostream& err) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    keepMachine();
    int status = 1;
    {
        __gnu_cxx::stdio_filebuf<char> buffer(outEnd, std::ios::out);
        std::ostream out(&buffer);
        status = runSysmira(arguments, out, err);
    }
    // Nothing of what the process was copied from may be written or torn down a second time.
    _exit(status);
}

// False when the time is up before the other end is closed.
bool readAll(int end, Clock::time_point deadline, const std::function<void(std::string_view)>& take) {
    char bytes[16384];
    while (true) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) return false;
        pollfd waiting{end, POLLIN, 0};
        const int ready = poll(&waiting, 1, static_cast<int>(left.count()));
        if (ready == 0 || (ready < 0 && errno == EINTR)) continue;
        const ssize_t got = read(end, bytes, sizeof bytes);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return true;
        take({bytes, static_cast<std::size_t>(got)});
    }
}

std::string describeSignal(int signal) {
    return "ended with signal " + std::to_string(signal) + " (" + strsignal(signal) + ")";
}

}  // namespace

ProcessEnd runInOwnProcess(const std::vector<std::string>& arguments, unsigned timeoutMs, std::ostream& err,
                           const std::function<void(std::string_view)>& take) {
    ProcessEnd end;
    int ends[2];
    if (pipe(ends) != 0) {
        end.trouble = std::string("could not be started: ") + std::strerror(errno);
        return end;
    }
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        runAsChild(arguments, ends[1], err);
    }
    const int failure = errno;
    close(ends[1]);
    if (child < 0) {
        close(ends[0]);
        end.trouble = std::string("could not be started: ") + std::strerror(failure);
        return end;
    }
    const bool inTime = readAll(ends[0], Clock::now() + std::chrono::milliseconds(timeoutMs), take);
    if (!inTime) kill(child, SIGKILL);
    close(ends[0]);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (!inTime) {
        end.trouble = "was not done after " + std::to_string(timeoutMs / 1000) + " s and was ended";
    } else if (WIFSIGNALED(status)) {
        end.trouble = describeSignal(WTERMSIG(status));
    } else {
        end.status = WEXITSTATUS(status);
    }
    return end;
}

}  // namespace sysmira
