#pragma once
#include "CoreWlanHelperBase.h"

namespace xpc {

// From 10.10: interfaces through the shared CWWiFiClient.
class CoreWlanHelperYosemitePlus : public CoreWlanHelperBase {
 public:
  using CoreWlanHelperBase::CoreWlanHelperBase;

  std::vector<std::string> getWirelessInterfaceNames() override;
  CoreWlanRef getInterfaceFromNetworkInterfaceData(std::string name) override;
};

}  // namespace xpc
