#include "Formatting/DataFormatter.h"

#include <cstring>

uint16_t DataFormatter::GetLength() { return m_dataLen; }

void DataFormatter::Append(const void* data, size_t size) {
    std::memcpy(m_dataBuf + m_dataLen, data, size);
    m_dataLen = static_cast<uint16_t>(m_dataLen + size);
}
