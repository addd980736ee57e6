#pragma once

#include "klmfc/core/system.h"

// Reaches the private parts of K_System that the tests observe.
class K_SystemTestAccess {
public:
    static void terminate(K_System* system) { system->terminate(); }
    static void runDeinits(K_System* system) { system->deinits(); }
    static int deinitCount(K_System* system) { return system->m_deinits.getCount(); }
};
