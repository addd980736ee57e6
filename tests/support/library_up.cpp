// Brings the library up for the test executable the way a host does: by static
// init objects.
#include "klmfc/core/system.h"

static K_KovmarInit s_kovmarInit;
static M_MathInit s_mathInit;
