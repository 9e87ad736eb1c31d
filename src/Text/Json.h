#pragma once

#include <string>
#include <vector>

/** JSON text (RFC 8259), put together piece by piece. */

/** A string. Control characters, and bytes that are no UTF-8, become \u00NN, so that every reader takes it.
 */
std::string ToJson(const std::string& text);

/** An array of values that are JSON already. */
std::string JsonArray(const std::vector<std::string>& values);
std::string JsonArrayOfTexts(const std::vector<std::string>& texts);

/** An object; members stand in the order in which they were added. */
class JsonObject {
public:
    JsonObject& Add(const char* name, const std::string& text) { return AddJson(name, ToJson(text)); }
    JsonObject& Add(const char* name, long long number) { return AddJson(name, std::to_string(number)); }
    JsonObject& AddFlag(const char* name, bool value) { return AddJson(name, value ? "true" : "false"); }
    /** A value that is JSON already. */
    JsonObject& AddJson(const char* name, const std::string& json);
    std::string GetText() const { return "{" + m_members + "}"; }

private:
    std::string m_members;
};
