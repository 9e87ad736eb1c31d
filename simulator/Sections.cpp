#include "Sections.h"

#include "Decimal.h"
#include "Exceptions.h"
#include "Files/SourceFile.h"
#include "Format.h"
#include "Formatting/BinaryDataParser.h"
#include "Path.h"
#include "System/AtomicFile.h"
#include "System/FileStream.h"
#include "Tools.h"

bool GetRecordNumber(const Record& record, int64_t& number) {
    BinaryDataParser parser(record.data(), static_cast<uint16_t>(record.size()));
    Decimal value;
    if (!parser.GetNumber(value)) return false;
    number = value.ToInt64();
    return true;
}

Sections::Sections(const std::string& directory) : m_directory(directory) {
    if (m_directory.empty()) return;
    if (!Directory::Exists(m_directory) && !Directory::Create(m_directory))
        throw new SystemException("Unable to create folder '" + m_directory + "'");
    for (int section = 0; section <= 255; section++) Load(static_cast<byte>(section));
}

Sections::Key Sections::KeyOf(const Record& record, int place) {
    int64_t number = 0;
    if (GetRecordNumber(record, number)) return {true, number};
    return {false, place};
}

std::string Sections::PathOf(byte section) const {
    return Path::Combine(m_directory, Format("section-%d.rec", section));
}

void Sections::Load(byte section) {
    const std::string path = PathOf(section);
    if (!File::Exists(path)) return;
    SourceFile file;
    file.Open(path);
    byte length[2];
    off_t position = 0;
    for (int place = 0; file.Read(position, length, sizeof length) == sizeof length; place++) {
        Record record(static_cast<size_t>(length[0] | length[1] << 8));
        position += static_cast<off_t>(sizeof length);
        if (file.Read(position, record.data(), record.size()) != record.size()) ThrowReadError(path, 0);
        position += static_cast<off_t>(record.size());
        m_sections[section][KeyOf(record, place)] = record;
    }
}

void Sections::Put(byte section, const Record& record, int place) {
    std::map<Key, Record>& records = m_sections[section];
    const Key key = KeyOf(record, place);
    const auto firstNumbered = records.lower_bound({true, INT64_MIN});
    if (key == Key(false, 0)) records.erase(records.begin(), firstNumbered);
    records[key] = record;
    m_changed.insert(section);
}

void Sections::Remove(byte section, const Record& record, int place) {
    m_sections[section].erase(KeyOf(record, place));
    m_changed.insert(section);
}

void Sections::Clear(byte section) {
    m_sections[section].clear();
    m_changed.insert(section);
}

std::vector<Record> Sections::GetRecords(byte section) const {
    std::vector<Record> records;
    const auto entry = m_sections.find(section);
    if (entry == m_sections.end()) return records;
    for (const auto& [key, record] : entry->second) records.push_back(record);
    return records;
}

void Sections::Save() {
    if (m_directory.empty()) return;
    for (const byte section : m_changed) {
        std::string content;
        for (const Record& record : GetRecords(section)) {
            content += {static_cast<char>(record.size()), static_cast<char>(record.size() >> 8)};
            content.append(record.begin(), record.end());
        }
        ReplaceFile(PathOf(section), content);
    }
    m_changed.clear();
}
