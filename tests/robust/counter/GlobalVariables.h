#pragma once
// The counter model's global variables: the number of states it has, and the
// number of idle places that widen its state vector (2 bytes each).

extern int Size;
extern int Width;
