// Opens the protected parts of K_Profile to the tests.
#pragma once

#include "klmfc/profile/profile.h"

struct ProfileProbe : K_Profile {
    using K_Profile::find;
    using K_Profile::K_PENTRY;
    using K_Profile::m_sbFrameRunning;
    using K_Profile::m_siEntries;
    using K_Profile::m_slProfiles;
    using K_Profile::m_spEarlierParent;
};
