#include "Formatting/DataFormatter.h"

#include <cstring>

uint16_t DataFormatter::GetLength() { return m_dataLen; }

void DataFormatter::Append(const void* data, size_t size) {
    if (size == 0) return;  // no data may come as a null pointer, which memcpy does not take
    std::memcpy(m_dataBuf + m_dataLen, data, size);
    m_dataLen = static_cast<uint16_t>(m_dataLen + size);
}
