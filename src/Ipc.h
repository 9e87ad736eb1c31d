#pragma once

#include <string>

/**
 * The single-instance guard. Between processes it does nothing on this platform: no run sees another one
 * through it. Its operations and the order in which they are called are those of a real guard.
 */
class Ipc {
public:
    /** Registers this run's name. */
    static void SetCurrentInstanceName(const std::string& name);
    static bool IsAnotherInstanceActive();
    static bool IsCurrentInstanceActive();
    static void EnterSingleProcessBlock();
    static void LeaveSingleProcessBlock();
    static bool IsWatchDogRunning();
    static void StartCurrentInstanceWatchDog();
    static void StopCurrentInstanceWatchDog();
    /** Asks other runs to let go of the ECR. */
    static void InterruptOtherInstances();
    /** How a run answers that: it closes its link to the ECR if it has one. */
    static void WatchDogInterruptCallback(void*);

    static std::string currentInstanceName;  // empty until it is set
};

/** "Global\ZEL.TAVO", and the serial device's name behind a full stop if there is one. */
std::string GetCurrentInstanceName();

/** Runs the guard unless "SkipInstanceChecking" is set. Another run is met later, where
 * ComPort opens the port. */
void CheckOtherTAVOInstances();
