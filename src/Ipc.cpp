#include "Ipc.h"

#include "AppConfig.h"
#include "EcrComm/EcrComm.h"
#include "Exceptions.h"

namespace {

constexpr const char* InstanceNameCommon = "Global\\ZEL.TAVO";

}  // namespace

std::string Ipc::currentInstanceName;

void Ipc::SetCurrentInstanceName(const std::string& name) { currentInstanceName = name; }

bool Ipc::IsAnotherInstanceActive() { return false; }

bool Ipc::IsCurrentInstanceActive() { return false; }

void Ipc::EnterSingleProcessBlock() {}

void Ipc::LeaveSingleProcessBlock() {}

bool Ipc::IsWatchDogRunning() { return false; }

void Ipc::StartCurrentInstanceWatchDog() {}

void Ipc::StopCurrentInstanceWatchDog() {}

void Ipc::InterruptOtherInstances() {}

void Ipc::WatchDogInterruptCallback(void*) {
    if (IsEcrConnected()) DisconnectFromEcr();
}

std::string GetCurrentInstanceName() {
    const std::string tty = AppConfig::Get(settings::tty);
    return tty.empty() ? InstanceNameCommon : InstanceNameCommon + ("." + tty);
}

void CheckOtherTAVOInstances() {
    if (AppConfig::Get(settings::skipInstanceChecking) != 0) return;
    Ipc::SetCurrentInstanceName(GetCurrentInstanceName());
    if (Ipc::IsAnotherInstanceActive())
        throw new ApplicationException("Another application is working now with ECR",
                                       ReturnCode_EcrPortLocked);
    Ipc::EnterSingleProcessBlock();
    Ipc::InterruptOtherInstances();
}
