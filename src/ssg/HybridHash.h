#pragma once
// The generator's state store; it is built from the pieces in store/.
#include "store/HybridHash.h"
