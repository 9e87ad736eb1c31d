#include "Register.h"

#include "Defaults.h"
#include "EcrComm/EcrComm.h"
#include "EcrComm/FrameFormatter.h"
#include "Format.h"
#include "Formatting/BinaryDataFormatter.h"
#include "Meaning.h"
#include "System/Output.h"
#include "Text/RecordText.h"

namespace {

/** Bad data in a field, which counts from 1 here and from 0 on the wire. */
Record BadFieldData(int field) {
    byte data[16] = {ResponseCode_BadData};
    BinaryDataFormatter formatter(data + 1, sizeof data - 1);
    formatter.AddNumber(Decimal(field - 1, 0));
    return {data, data + 1 + formatter.GetLength()};
}

}  // namespace

Register::Register(const Options& options) : m_options(options), m_sections(options.dataDirectory) {}

Message Register::BuildMessage(const Record& data, const std::string& meaning) const {
    byte frame[commIoBufferSize];
    const uint16_t length =
        FrameFormatter(m_protocol)
            .BuildFrame(frame, sizeof frame, data.data(), static_cast<uint16_t>(data.size()));
    return {{frame, frame + length}, meaning};
}

Message Register::Answer(byte code) const { return BuildMessage({code}, DescribeAnswer(code)); }

std::vector<Message> Register::Receive(Message& message) {
    const std::vector<byte>& frame = message.frame;
    constexpr size_t headerSize = FrameFormatter::headerSize;
    if (frame.size() < headerSize ||
        FrameFormatter::GetDataLength(frame.data()) + headerSize != frame.size()) {
        message.meaning = "no application frame, ignored";
        return {};
    }
    const Record data(frame.begin() + headerSize, frame.end());
    m_protocol = static_cast<ProtocolID>(frame[0]);
    if (m_protocol == GetProtocolIDInSet(Protocol_SessionAuth, m_options.protocolSet))
        return ReceiveAuthorisation(message, data);
    if (m_protocol == GetProtocolIDInSet(Protocol_Standard, m_options.protocolSet))
        return ReceiveStandard(message, data);
    if (m_protocol == GetProtocolIDInSet(Protocol_Fiscal, m_options.protocolSet))
        return ReceiveFiscal(message, data);
    message.meaning = Format("protocol %d is not in set %d, ignored", m_protocol, m_options.protocolSet);
    return {};
}

std::vector<Message> Register::ReceiveAuthorisation(Message& message, const Record& data) {
    message.meaning = authorisationMeaning;
    const std::string password(data.begin() + (data.empty() ? 0 : 1), data.end());
    m_isAuthorised = !data.empty() && data[0] == AuthType_Password &&
                     (m_options.password.empty() || password == m_options.password);
    return {Answer(m_isAuthorised ? ResponseCode_OK : ResponseCode_AuthFailed)};
}

std::vector<Message> Register::ReceiveStandard(Message& message, const Record& data) {
    if (m_state == State::Idle) return ReceiveRequest(message, data);
    return ReceiveRecord(message, data);
}

std::optional<byte> Register::RefuseRequest() const {
    if (m_options.isNotActivated) return ResponseCode_NotActivated;
    if (m_options.isBusy) return ResponseCode_Busy;
    if (!m_options.password.empty() && !m_isAuthorised) return ResponseCode_BadFrame;
    return std::nullopt;
}

std::vector<Message> Register::ReceiveRequest(Message& message, const Record& data) {
    const bool isFull = data.size() == 3 && data[2] == standardRequestVersion;
    const bool isShort = data.size() == 2 && m_takesShortRequest;
    if (!isFull && !isShort) {
        message.meaning = data.empty() ? "end of data outside a transfer" : "no request";
        if (data.empty()) return {};
        return {Answer(ResponseCode_UnknownCommand)};
    }
    message.meaning = DescribeRequest(data[0], data[1]);
    const std::optional<byte> refusal = RefuseRequest();
    m_takesShortRequest = refusal == ResponseCode_BadFrame;
    if (refusal) return {Answer(*refusal)};
    return ExecuteRequest(data[0], data[1]);
}

std::vector<Message> Register::ExecuteRequest(byte section, byte action) {
    std::vector<Message> answers{Answer(ResponseCode_OK)};
    switch (action) {
        case Action_Read:
            for (const Record& record : m_sections.GetRecords(section))
                answers.push_back(BuildMessage(record, DescribeRecord(record)));
            answers.push_back(BuildMessage({}, DescribeRecord({})));
            break;
        case Action_Clear:
        case Action_Init:
            m_sections.Clear(section);
            m_sections.Save();
            answers.insert(answers.end(), static_cast<size_t>(m_options.waits), Answer(ResponseCode_Wait));
            answers.push_back(Answer(ResponseCode_OK));
            break;
        case Action_Write:
        case Action_Delete:
            // a transfer that was given up goes on where it was
            if (m_section != section) m_place = 0;
            m_state = action == Action_Write ? State::Writing : State::Deleting;
            m_section = section;
            m_recordsTaken = 0;
            break;
        default: return {Answer(ResponseCode_UnknownCommand)};
    }
    return answers;
}

