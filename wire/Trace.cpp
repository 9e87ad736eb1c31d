#include "Trace.h"

#include "Format.h"
#include "System/Output.h"
#include "Text/Json.h"
#include "Tools.h"

void Trace::Line(const std::string& text) const {
    if (m_recording != nullptr) m_recording->AddMeaning(text);
    if (m_form == TraceForm::None) return;
    tagSYSTEMTIME now{};
    GetLocalTime(&now);
    const std::string time =
        Format("%02d:%02d:%02d.%03d", now.wHour, now.wMinute, now.wSecond, now.wMilliseconds);
    if (m_form == TraceForm::Text) return Print(time + " " + text + "\n");
    const std::string arrow = text.substr(0, 3);
    const char* const from = arrow == "<- " ? "tool" : arrow == "-> " ? "register" : "";
    Print(JsonObject()
              .Add("time", time)
              .Add("from", from)
              .Add("event", *from == '\0' ? TrimLeft(text, " ") : text.substr(arrow.size()))
              .GetText() +
          "\n");
}
