#pragma once
// The activities' emitter: the nested class <name>Activity of the SAN for each
// activity or family, declared in the SAN's header and defined in its source.
// The class derives from the framework's base for its kind and states only what
// the model says: enabling, rate or delay, phases, weight and rank when given,
// the firing, and the binding of the markings it names.

#include "emit/Writer.h"

// The class declaration, nested in the SAN's class.
void emitActivityClass(const EmitContext& c, Writer& w, const CheckedActivity& a);
// The class's member definitions, in the SAN's source.
void emitActivityMethods(const EmitContext& c, Writer& w, const CheckedActivity& a);
