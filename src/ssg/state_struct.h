#pragma once
// state_struct: a state vector with its state number, the record in which a
// state travels through the frontier queue.

#include <cstdint>

struct state_struct {
    char* state = nullptr;    // StateSize bytes; not owned: the queue's records point into
                              // the queue's storage, a caller's record into the caller's buffer
    std::uint32_t number = 0; // the state's number (1, 2, ...)
};
