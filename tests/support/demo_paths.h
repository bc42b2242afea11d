// demo_paths.h - object paths of the demo classes that request tests build again and again.
#ifndef CMPI_TEST_SUPPORT_DEMO_PATHS_H
#define CMPI_TEST_SUPPORT_DEMO_PATHS_H

#include <cmpiinterface.h>
#include <cmpimacs.h>

namespace cmpitest {

// root/cimv2:Demo_System.Name="bmc0" (caller-owned).
inline CMPIObjectPath *system_path() {
  CMPIObjectPath *path = makeNewObjectPath("root/cimv2", "Demo_System", nullptr);
  CMAddKey(path, "Name", "bmc0", CMPI_chars);
  return path;
}

// root/cimv2:Demo_Fan.DeviceID="fan0",System=<Demo_System.Name="bmc0">: a string key and a
// reference key (caller-owned).
inline CMPIObjectPath *fan_path() {
  CMPIObjectPath *path = makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr);
  CMAddKey(path, "DeviceID", "fan0", CMPI_chars);
  CMPIObjectPath *system = system_path();
  CMAddKey(path, "System", &system, CMPI_ref);
  CMRelease(system);
  return path;
}

}  // namespace cmpitest

#endif  // CMPI_TEST_SUPPORT_DEMO_PATHS_H
