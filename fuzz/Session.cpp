// A whole command against a register that sends whatever the input holds.
//
// An input is: command; options; section; length of the file and the file; then what the register sends, in
// pieces with a length byte each. The options choose whether a piece is bytes on the line, the payload of a
// frame or the data of an application frame: most inputs would not get past the check bytes otherwise.

#include "AppConfig.h"
#include "Commands.h"
#include "EcrComm/CommBase.h"
#include "EcrComm/CommChannel.h"
#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"
#include "EcrComm/CommChannels/PortWithTC.h"
#include "EcrComm/FrameFormatter.h"
#include "EcrComm/IoStatistics.h"
#include "FileErrors.h"
#include "FrameVersions.h"

namespace {

constexpr size_t lineBufferSize = 1024;
constexpr int fileTypes = 4;

enum class Piece { OnTheLine, Payload, Data };

const Command commands[] = {Command_Read,         Command_Send,          Command_Delete,
                            Command_Clear,        Command_ReadAndClear,  Command_ClearAndSend,
                            Command_Init,         Command_ExecuteFiscal, Command_ReadFiscalStatus,
                            Command_ReadEftStatus};

/** The register at the other end of the line. */
class ScriptedRegister {
public:
    ScriptedRegister(Input& input, Piece piece, int version)
        : m_input(input), m_piece(piece), m_version(version) {
        m_line.nextBurst = [this] { return NextBurst(); };
        m_line.onWrite = [this](const Bytes& block) { TakeBlock(block); };
    }
    ScriptedRegister(const ScriptedRegister&) = delete;
    ScriptedRegister& operator=(const ScriptedRegister&) = delete;

    BurstLine& Line() { return m_line; }

private:
    void TakeBlock(const Bytes& block) {
        const bool isAnswer = block.size() == 1 && (block[0] == ACK || block[0] == NAK);
        Require(isAnswer || IsFrame(block), "what is sent is an answer or a frame");
        if (!isAnswer && m_piece != Piece::OnTheLine) m_line.Append(ACK);
    }

    Bytes NextBurst() {
        if (m_input.IsEmpty()) return {};
        Bytes piece = m_input.Take(m_input.TakeByte());
        if (m_piece == Piece::OnTheLine) return piece;
        if (m_piece == Piece::Data) {
            const Bytes data = piece;
            piece.resize(data.size() + FrameFormatter::headerSize);
            FrameFormatter(GetProtocol())
                .BuildFrame(piece.data(), static_cast<uint16_t>(piece.size()), data.data(),
                            static_cast<uint16_t>(data.size()));
        }
        const byte seqNo = m_seqNo;
        if (!piece.empty()) m_seqNo = TcFrameSeqNo::Next(seqNo);
        return BuildFrame(m_version, piece, seqNo, lineBufferSize);
    }

    Input& m_input;
    Piece m_piece;
    int m_version;
    byte m_seqNo = 32;
    BurstLine m_line;
};

/** Bits 2 and 3 of the options: file type; 4 and 5: version; 6: password; 7: records in a packet. */
void Configure(byte options) {
    const char* types[fileTypes] = {"", "CSV", "BMP", "RAW"};
    AppConfig::Clear();
    FileErrors::Reset();
    IoStatistics::Reset();
    AppConfig::SetParameter("FileType", types[options >> 2 & 3], false);
    AppConfig::SetParameter("SerialProtocolVersion", std::to_string(1 + (options >> 4 & 3) % 3), false);
    AppConfig::SetParameter("SerialProtocolRetryCount", "2", false);
    if ((options & 0x40) != 0) AppConfig::SetParameter("Password", "1234", false);
    if ((options & 0x80) != 0) AppConfig::SetParameter("RecordsInPacket", "3", false);
}

/** Executes the command over the link that is selected; the exit status, also of a failure. */
int Execute(Command command, int section, const std::string& path) {
    const bool isFiscal = command >= Command_ExecuteFiscal;
    int status = ReturnCode_OK;
    const std::unique_ptr<Exception> failure = Catch([&] {
        SetProtocol(GetProtocolIDBySet(isFiscal ? Protocol_Fiscal : Protocol_Standard));
        CommChannel_Open();
        status = isFiscal ? Execute_Fiscal(command, path) : Execute_Standard(command, section, path);
    });
    return failure ? failure->GetReturnCode() : status;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    const Command command = commands[input.TakeByte() % std::size(commands)];
    const byte options = input.TakeByte();
    const int section = input.TakeByte();
    const ScratchFile file(input.Take(input.TakeByte()));
    Configure(options);

    ScriptedRegister ecr(input, static_cast<Piece>((options & 3) % 3),
                         AppConfig::GetParameter("SerialProtocolVersion", 0));
    PortWithTC port(ecr.Line().Lend());
    SelectCommChannel(ChannelOwner(&port, [](ICommChannel*) {}));
    const int status = Execute(command, section, file.Path());
    SelectCommChannel(ChannelOwner(nullptr, [](ICommChannel*) {}));
    // the records of such short files fit a frame, so nothing that the register sends is an internal error
    Require(status != ReturnCode_InternalError, "no answer is an internal error");
    return 0;
}
