#pragma once

/** Built-in defaults of the settings and sizes of the buffers; docs/settings.md. */

inline constexpr int fileIoBufferSize = 1024;
inline constexpr int commIoBufferSize = 1024;
inline constexpr int defaultComInBufSize = 512;
inline constexpr const char* defaultComSettings = "baud=38400 parity=o data=8 stop=1 rts=hs dtr=hs octs=on";
inline constexpr int defaultComByteTimeMult = 100;
inline constexpr const char* defaultCsvDelimiter = ",";
inline constexpr int defaultLocalEcrCommMaxTime = 100;      // ms
inline constexpr int defaultNetworkEcrCommMaxTime = 10000;  // ms
inline constexpr int maxWaitTime = 25'599;  // ms; beyond, tenths of a second in a byte begin again at 0
inline constexpr int defaultEcrOperationMaxTime = 2000;  // ms
inline constexpr const char* defaultLogDirectory = "/var/log/tavo/";
inline constexpr int defaultRetryCount = 10;  // of a frame
inline constexpr int defaultResponseTimeoutMs = 1000;
inline constexpr const char* defaultEcrRecoveryTimeName = "EcrRecoveryTime";
inline constexpr const char* defaultEcrDisconnectTimeName = "EcrDisconnectTime";
inline constexpr int defaultEcrRecoveryTime = 1000;   // 10 ms units
inline constexpr int defaultEcrDisconnectTime = 200;  // 10 ms units
