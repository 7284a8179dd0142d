#pragma once

// The framework that every process of the suite loads: all public headers.

#include "KitwellCommon/AgentPresence/AgentAlert.h"
#include "KitwellCommon/AgentPresence/ToolRequirements.h"
#include "KitwellCommon/Auxiliary/CommonAuxiliary.h"
#include "KitwellCommon/Localization.h"
#include "KitwellCommon/Logging/KWLog.h"
#include "KitwellCommon/SharedState/AgentScheduler.h"
#include "KitwellCommon/SharedState/AppGroup.h"
#include "KitwellCommon/SharedState/SchedulerStore.h"
#include "KitwellCommon/SharedState/ToolPersistentDataLazyWriter.h"
#include "KitwellCommon/SharedState/ToolPersistentDataReader.h"
#include "KitwellCommon/SharedState/ToolScheduler.h"
#include "KitwellCommon/ToolDataProvider/SandboxAccess.h"
#include "KitwellCommon/ToolDataProvider/ToolDataAgentProvider.h"
#include "KitwellCommon/ToolDataProvider/ToolDataClientProvider.h"
#include "KitwellCommon/ToolDataProvider/ToolMessage.h"
