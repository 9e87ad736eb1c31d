// The INI file: any text is read, and settings behind it are found.

#include "AppConfig.h"
#include "Fuzz.h"
#include "IniFile.h"

namespace {

void Load(const Bytes& content) {
    AppConfig::Clear();
    AppConfig::SetParameter("ConfigFilePath", Scratch(content), false);
    AppConfig::SetParameter("ECR", "Fuzz", false);
    AppConfig::Initialize();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Bytes content(data, data + size);
    Load(content);
    AppConfig::GetDefaultEcrName();
    for (const char* section : {"", "Common", "ECR_Till1"})
        for (const char* key : {"TTY", "Password", ""}) {
            const std::string value = IniFile::GetString(section, key, "");
            Require(value.size() <= 255 && value.find_first_of("\r\n\f\x1a") == std::string::npos,
                    "a value is in one line of at most 255 characters");
        }

    if (std::find_if(content.begin(), content.end(), [](byte c) { return c == 0 || c == 26; }) !=
        content.end())
        return 0;  // these end the text
    const std::string settings = "\n[Common]\nMark=common\nOther = 7\r\n[ECR_Fuzz]\nMark =  own \n";
    content.insert(content.end(), settings.begin(), settings.end());
    Load(content);
    Require(AppConfig::GetParameter("Other", 0) == 7, "a setting of all registers is found");
    Require(AppConfig::GetParameter("Mark", "") == "own", "a register's own setting wins");
    return 0;
}
