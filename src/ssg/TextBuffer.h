#pragma once
// The buffered writer of the result files; it lives in output/.
#include "output/TextBuffer.h"
