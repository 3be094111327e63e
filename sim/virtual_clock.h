#pragma once

// The clock inside the interposed process: how its threads sleep. On the
// virtual clock threads take turns: one runs until it sleeps, then the one with the next deadline
// does, and time jumps there; nothing passes the limit in the control block. Any thread may call.

#include "sim/control.h"

#include <pthread.h>

namespace sim {

bool isMainThread();

// Sleeps on the gateway's clock. When the harness has asked for the end of the process, the main
// thread exits with status 0 instead and every other thread sleeps for ever.
void sleepFor(ControlBlock& block, Nanoseconds duration);

// Forgets all sleepers, for a new control block. The calling thread goes on as the only one.
void forgetThreads();

// pthread_create with the new thread taking its turns from its creation to its end. Whoever waits
// for another thread otherwise than by sleeping keeps the virtual time from passing.
int createThread(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                 void* argument);

} // namespace sim
