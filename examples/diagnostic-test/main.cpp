// Tests the disks of this PC. The exit status is 0 when all pass, 1 when one fails, 2 when something could
// not be found out.
#include <algorithm>
#include <cstdio>

#include "DiskTest.h"

int main() {
    Verdict worst = Verdict::Pass;
    for (const DiskResult& result : testDisks()) {
        const char* const names[] = {"pass", "unknown", "FAIL"};
        std::printf("%-8s %s\n", names[static_cast<int>(result.verdict)], result.disk.c_str());
        for (const std::string& reason : result.reasons) std::printf("         %s\n", reason.c_str());
        worst = std::max(worst, result.verdict);
    }
    return worst == Verdict::Pass ? 0 : worst == Verdict::Fail ? 1 : 2;
}
