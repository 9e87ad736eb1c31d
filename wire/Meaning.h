#pragma once

#include <string>

#include "Byte.h"
#include "EcrComm/CommChannels/FrameVersion.h"
#include "Records/Record.h"

/** What the frames of a session mean, in words for a trace; docs/protocol.md, "Session". */

inline constexpr const char* authorisationMeaning = "authorisation";
inline constexpr const char* statusMeaning = "status: ";

/** "frame v3 #32", and "frame v1" in a version without numbers. */
std::string NameFrame(const FrameVersion& version, byte seqNo);
/** "request: read section 3" */
std::string DescribeRequest(byte section, byte action);
/** "answer: busy"; to a record the same code says that it "cannot be updated". */
std::string DescribeAnswer(byte code, bool isToRecord = false);
/** "record: number 1, text "a"", or "end of data". */
std::string DescribeRecord(const Record& record);
/** "command 12: text "a"", or "request: read ECR status". */
std::string DescribeCommand(byte command, const Record& fields);
