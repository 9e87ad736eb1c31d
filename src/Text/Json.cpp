#include "Text/Json.h"

#include <algorithm>

#include "Byte.h"
#include "Format.h"
#include "Tools.h"

std::string ToJson(const std::string& text) {
    std::string json = "\"";
    for (size_t i = 0; i < text.size();) {
        const size_t length = Utf8Length(text, i);
        if (text[i] == '"' || text[i] == '\\')
            json += {'\\', text[i]};
        else if (length == 0 || ControlLength(text, i) > 0)
            json += Format("\\u%04x", static_cast<byte>(text[length == 2 ? i + 1 : i]));
        else
            json.append(text, i, length);
        i += std::max<size_t>(length, 1);
    }
    return json + "\"";
}

std::string JsonArray(const std::vector<std::string>& values) {
    std::string json;
    for (const std::string& value : values) json += (json.empty() ? "" : ",") + value;
    return "[" + json + "]";
}

std::string JsonArrayOfTexts(const std::vector<std::string>& texts) {
    std::vector<std::string> values;
    values.reserve(texts.size());
    for (const std::string& text : texts) values.push_back(ToJson(text));
    return JsonArray(values);
}

JsonObject& JsonObject::AddJson(const char* name, const std::string& json) {
    m_members += (m_members.empty() ? "" : ",") + ToJson(name) + ":" + json;
    return *this;
}
