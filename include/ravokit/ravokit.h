// All of Ravokit.
#pragma once

#include "alpha.h"
#include "bitmap.h"
#include "convert.h"
#include "copy.h"
#include "extradata.h"
#include "frame.h"
#include "list.h"
#include "memory.h"
#include "numeric.h"
#include "palette.h"
#include "rows.h"
#include "storage.h"
#include "types.h"
