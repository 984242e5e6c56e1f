#include "recording/hidrec.h"
