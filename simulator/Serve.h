#pragma once

#include "Peer.h"
#include "Terminal.h"

/** Keeps SIGINT and SIGTERM for Serve, which ends in order by one: called before anything is opened. */
void CatchStopSignals();

/**
 * Carries bytes between the terminal and the peer until SIGINT or SIGTERM, the peer's end or, with isOnce,
 * the other side's hanging up.
 */
void Serve(Terminal& terminal, Peer& peer, bool isOnce);