std::optional<byte> Register::RefuseCommand(byte command) const {
    if (m_options.isNotActivated) return ResponseCode_NotActivated;
    if (m_options.isBusy) return ResponseCode_Busy;
    if (!m_options.password.empty() && !m_isAuthorised) return ResponseCode_AuthFailed;
    const auto refusal = m_options.refusals.find(command);
    return refusal == m_options.refusals.end() ? std::nullopt : std::optional(refusal->second);
}

std::vector<Message> Register::ReceiveFiscal(Message& message, const Record& data) {
    if (data.empty()) {
        message.meaning = "empty fiscal command, ignored";
        return {};
    }
    const byte command = data[0];
    const Record fields(data.begin() + 1, data.end());
    const std::optional<byte> refusal = RefuseCommand(command);
    const bool isStatus = fields.empty() && (command == fiscalReadStatus || command == fiscalReadEftStatus);
    if (isStatus) {
        message.meaning = DescribeCommand(command, fields);
        if (refusal) return {Answer(*refusal)};
        Record status = command == fiscalReadStatus ? m_printer.GetStatus() : m_printer.GetEftStatus();
        const std::string text = DescribeFields(status);
        status.insert(status.begin(), ResponseCode_OK);
        return {BuildMessage(status, statusMeaning + text)};
    }
    std::vector<std::string> paper;
    const byte code = refusal ? *refusal : m_printer.Execute(command, fields, paper);
    if (code == ResponseCode_OK) Note(data);
    message.meaning = DescribeCommand(command, fields);
    for (const std::string& line : paper) message.meaning += "\n    | " + Printable(line);
    std::vector<Message> answers(static_cast<size_t>(m_options.fiscalWaits), Answer(ResponseCode_Wait));
    answers.push_back(Answer(code));
    return answers;
}

void Register::ShowLogo() const {
    const std::optional<std::string> picture = DrawPicture(m_sections.GetRecords(m_section));
    if (m_options.isLogoShown && m_state == State::Writing && picture) Print(*picture);
}

std::vector<Message> Register::ReceiveRecord(Message& message, const Record& data) {
    message.meaning = DescribeRecord(data);
    if (m_state == State::GivenUp) {
        m_state = State::Idle;
        if (data.empty()) return {};
        return {Answer(ResponseCode_UnknownCommand)};
    }
    if (data.empty()) {
        m_sections.Save();
        ShowLogo();
        m_state = State::Idle;
        m_place = 0;
        return ReleaseAnswers();
    }
    m_heldAnswers.push_back(StoreRecord(data));
    if (++m_recordsTaken == m_options.giveUpAfter) m_state = State::GivenUp;
    const bool isPacketFull = m_heldAnswers.size() >= static_cast<size_t>(m_options.recordsInPacket);
    return isPacketFull || m_state == State::GivenUp ? ReleaseAnswers() : std::vector<Message>();
}

void Register::Note(const Record& done) const {
    if (m_journal != nullptr) m_journal->push_back(done);
}

Message Register::StoreRecord(const Record& record) {
    if (!TextOf(record)) return Answer(ResponseCode_BadData);
    int64_t number = 0;
    if (GetRecordNumber(record, number)) {
        const auto reject = m_options.rejects.find(number);
        if (reject != m_options.rejects.end() && reject->second > 0)
            return BuildMessage(BadFieldData(reject->second), DescribeAnswer(ResponseCode_BadData) +
                                                                  Format(" in field %d", reject->second));
        if (reject != m_options.rejects.end()) {
            Message answer = Answer(ResponseCode_Busy);
            answer.meaning = DescribeAnswer(ResponseCode_Busy, true);
            return answer;
        }
    }
    Note(record);
    if (m_state == State::Writing)
        m_sections.Put(m_section, record, m_place++);
    else
        m_sections.Remove(m_section, record, m_place++);
    return Answer(ResponseCode_OK);
}

bool Register::HoldsAnswers() const { return !m_heldAnswers.empty(); }

std::vector<Message> Register::ReleaseAnswers() {
    std::vector<Message> answers;
    answers.swap(m_heldAnswers);
    return answers;
}

void Register::EndSession() {
    m_sections.Save();
    m_state = State::Idle;
    m_place = 0;
    m_isAuthorised = m_takesShortRequest = false;
    m_heldAnswers.clear();
}
