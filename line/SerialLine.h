#pragma once

#include "EcrComm/CommChannels/Linux/ComPort.h"
#include "Probe.h"

/** The register's port, as the settings name it, for a probe. */
class SerialLine : public ProbedLine {
public:
    /** Opens and locks the port; throws as ComPort::Open. */
    SerialLine();
    void Apply(const LineSettings& settings) override;
    void Send(const std::vector<byte>& bytes) override;
    std::vector<byte> Receive() override;
    std::optional<LineErrors> GetErrors() override;

    /** "DTR on, RTS on, CTS off, ..."; "not known" for a device that has none. */
    std::string DescribeModemLines() const;
    /** Whether the other side keeps everything from being sent. */
    bool IsHeldBack() const;

private:
    ComPort m_port;
};
