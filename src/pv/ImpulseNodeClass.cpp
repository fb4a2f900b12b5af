#include "pv/ImpulseNodeClass.h"

#include "base/Errors.h"

#include <cstdlib>
#include <cstring>

ImpulseNodeClass::~ImpulseNodeClass() {
    free(Name);
}

void ImpulseNodeClass::Reset() {
    Value = 0.0;
    ValueSquared = 0.0;
}

void ImpulseNodeClass::DefineName(const char* name, int impulse, int worker) {
    char* copy = strdup(name);
    if (copy == nullptr)
        MemoryAllocationError();
    free(Name);
    Name = copy;
    ImpulseNumber = impulse;
    WorkerNumber = worker;
}
