#include "EcrComm/Protocols.h"

#include "AppConfig.h"
#include "Exceptions.h"

ProtocolID GetProtocolIDInSet(ProtocolID id, int protocolSet) {
    if (protocolSet == 0) return id;
    if (protocolSet != 1) throw new ConfigurationException("Invalid ProtocolSet parameter");
    switch (id) {
        case Protocol_Standard: return Protocol_Standard_Set1;
        case Protocol_Fiscal: return Protocol_Fiscal_Set1;
        case Protocol_SessionAuth: return Protocol_SessionAuth_Set1;
        default: return id;
    }
}

ProtocolID GetProtocolIDBySet(ProtocolID id) {
    return GetProtocolIDInSet(id, AppConfig::Get(settings::protocolSet));
}

bool IsProtocol(uint8_t value, ProtocolID id) {
    return value == GetProtocolIDInSet(id, 0) || value == GetProtocolIDInSet(id, 1);
}
