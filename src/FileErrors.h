#pragma once

#include <string>
#include <vector>

/** A problem with a record. */
struct LineError {
    int line;   // from 1; 0 in a file without lines
    int field;  // from 1; 0 for none
    std::string cause;
};

/** Problems with single records of the current file: counted, and reported by line, without ending the run.
 */
class FileErrors {
public:
    static void AddDuplicateRecord(int lineNumber);
    static void AddEmptyRecord(int lineNumber);
    static void AddBadFormatRecord(int lineNumber);
    /** fieldNumber counts from 1; 0 when the ECR did not name a field. */
    static void AddBadDataRecord(int lineNumber, int fieldNumber);
    static void AddCanNotUpdateRecord(int lineNumber);

    static int GetDuplicateRecordCount();
    static int GetEmptyRecordCount();
    static int GetBadFormatRecordCount();
    /** Records refused as bad data and records that could not be stored. */
    static int GetRejectedByEcrRecordCount();

    /** All of them, in the order in which they were found; kept only once KeepLines has asked for it. */
    static const std::vector<LineError>& GetLines();
    static void KeepLines();

    static void Reset();
    /** Logs one line for each kind of problem that occurred. */
    static void Log();
    /** What Log writes, a line for each kind of problem. */
    static std::vector<std::string> GetSummaries();
};

/** Prints "Line ... - ..."; nothing for a line number of 0 or less (files without lines). */
void ShowMessage(const char* msg, int lineNumber);
