#pragma once

/** Kinds of link to the ECR; "TC" is transport control. */
enum CommChannelType : int {
    CommChannel_SerialPort = 0,
    CommChannel_SerialPortWithTC = 1,
    CommChannel_Ethernet = 2,
    CommChannel_EthernetWithTC = 3
};
