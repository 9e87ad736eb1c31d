#include "Trace.h"

#include "Format.h"
#include "System/Output.h"
#include "Text/Json.h"
#include "Tools.h"

namespace {

/** By TraceSource. */
constexpr struct {
    const char* arrow;
    const char* name;
} sources[] = {{"<- ", "tool"}, {"-> ", "register"}, {"   ", ""}, {"", ""}};

}  // namespace

void Trace::Tell(TraceSource source, const std::string& event) const {
    const auto& from = sources[static_cast<size_t>(source)];
    const std::string text = from.arrow + event;
    if (m_recording != nullptr) m_recording->AddMeaning(text);
    if (m_form == TraceForm::None) return;
    tagSYSTEMTIME now{};
    GetLocalTime(&now);
    const std::string time =
        Format("%02d:%02d:%02d.%03d", now.wHour, now.wMinute, now.wSecond, now.wMilliseconds);
    if (m_form == TraceForm::Text) return Print(time + " " + text + "\n");
    Print(JsonObject().Add("time", time).Add("from", from.name).Add("event", event).GetText() + "\n");
}
