// Start and stop of the library: the two init counters.
#include "klmfc/core/system.h"
#include "klmfc/file/file.h"
#include "klmfc/math/numerics.h"
#include "klmfc/profile/profile.h"
#include "platform/platform.h"

#include <cstdlib>
#include <cstring>

int K_KovmarInit::count = 0;
int M_MathInit::count = 0;

K_KovmarInit::K_KovmarInit() {
    if (count++ != 0) {
        return;
    }
    char machine[16];
    char name[32] = "verbose.txt";
    if (klmfc::platform::machineName(machine)) {
        std::strcpy(name, "verbose_");
        std::strcat(name, machine);
        std::strcat(name, ".txt");
    }
    Sys = new K_System(name);
    File = new K_File;
    Sys->loadCPUDrivers();
}

K_KovmarInit::~K_KovmarInit() {
    if (--count != 0) {
        return;
    }
    Sys->unloadCPUDrivers();
    delete File;
    File = nullptr;
    K_Profile::deinit();
    Sys->cleanupAllocations();
    delete Sys;
    Sys = nullptr;
}

M_MathInit::M_MathInit() {
    if (count++ != 0) {
        return;
    }
    M_funcMakeInverseSqrtLUT();
    std::srand(klmfc::platform::milliseconds());
}

M_MathInit::~M_MathInit() {
    --count;
}
