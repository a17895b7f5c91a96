#pragma once
#include "CoreWlanHelperBase.h"

namespace xpc {

// Before 10.10: interfaces through CWInterface's class operations.
class CoreWlanHelperMavericksPre : public CoreWlanHelperBase {
 public:
  using CoreWlanHelperBase::CoreWlanHelperBase;

  std::vector<std::string> getWirelessInterfaceNames() override;
  CoreWlanRef getInterfaceFromNetworkInterfaceData(std::string name) override;
};

}  // namespace xpc
