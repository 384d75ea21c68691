// All of Ravokit.
#pragma once

#include "alpha.h"
#include "bitmap.h"
#include "convert.h"
#include "copy.h"
#include "frame.h"
#include "memory.h"
#include "rows.h"
#include "storage.h"
#include "types.h"
