#include "Finding.h"

#include "Format.h"
#include "Text/Json.h"

std::string ToText(const Finding& finding) {
    std::string place;
    const struct {
        const char* name;
        int number;
    } parts[] = {{"line", finding.line}, {"field", finding.field}, {"column", finding.column}};
    for (const auto& part : parts)
        if (part.number > 0) place += (place.empty() ? "" : ", ") + Format("%s %d", part.name, part.number);
    return (finding.isBad ? "" : "warning: ") + place + (place.empty() ? "" : ": ") + finding.cause;
}

std::string ToJson(const Finding& finding) { return ToJson(finding, finding.isBad ? "error" : "warning"); }

std::string ToJson(const Finding& finding, const char* severity) {
    JsonObject object;
    object.Add("severity", severity);
    if (finding.line > 0) object.Add("line", finding.line);
    if (finding.field > 0) object.Add("field", finding.field);
    if (finding.column > 0) object.Add("column", finding.column);
    return object.Add("cause", finding.cause).GetText();
}
