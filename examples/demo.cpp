// A first host: brings the library up, lists the processor drivers, adds two arrays
// through the active driver, profiles a few frames, logs a line, shuts the library down
// and prints the log.
#include <klmfc/klmfc.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

// Three frames of work in nested sections, then one line per section of the last frame:
// calls, inclusive and self share, inclusive time and counted allocations (self and
// inclusive).
void profileFrames() {
    std::printf("\nprocessor: %s, %.0f MHz\n", Sys->getProcessorModel(),
                Sys->getProcessorSpeed() / 1e6); // measured once, before the first frame
    for (int frame = 0; frame < 3; ++frame) {
        K_Profile::startFrame();
        {
            K_Profile whole("frame");
            {
                K_Profile arrays("arrays");
                M_ScalarArray x(4096), y(4096), z(4096);
                for (int i = 0; i < 4096; ++i) {
                    x.set(i, float(i));
                    y.set(i, 0.5f * float(i));
                }
                for (int pass = 0; pass < 8; ++pass) {
                    K_Profile add("add");
                    z.add(x, y);
                }
            }
            {
                K_Profile text("strings");
                K_String line;
                for (int i = 0; i < 200; ++i) {
                    line += K_STR("%d ", i);
                }
            }
        }
        K_Profile::endFrame();
    }
    std::printf("profile of frame %d, %.3f ms:\n", K_Profile::getFrameCount(),
                K_Profile::getLastFrameTime() * 1000.0);
    std::printf("  %-10s %5s %8s %8s %10s %12s\n", "section", "calls", "incl %", "self %",
                "time ms", "allocations");
    while (K_PINFO const* info = K_Profile::request()) {
        std::printf("  %-10s %5d %8.1f %8.1f %10.4f %6d / %-5d\n", info->pName, info->iCallsFrame,
                    info->fPercent, info->fPercentSelf, info->tFrameTime * 1000.0, info->iNewSelf,
                    info->iNewInclusive);
    }
}

int main() {
    std::string logName;
    {
        K_KovmarInit kovmar; // the first one brings the library up
        M_MathInit math;
        Sys->clearVerbose(); // the log appends run after run; show this run only

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

        profileFrames();

        Sys->verbose("demo: %s\n", K_STR("added %d floats on the %s driver", a.getCurrentSize(),
                                         Sys->getCPU()->getName()));
        logName = Sys->getVerboseFilename();
    } // the last one takes it down and closes the log

    std::printf("\nlog file %s:\n", logName.c_str());
    std::ifstream log(logName);
    std::cout << log.rdbuf();
    return 0;
}
