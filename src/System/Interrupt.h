#pragma once

#include <poll.h>

#include <csignal>

/**
 * SIGINT, SIGTERM, SIGHUP and SIGQUIT, taken so that a run ends in order: the first one makes every wait
 * below throw, the cleanup of each layer runs, and the process then ends by that signal. Another one ends it
 * at once, if it comes a second later or more.
 */

inline constexpr int interrupts[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

/** Takes the signals, but those that the caller has set to be ignored. A closed standard output stops
 * nothing, and a limit of the size of files makes their writing fail. */
void CatchInterrupts();

/** A descriptor that is readable once a signal has arrived, for waits of one's own; -1 without
 * CatchInterrupts. */
int GetWakeUpHandle();

/** The signal that arrived, 0 for none. */
int GetInterrupt();

/** Throws an ApplicationException when a signal has arrived. */
void CheckInterrupt();

/**
 * Waits for the events of one descriptor, for at most timeoutMs, or without limit when that is negative.
 * True when one of them, an error or a hang-up is there. Throws as CheckInterrupt does, also for a signal
 * that arrives just before the wait; SystemException with the given text when the descriptor cannot be waited
 * for.
 */
bool WaitForEvent(int handle, short events, int timeoutMs, const char* failure);

/** Ends the process by the signal, as its default action would have; by status 128 + signal where it has
 * none. */
[[noreturn]] void EndByInterrupt(int signal);
