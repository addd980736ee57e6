// A first host: brings the library up, lists the processor drivers, adds two arrays
// through the active driver, logs a line, shuts the library down and prints the log.
#include <klmfc/klmfc.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

int main() {
    std::string logName;
    {
        K_KovmarInit kovmar; // the first one brings the library up
        M_MathInit math;

        std::printf("klmfc is up; the program's directory is the root of the name space.\n");
        std::printf("processor drivers:\n");
        for (K_CPUDriver* d = Sys->getFirstCPUDriver(); d != nullptr;
             d = Sys->getNextCPUDriver(d)) {
            std::printf("  %-20s granularity %d, alignment %d%s\n", d->getName(),
                        d->getStructureGranularity(), d->getMemoryAlignment(),
                        d == Sys->getActiveCPUDriver() ? "  (active)" : "");
        }

        M_ScalarArray a(6), b(6), sum(6);
        for (int i = 0; i < 6; ++i) {
            a.set(i, float(i));
            b.set(i, 10.0f * float(i));
        }
        sum.add(a, b);
        std::printf("a + b = ");
        for (int i = 0; i < 6; ++i) {
            std::printf("%g ", sum.get(i));
        }
        std::printf("\n(capacity %d floats: sizes are rounded up to whole groups of four)\n",
                    sum.getAllocatedSize());

        Sys->verbose("demo: %s\n", K_STR("added %d floats on the %s driver", a.getCurrentSize(),
                                         Sys->getCPU()->getName()));
        logName = Sys->getVerboseFilename();
    } // the last one takes it down and closes the log

    std::printf("\nlog file %s:\n", logName.c_str());
    std::ifstream log(logName);
    std::cout << log.rdbuf();
    return 0;
}
