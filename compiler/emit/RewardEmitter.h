#pragma once
// The rewards' emitter: the reward model <stem>PVModel, and per reward variable
// its node <stem>PV<k>, its rate reward's worker and its impulses' classes.

#include "emit/Writer.h"

void emitRewards(const EmitContext& c);
