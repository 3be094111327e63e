#pragma once

// The clock inside the interposed process: what its clocks read and how its threads sleep. On the
// virtual clock threads take turns: one runs until it sleeps, then the one with the next deadline
// does, and time jumps there; nothing passes the limit in the control block. Any thread may call.

#include "sim/control.h"

#include <pthread.h>

namespace sim {

bool isMainThread();

Nanoseconds monotonicNow(const ControlBlock& block);
Nanoseconds wallNow(const ControlBlock& block);

// Sleeps on the gateway's clock. When the harness has asked for the end of the process, the main
// thread exits with status 0 instead and every other thread sleeps for ever.
void sleepFor(ControlBlock& block, Nanoseconds duration);

// Forgets all sleepers, for a new control block. The calling thread goes on as the only one.
void forgetThreads();

// pthread_create and pthread_join with the new thread taking its turns from its creation on and
// the joining one none while it waits.
int createThread(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                 void* argument);
int joinThread(pthread_t thread, void** result);

} // namespace sim
