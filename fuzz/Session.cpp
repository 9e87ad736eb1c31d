// A whole command against a register that sends whatever the input holds.
//
// An input is: command; options; section; length of the file and the file; then what the register sends, in
// pieces with a length byte each. The options choose whether a piece is bytes on the line, the payload of a
// frame or the data of an application frame: most inputs would not get past the check bytes otherwise.
// Bits 0 and 1 of the options: piece; 2 and 3: file type; 4 and 5: version; 6: password; 7: packets.

#include "AppConfig.h"
#include "Commands.h"
#include "EcrComm/CommBase.h"
#include "EcrComm/CommChannel.h"
#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"
#include "EcrComm/CommChannels/PortWithTC.h"
#include "EcrComm/CommChannels/TcFrameBytes.h"
#include "FileErrors.h"
#include "Fuzz.h"

namespace {

enum Piece { Piece_OnTheLine, Piece_Payload, Piece_Data };

const Command commands[] = {Command_Read,         Command_Send,          Command_Delete,
                            Command_Clear,        Command_ReadAndClear,  Command_ClearAndSend,
                            Command_Init,         Command_ExecuteFiscal, Command_ReadFiscalStatus,
                            Command_ReadEftStatus};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Bytes input(data, data + size);
    const Command command = commands[TakeByte(input) % std::size(commands)];
    const byte options = TakeByte(input);
    const int piece = (options & 3) % 3;
    const int section = TakeByte(input);
    const std::string path = Scratch(Take(input, TakeByte(input)));
    const int version = 1 + (options >> 4 & 3) % 3;
    const char* types[] = {"", "CSV", "BMP", "RAW"};
    AppConfig::Clear();
    FileErrors::Reset();
    AppConfig::SetParameter("FileType", types[options >> 2 & 3], false);
    AppConfig::SetParameter("SerialProtocolVersion", std::to_string(version), false);
    AppConfig::SetParameter("SerialProtocolRetryCount", "2", false);
    AppConfig::SetParameter("Password", (options & 0x40) != 0 ? "1234" : "", false);
    AppConfig::SetParameter("RecordsInPacket", (options & 0x80) != 0 ? "3" : "1", false);

    byte seqNo = 32;
    MemoryChannel line;
    line.onWrite = [&](const Bytes& block) {
        if (block.size() > 1 && piece != Piece_OnTheLine) line.input.push_back(ACK);
    };
    line.onEmpty = [&] {
        Bytes bytes = Take(input, TakeByte(input));
        const auto length = static_cast<byte>(bytes.size());
        if (piece == Piece_Data) bytes.insert(bytes.begin(), {GetProtocol(), length, 0});
        if (piece != Piece_OnTheLine && !bytes.empty()) {
            bytes = BuildFrame(version, bytes, seqNo);
            seqNo = TcFrameSeqNo::Next(seqNo);
        }
        line.input.assign(bytes.begin(), bytes.end());
    };
    PortWithTC port(Lend(&line));
    SelectCommChannel(Lend(&port));
    const bool isFiscal = command >= Command_ExecuteFiscal;
    const std::unique_ptr<Exception> failure = Catch([&] {
        SetProtocol(GetProtocolIDBySet(isFiscal ? Protocol_Fiscal : Protocol_Standard));
        CommChannel_Open();
        isFiscal ? Execute_Fiscal(command, path) : Execute_Standard(command, section, path);
    });
    SelectCommChannel(Lend(nullptr));
    // the records of such short files fit a frame, so nothing that the register sends is an internal error
    Require(!failure || failure->GetReturnCode() != ReturnCode_InternalError,
            "no answer is an internal error");
    return 0;
}
