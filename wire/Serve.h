#pragma once

#include "Peer.h"
#include "Terminal.h"

/**
 * Carries bytes between the terminal and the peer until a signal (CatchInterrupts), the peer's end or, with
 * isOnce, the other side's hanging up. What has arrived by then is carried, too.
 */
void Serve(Terminal& terminal, Peer& peer, bool isOnce);
