#pragma once

// Receiver of the log lines that other processes send to the panel.
//
// Lines arrive on a System V message queue, one line of up to 68 bytes each, and are
// put into the LogStore. The receiver runs on a thread of its own and touches nothing
// else of the daemon. Prints nothing.

// Key of the message queue; other processes know it.
inline constexpr int logQueueKey = 80;

// Identifier of the queue; set before the receiver starts, -1 without a queue.
extern int msgQueueId;

// Obtains the queue, creating it when no other process has. Returns 0, or -1 when it
// cannot be had.
int openLogQueue();

// Starts the receiver as a detached thread with a stack of 1 MiB. Returns 0, or -1 when
// the thread cannot be created.
int startLogReceiver();

// Takes at most one message from the queue into the LogStore; does not wait. A message
// that is too long stays at the head of the queue and keeps those behind it back; one
// for which there is no memory is lost.
void receiveLogMessage();

// Thread routine: receives a message every 500 ms, for ever. `unused` is ignored.
void* logReceiverThread(void* unused);
