#include <iostream>

#include "tools/sysmira/Command.h"
#include "tools/sysmira/Target.h"

int main(int count, char** arguments) {
    try {
        const sysmira::Utf8Console console;
        std::ios::sync_with_stdio(false);
        const int status =
            sysmira::runSysmira(sysmira::programArguments(count, arguments), std::cout, std::cerr);
        std::cout.flush();
        return status;
    } catch (...) {
        return 1;
    }
}
