// The windows' view of the pen front end.
#pragma once

#include "pen/PX_PEN_API.h"

// Whatever PXPenSet hands out; the windows only keep it and pass it back.
using PXPenHandle = decltype(PXPenSet(0, 0, nullptr, 0, 0, 0.0f));
