#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Byte.h"
#include "EcrComm/Protocols.h"
#include "FiscalPrinter.h"
#include "Options.h"
#include "Sections.h"

/** An application frame with what it means, for the trace. */
struct Message {
    std::vector<byte> frame;
    std::string meaning;
};

/** What the register does: takes application frames and answers them; knows nothing of the line below. */
class Register {
public:
    explicit Register(const Options& options);

    /** Takes one frame, fills in what it means and returns what is to be sent in answer, in order. */
    std::vector<Message> Receive(Message& message);
    /** True while answers wait for a packet to be complete. */
    bool HoldsAnswers() const;
    /** Hands over the answers held back, whether the packet is full or not. */
    std::vector<Message> ReleaseAnswers();
    /** The other side is gone or has started anew. */
    void EndSession();

    Sections& GetSections() { return m_sections; }
    /** Keeps every record stored and every fiscal command executed in a list of the caller's, in their order.
     */
    void SetJournal(std::vector<Record>* journal) { m_journal = journal; }

private:
    enum class State { Idle, Writing, Deleting, GivenUp };

    std::vector<Message> ReceiveStandard(Message& message, const Record& data);
    std::vector<Message> ReceiveRequest(Message& message, const Record& data);
    std::vector<Message> ReceiveRecord(Message& message, const Record& data);
    std::vector<Message> ReceiveFiscal(Message& message, const Record& data);
    std::vector<Message> ReceiveAuthorisation(Message& message, const Record& data);
    std::vector<Message> ExecuteRequest(byte section, byte action);
    std::optional<byte> RefuseRequest() const;
    std::optional<byte> RefuseCommand(byte command) const;
    void ShowLogo() const;
    void Note(const Record& done) const;
    Message StoreRecord(const Record& record);
    Message Answer(byte code) const;
    Message BuildMessage(const Record& data, const std::string& meaning) const;

    const Options m_options;
    Sections m_sections;
    FiscalPrinter m_printer;
    ProtocolID m_protocol = Protocol_None;  // of the frame being answered
    State m_state = State::Idle;
    byte m_section = 0;
    int m_place = 0;         // of the next record in the transfer
    int m_recordsTaken = 0;  // since the request
    bool m_isAuthorised = false;
    bool m_takesShortRequest = false;  // after a request was refused for want of a password
    std::vector<Message> m_heldAnswers;
    std::vector<Record>* m_journal = nullptr;
};
