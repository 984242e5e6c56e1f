// Moved to tests/support; kept for the folders that include it from here.
#pragma once
#include "../support/private_tmp.h"
