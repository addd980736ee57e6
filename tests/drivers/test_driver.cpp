// A driver module for the tests: when it loads it appends its driver to the system's
// list, as a processor-specific module would; it reports its load and unload on stdout.
#include "klmfc/core/system.h"
#include "klmfc/math/cpudriver.h"

#include <cstdio>

namespace {

class TestDriver : public K_CPUReference {
public:
    char const* getName() const override { return "Test CPU"; }
    int getPriority() const override { return 1; }
};

struct Registration {
    TestDriver driver;
    Registration() {
        std::printf("module loaded, Sys %s\n", Sys != nullptr ? "up" : "down");
        if (Sys != nullptr) {
            *Sys->getCPUDriverList().addNewLast() = &driver;
        }
        std::fflush(stdout);
    }
    ~Registration() {
        std::printf("module unloaded, %d drivers listed\n",
                    Sys != nullptr ? Sys->getCPUDriverList().getCount() : -1);
        std::fflush(stdout);
    }
};

Registration s_registration;

} // namespace
