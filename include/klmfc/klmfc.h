// Everything the library offers, in one include.
#pragma once

#include "klmfc/core/exception.h"
#include "klmfc/core/system.h"
#include "klmfc/file/file.h"
#include "klmfc/file/filestream.h"
#include "klmfc/math/arrays.h"
#include "klmfc/math/cpudriver.h"
#include "klmfc/math/numerics.h"
#include "klmfc/math/types.h"
#include "klmfc/memory/dllist.h"
#include "klmfc/memory/memory.h"
#include "klmfc/memoryfile/memoryfile.h"
#include "klmfc/profile/profile.h"
#include "klmfc/script/script.h"
