#pragma once

#include <cstdint>

/** First byte of an application frame: what the frame is about; docs/protocol.md, "Application frames". */
enum ProtocolID : uint8_t {
    Protocol_None = 0,
    Protocol_Standard = 1,
    Protocol_Fiscal = 3,
    Protocol_SessionAuth = 4,
    Protocol_ServerControl = 5,
    Protocol_Standard_Set1 = 11,
    Protocol_Fiscal_Set1 = 13,
    Protocol_SessionAuth_Set1 = 14
};

/** id in protocol set 0 or 1; ConfigurationException for another set. Ids that a set does not change stay. */
ProtocolID GetProtocolIDInSet(ProtocolID id, int protocolSet);

/** id in the set of the setting "ProtocolSet". */
ProtocolID GetProtocolIDBySet(ProtocolID id);

/** Whether value is id in any of the sets. */
bool IsProtocol(uint8_t value, ProtocolID id);
