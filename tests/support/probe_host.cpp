// A small host for the start-up tests. The tests copy it into a directory of their own,
// so that its program directory (the root of the name space, where "kldriver" is looked
// for) is theirs. It brings the library up, reports what it sees, and takes it down.
#include "klmfc/core/system.h"
#include "klmfc/math/cpudriver.h"

#include <cstdio>
#include <unistd.h>

int main() {
    char before[4096] = {};
    if (::getcwd(before, sizeof before) == nullptr) {
        return 2;
    }
    {
        K_KovmarInit init;
        char cwd[4096] = {};
        if (::getcwd(cwd, sizeof cwd) == nullptr) {
            return 2;
        }
        std::printf("cwd %s\n", cwd);
        for (K_CPUDriver* d = Sys->getFirstCPUDriver(); d != nullptr;
             d = Sys->getNextCPUDriver(d)) {
            std::printf("driver %s\n", d->getName());
        }
        std::printf("active %s\n", Sys->getCPU()->getName());
        std::fflush(stdout);
    }
    std::printf("down %s\n", Sys == nullptr ? "yes" : "no");
    return 0;
}
