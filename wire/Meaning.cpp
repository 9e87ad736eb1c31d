#include "Meaning.h"

#include <iterator>

#include "EcrComm/EcrComm.h"
#include "Format.h"
#include "Text/RecordText.h"

namespace {

constexpr const char* answerNames[] = {
    "ok",   "unknown command", "busy",          "bad frame",     "bad data",
    "wait", "command failed",  "not activated", "password wrong"};

const char* NameOf(byte action) {
    switch (action) {
        case Action_Read: return "read";
        case Action_Write: return "write";
        case Action_Clear: return "clear";
        case Action_Init: return "initialise";
        case Action_Delete: return "delete from";
        default: return "unknown action on";
    }
}

}  // namespace

std::string NameFrame(const FrameVersion& version, byte seqNo) {
    return Format("frame v%d", version.number) + (version.isNumbered ? Format(" #%d", seqNo) : "");
}

std::string DescribeRequest(byte section, byte action) {
    return Format("request: %s section %d", NameOf(action), section);
}

std::string DescribeAnswer(byte code, bool isToRecord) {
    if (isToRecord && code == ResponseCode_Busy) return "answer: cannot be updated";
    return std::string("answer: ") + (code < std::size(answerNames) ? answerNames[code] : "?");
}

std::string DescribeRecord(const Record& record) {
    return record.empty() ? "end of data" : "record: " + DescribeFields(record);
}

std::string DescribeCommand(byte command, const Record& fields) {
    if (fields.empty() && command == fiscalReadStatus) return "request: read ECR status";
    if (fields.empty() && command == fiscalReadEftStatus) return "request: read EFT status";
    return Format("command %d: ", command) + DescribeFields(fields);
}
