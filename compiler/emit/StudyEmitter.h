#pragma once
// The study's emitter: GlobalVariables.h (the globals' declarations) and the
// class study_<name> (the globals' definitions, their values per experiment,
// and GenerateStudy()).

#include "emit/Writer.h"

void emitGlobals(const EmitContext& c);
void emitStudy(const EmitContext& c);
