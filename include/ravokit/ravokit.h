// All of Ravokit.
#pragma once

#include "alpha.h"
#include "bitmap.h"
#include "convert.h"
#include "copy.h"
#include "extradata.h"
#include "frame.h"
#include "grayscale.h"
#include "list.h"
#include "memory.h"
#include "numeric.h"
#include "objects.h"
#include "palette.h"
#include "rows.h"
#include "storage.h"
#include "text.h"
#include "types.h"
