#include "Trace.h"

#include "Format.h"
#include "Output.h"
#include "Tools.h"

void Trace::Line(const std::string& text) const {
    if (m_recording != nullptr) m_recording->AddMeaning(text);
    if (!m_isOn) return;
    tagSYSTEMTIME now{};
    GetLocalTime(&now);
    Print(Format("%02d:%02d:%02d.%03d ", now.wHour, now.wMinute, now.wSecond, now.wMilliseconds) + text +
          "\n");
}
