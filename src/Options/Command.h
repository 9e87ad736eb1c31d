#pragma once

/** The one command that a run executes. */
enum Command {
    Command_Read = 0,
    Command_Send = 1,
    Command_Delete = 2,
    Command_Clear = 3,
    Command_ReadAndClear = 4,
    Command_ClearAndSend = 5,
    Command_Init = 6,
    Command_ExecuteFiscal = 7,
    Command_ReadFiscalStatus = 8,
    Command_ReadEftStatus = 9,
    Command_RunServer = 10,
    Command_ExecuteServer = 11
};
