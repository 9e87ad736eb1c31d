#pragma once

#include "Byte.h"
#include "EcrComm/CommChannels/CommChannelType.h"
#include "EcrComm/CommChannels/ICommChannel.h"

/**
 * The one channel of the process. Selecting frees the former channel without closing it, so it is closed
 * before. But for CommChannel_Close, which then does nothing, the operations need a selected channel; they
 * fail as those of ICommChannel.
 */

/** InternalException for a value that is no type; no channel is current then. */
void SelectCommChannel(CommChannelType type);
/** Makes a channel of the caller's current, or none (null). */
void SelectCommChannel(ChannelOwner channel);

void CommChannel_Open();
void CommChannel_Close();
void CommChannel_SetReadTimeout(int ms);
bool CommChannel_Read(byte* data, unsigned int size);
bool CommChannel_Write(const byte* data, unsigned int size);
bool CommChannel_WriteDirect(const byte* data, unsigned int size);
bool CommChannel_Settle();
void CommChannel_SetRepeatTime(int ms);
