// The base library: heaps and text functions.
#pragma once

#include "base/LHConvert.h"
#include "base/LHHeap.h"
#include "base/LHString.h"
