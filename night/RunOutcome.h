#pragma once

#include <string>

#include "Database.h"

/** What the result of a run says, whether it has ended or was killed. */
struct RunOutcome {
    // without it the run did not begin: it writes its result before it asks the register
    bool isThere = false;
    bool isGood = false;       // it has ended with 0
    bool isCertain = false;    // no answer to a former request can have passed for one to its own
    std::string registerName;  // empty where it is not known
    int section = 0;
    std::string port;   // "/dev/ttyUSB0"
    std::string clear;  // "no", "requested" or "done"
    long long clearAfterMs = 0;
    long long records = 0;
    long long bytes = 0;  // of the file
    std::string told;     // its message, and its hint if it has one
    double seconds = 0;
    // of the line: frames both ways, and those that were lost, garbled or repeated
    long long frames = 0;
    long long lost = 0;
    long long garbage = 0;
    long long repeated = 0;
};

/** Of a result file; SQLite reads its JSON. One that is no result, or cannot be read, is not there. */
RunOutcome ReadOutcome(Database& database, const std::string& path);
