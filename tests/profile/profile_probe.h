// Opens the protected parts of K_Profile to the tests.
#pragma once

#include "klmfc/profile/profile.h"

struct ProfileProbe : K_Profile {
    using K_Profile::calcPercentage;
    using K_Profile::clearEntry;
    using K_Profile::find;
    using K_Profile::getCycleCount;
    using K_Profile::K_PENTRY;
    using K_Profile::m_sbFrameRunning;
    using K_Profile::m_siEntries;
    using K_Profile::m_slProfiles;
    using K_Profile::m_spEarlierParent;
    using K_Profile::m_spTraverseCurrent;
    using K_Profile::m_stFrameCycles;
    using K_Profile::m_stTotalCycles;
};
