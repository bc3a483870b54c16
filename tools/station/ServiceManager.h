/// @file
/// Messages to the service manager that started the service, such as systemd.
#ifndef TAVIK_STATION_SERVICE_MANAGER_H
#define TAVIK_STATION_SERVICE_MANAGER_H

#include <string_view>

namespace tavik::station {

/// Sends the state of the service in the protocol of sd_notify(3), such as "READY=1". Without a service manager, does
/// nothing.
void notifyServiceManager(std::string_view state);

}  // namespace tavik::station

#endif
