#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Byte.h"
#include "Records/Record.h"

/** Number in a record's first field; false when it has none. */
bool GetRecordNumber(const Record& record, int64_t& number);

/**
 * The register's memory: records by section, held by their number, or by their place in the transfer when
 * they have none (raw records, a heading). With a folder each section is a file there, section-N.rec: for
 * each record its length in two bytes, low byte first, and its bytes.
 */
class Sections {
public:
    /** Loads what the folder holds; FileIoException for a file that cannot be read or is cut short. */
    explicit Sections(const std::string& directory);

    /**
     * Stores a record in place of the one with the same number. If the first record of a transfer (place 0)
     * has no number, all former ones without a number are removed.
     */
    void Put(byte section, const Record& record, int place);
    void Remove(byte section, const Record& record, int place);
    void Clear(byte section);
    /** Records without a number by place, then the others by number. */
    std::vector<Record> GetRecords(byte section) const;

    /** Writes the sections that have changed since the last Save. */
    void Save();

private:
    using Key = std::pair<bool, int64_t>;  // has a number; number or place

    static Key KeyOf(const Record& record, int place);
    std::string PathOf(byte section) const;
    void Load(byte section);

    std::string m_directory;
    std::map<byte, std::map<Key, Record>> m_sections;
    std::set<byte> m_changed;
};
