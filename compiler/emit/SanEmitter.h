#pragma once
// The SAN's emitter: the class <model>SAN with its places, arrays of places,
// structured places, activities (see ActivityEmitter) and groups, and the
// constructor that builds and wires them.

#include "emit/Writer.h"

void emitSan(const EmitContext& c);
