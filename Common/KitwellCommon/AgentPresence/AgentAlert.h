#pragma once

#include "KitwellCommon/Export.h"
#include "KitwellCommon/Telemetry/CEPInfo.h"
#include "KitwellPlatform/Interface/Alert.h"

namespace kitwell {

// Asks whether to launch the agent, which the calling tool needs: first button "Launch Corvalen Kitwell"
// (kAlertFirstButtonReturn), second "Quit" (kAlertSecondButtonReturn), in the user's language. Main thread.
class KITWELL_API AgentAlert : public platform::Alert, public CEPInfoHolder {
public:
    AgentAlert();
};

} // namespace kitwell
