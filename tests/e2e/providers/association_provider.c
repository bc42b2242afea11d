/*
 * association_provider.c - providers that behave like real association providers: they ask the
 * broker for the instances at both ends instead of knowing them. One source, built twice:
 *
 *   ASSOC_MODE MODE_ENDS   provider "TestEnds", an instance provider for Test_Rack (key Name:
 *                          "r1", "r2") and Test_Disk (a Test_Device; key Id: "d1" and "d2" in
 *                          rack r1, "d3" in rack r2; properties Kind = "disk", Rack, and Uid,
 *                          the serving process's user id). getInstance of anything else fails
 *                          with CMPI_RC_ERR_NOT_FOUND and the message "no such rack <name>" or
 *                          "no such disk <id>".
 *   ASSOC_MODE MODE_LINKS  provider "TestLinks", the association Test_RackDevice (references
 *                          Rack to a Test_Rack, Device to a Test_Device) as association and
 *                          method MI:
 *     - from a rack: CBEnumInstanceNames of Test_Device, CBGetInstance of each, and those whose
 *       Rack is the rack's Name are its associators;
 *     - from a device: CBGetInstance of the device, then of its rack;
 *     - a ResultClass filter is checked with CMClassPathIsA, so it works on superclasses;
 *     - a failing up-call ends the call with the up-call's code and "cannot read <what>: " plus
 *       the up-call's message (read without a NULL check, as real providers do);
 *     - method "Probe" (no arguments): out arguments SetPropertyMessage and IndicationMessage
 *       (the messages of a broker setProperty and deliverIndication), DiskIsDevice and
 *       DiskIsRack (uint32 1/0, CMClassPathIsA of a Test_Disk path).
 *   ASSOC_MODE MODE_POWER  provider "TestPower", a second association on racks: Test_RackPower
 *                          (Rack to a Test_Rack, Feed to a Test_Feed), association MI only.
 *                          Rack r1 is fed by Test_Feed "f1" (built here, no up-call); asking
 *                          for rack r2 fails with CMPI_RC_ERR_FAILED and "the power feed of
 *                          rack r2 cannot be reached".
 */
#include <cmpimacs.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#define MODE_ENDS 1
#define MODE_LINKS 2
#define MODE_POWER 3

#define EXPORTED __attribute__((visibility("default")))

static const CMPIBroker *broker_;

static CMPIStatus ok_status(void) {
  CMPIStatus st = {CMPI_RC_OK, NULL};
  return st;
}

static CMPIStatus status_with(CMPIrc rc, const char *text) {
  CMPIStatus st = {rc, CMNewString(broker_, text, NULL)};
  return st;
}

/* The text of a string the caller owns (released here), copied into buf. */
static const char *take_text(CMPIString *s, char *buf, size_t size) {
  buf[0] = '\0';
  if (s != NULL) {
    snprintf(buf, size, "%s", CMGetCharsPtr(s, NULL));
    CMRelease(s);
  }
  return buf;
}

static const char *key_of(const CMPIObjectPath *op, const char *name, char *buf, size_t size) {
  CMPIData d = CMGetKey(op, name, NULL);
  buf[0] = '\0';
  if (!(d.state & CMPI_nullValue) && d.type == CMPI_string && d.value.string != NULL) {
    take_text(d.value.string, buf, size);
  }
  return buf;
}

static CMPIObjectPath *path_of(const char *cls, const char *key, const char *value) {
  CMPIObjectPath *path = CMNewObjectPath(broker_, "root/cimv2", cls, NULL);
  CMAddKey(path, key, value, CMPI_chars);
  return path;
}

#if ASSOC_MODE == MODE_ENDS

static const char *const kDisks[][2] = {{"d1", "r1"}, {"d2", "r1"}, {"d3", "r2"}};
static const char *const kRacks[] = {"r1", "r2"};
#define DISK_COUNT 3
#define RACK_COUNT 2

static const char *class_of(const CMPIObjectPath *op, char *buf, size_t size) {
  return take_text(CMGetClassName(op, NULL), buf, size);
}

static CMPIInstance *disk_instance(int i) {
  CMPIObjectPath *path = path_of("Test_Disk", "Id", kDisks[i][0]);
  CMPIInstance *inst = CMNewInstance(broker_, path, NULL);
  CMPIUint32 uid = (CMPIUint32)geteuid();
  CMSetProperty(inst, "Id", kDisks[i][0], CMPI_chars);
  CMSetProperty(inst, "Kind", "disk", CMPI_chars);
  CMSetProperty(inst, "Rack", kDisks[i][1], CMPI_chars);
  CMSetProperty(inst, "Uid", &uid, CMPI_uint32);
  CMRelease(path);
  return inst;
}

static CMPIInstance *rack_instance(int i) {
  CMPIObjectPath *path = path_of("Test_Rack", "Name", kRacks[i]);
  CMPIInstance *inst = CMNewInstance(broker_, path, NULL);
  CMSetProperty(inst, "Name", kRacks[i], CMPI_chars);
  CMRelease(path);
  return inst;
}

static int is_disk_class(const CMPIObjectPath *op) {
  char cls[128];
  return strcasecmp(class_of(op, cls, sizeof cls), "Test_Disk") == 0;
}

static CMPIStatus cleanup(CMPIInstanceMI *mi, const CMPIContext *ctx, CMPIBoolean terminating) {
  (void)mi;
  (void)ctx;
  (void)terminating;
  return ok_status();
}

static CMPIStatus enumerate(const CMPIResult *rslt, const CMPIObjectPath *op, int names) {
  const int disks = is_disk_class(op);
  const int count = disks ? DISK_COUNT : RACK_COUNT;
  for (int i = 0; i < count; ++i) {
    CMPIInstance *inst = disks ? disk_instance(i) : rack_instance(i);
    if (names) {
      CMPIObjectPath *path = CMGetObjectPath(inst, NULL);
      CMReturnObjectPath(rslt, path);
      CMRelease(path);
    } else {
      CMReturnInstance(rslt, inst);
    }
    CMRelease(inst);
  }
  return ok_status();
}

static CMPIStatus enum_names(CMPIInstanceMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                             const CMPIObjectPath *op) {
  (void)mi;
  (void)ctx;
  return enumerate(rslt, op, 1);
}

static CMPIStatus enum_instances(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                 const CMPIResult *rslt, const CMPIObjectPath *op,
                                 const char **properties) {
  (void)mi;
  (void)ctx;
  (void)properties;
  return enumerate(rslt, op, 0);
}

static CMPIStatus get_instance(CMPIInstanceMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                               const CMPIObjectPath *op, const char **properties) {
  char key[128];
  char text[256];
  (void)mi;
  (void)ctx;
  (void)properties;
  if (is_disk_class(op)) {
    key_of(op, "Id", key, sizeof key);
    for (int i = 0; i < DISK_COUNT; ++i) {
      if (strcmp(kDisks[i][0], key) == 0) {
        CMPIInstance *inst = disk_instance(i);
        CMReturnInstance(rslt, inst);
        CMRelease(inst);
        return ok_status();
      }
    }
    snprintf(text, sizeof text, "no such disk %s", key);
  } else {
    key_of(op, "Name", key, sizeof key);
    for (int i = 0; i < RACK_COUNT; ++i) {
      if (strcmp(kRacks[i], key) == 0) {
        CMPIInstance *inst = rack_instance(i);
        CMReturnInstance(rslt, inst);
        CMRelease(inst);
        return ok_status();
      }
    }
    snprintf(text, sizeof text, "no such rack %s", key);
  }
  return status_with(CMPI_RC_ERR_NOT_FOUND, text);
}

static CMPIStatus not_supported(void) { return status_with(CMPI_RC_ERR_NOT_SUPPORTED, "read only"); }

static CMPIStatus create_instance(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                  const CMPIResult *rslt, const CMPIObjectPath *op,
                                  const CMPIInstance *inst) {
  (void)mi, (void)ctx, (void)rslt, (void)op, (void)inst;
  return not_supported();
}

static CMPIStatus modify_instance(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                  const CMPIResult *rslt, const CMPIObjectPath *op,
                                  const CMPIInstance *inst, const char **properties) {
  (void)mi, (void)ctx, (void)rslt, (void)op, (void)inst, (void)properties;
  return not_supported();
}

static CMPIStatus delete_instance(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                  const CMPIResult *rslt, const CMPIObjectPath *op) {
  (void)mi, (void)ctx, (void)rslt, (void)op;
  return not_supported();
}

static CMPIInstanceMIFT instance_ft = {
    100,          100,           "ends",          cleanup,         enum_names, enum_instances,
    get_instance, create_instance, modify_instance, delete_instance, NULL,
};

EXPORTED CMPIInstanceMI *TestEnds_Create_InstanceMI(const CMPIBroker *broker,
                                                    const CMPIContext *ctx, CMPIStatus *rc) {
  static CMPIInstanceMI mi = {NULL, &instance_ft};
  (void)ctx;
  broker_ = broker;
  if (rc != NULL) *rc = ok_status();
  return &mi;
}

#elif ASSOC_MODE == MODE_POWER

static CMPIStatus power_cleanup(CMPIAssociationMI *mi, const CMPIContext *ctx,
                                CMPIBoolean terminating) {
  (void)mi, (void)ctx, (void)terminating;
  return ok_status();
}

/* The feed of a rack path into the result: the Test_Feed or the Test_RackPower linking them. */
static CMPIStatus feed(const CMPIResult *rslt, const CMPIObjectPath *op, const char *filter,
                       int links, int names) {
  char key[128];
  char text[256];
  if (filter != NULL && strcasecmp(filter, "Test_RackPower") != 0) return ok_status();
  if (!CMClassPathIsA(broker_, op, "Test_Rack", NULL)) return ok_status();
  key_of(op, "Name", key, sizeof key);
  if (strcmp(key, "r1") != 0) {
    snprintf(text, sizeof text, "the power feed of rack %s cannot be reached", key);
    return status_with(CMPI_RC_ERR_FAILED, text);
  }
  CMPIObjectPath *feed_path = path_of("Test_Feed", "Id", "f1");
  CMPIObjectPath *result = feed_path;
  if (links) {
    result = CMNewObjectPath(broker_, "root/cimv2", "Test_RackPower", NULL);
    CMAddKey(result, "Rack", &op, CMPI_ref);
    CMAddKey(result, "Feed", &feed_path, CMPI_ref);
  }
  if (names) {
    CMReturnObjectPath(rslt, result);
  } else {
    CMPIInstance *inst = CMNewInstance(broker_, result, NULL);
    if (links) {
      CMSetProperty(inst, "Rack", &op, CMPI_ref);
      CMSetProperty(inst, "Feed", &feed_path, CMPI_ref);
    } else {
      CMSetProperty(inst, "Id", "f1", CMPI_chars);
    }
    CMReturnInstance(rslt, inst);
    CMRelease(inst);
  }
  if (result != feed_path) CMRelease(result);
  CMRelease(feed_path);
  return ok_status();
}

static CMPIStatus power_associators(CMPIAssociationMI *mi, const CMPIContext *ctx,
                                    const CMPIResult *rslt, const CMPIObjectPath *op,
                                    const char *assoc_class, const char *result_class,
                                    const char *role, const char *result_role,
                                    const char **properties) {
  (void)mi, (void)ctx, (void)result_class, (void)role, (void)result_role, (void)properties;
  return feed(rslt, op, assoc_class, 0, 0);
}

static CMPIStatus power_associator_names(CMPIAssociationMI *mi, const CMPIContext *ctx,
                                         const CMPIResult *rslt, const CMPIObjectPath *op,
                                         const char *assoc_class, const char *result_class,
                                         const char *role, const char *result_role) {
  (void)mi, (void)ctx, (void)result_class, (void)role, (void)result_role;
  return feed(rslt, op, assoc_class, 0, 1);
}

static CMPIStatus power_references(CMPIAssociationMI *mi, const CMPIContext *ctx,
                                   const CMPIResult *rslt, const CMPIObjectPath *op,
                                   const char *result_class, const char *role,
                                   const char **properties) {
  (void)mi, (void)ctx, (void)role, (void)properties;
  return feed(rslt, op, result_class, 1, 0);
}

static CMPIStatus power_reference_names(CMPIAssociationMI *mi, const CMPIContext *ctx,
                                        const CMPIResult *rslt, const CMPIObjectPath *op,
                                        const char *result_class, const char *role) {
  (void)mi, (void)ctx, (void)role;
  return feed(rslt, op, result_class, 1, 1);
}

static CMPIAssociationMIFT power_ft = {
    100, 100, "power", power_cleanup, power_associators, power_associator_names,
    power_references, power_reference_names,
};

EXPORTED CMPIAssociationMI *TestPower_Create_AssociationMI(const CMPIBroker *broker,
                                                          const CMPIContext *ctx,
                                                          CMPIStatus *rc) {
  static CMPIAssociationMI mi = {NULL, &power_ft};
  (void)ctx;
  broker_ = broker;
  if (rc != NULL) *rc = ok_status();
  return &mi;
}

#else /* MODE_LINKS */

/* An up-call failed: the caller's answer, with the up-call's message read as real code does. */
static CMPIStatus failed_upcall(CMPIStatus st, const char *what) {
  char text[512];
  snprintf(text, sizeof text, "cannot read %s: %s", what, CMGetCharsPtr(st.msg, NULL));
  return status_with(st.rc, text);
}

static int passes(const CMPIObjectPath *candidate, const char *result_class) {
  return result_class == NULL || CMClassPathIsA(broker_, candidate, result_class, NULL);
}

static void return_link(const CMPIResult *rslt, const CMPIObjectPath *rack,
                        const CMPIObjectPath *device, int names) {
  CMPIObjectPath *path = CMNewObjectPath(broker_, "root/cimv2", "Test_RackDevice", NULL);
  CMAddKey(path, "Rack", &rack, CMPI_ref);
  CMAddKey(path, "Device", &device, CMPI_ref);
  if (names) {
    CMReturnObjectPath(rslt, path);
  } else {
    CMPIInstance *inst = CMNewInstance(broker_, path, NULL);
    CMSetProperty(inst, "Rack", &rack, CMPI_ref);
    CMSetProperty(inst, "Device", &device, CMPI_ref);
    CMReturnInstance(rslt, inst);
    CMRelease(inst);
  }
  CMRelease(path);
}

/* What the broker returns is the broker's: nothing it hands out is released here. */
static CMPIStatus walk(const CMPIContext *ctx, const CMPIResult *rslt, const CMPIObjectPath *op,
                       const char *result_class, int links, int names) {
  CMPIStatus st = ok_status();
  char key[128];
  if (CMClassPathIsA(broker_, op, "Test_Rack", NULL)) {
    key_of(op, "Name", key, sizeof key);
    CMPIObjectPath *devices = CMNewObjectPath(broker_, "root/cimv2", "Test_Device", NULL);
    CMPIEnumeration *found = CBEnumInstanceNames(broker_, ctx, devices, &st);
    CMRelease(devices);
    if (found == NULL) return failed_upcall(st, "the devices");
    while (CMHasNext(found, NULL)) {
      CMPIObjectPath *device = CMGetNext(found, NULL).value.ref;
      CMPIInstance *inst = CBGetInstance(broker_, ctx, device, NULL, &st);
      if (inst == NULL) return failed_upcall(st, "a device");
      CMPIData rack = CMGetProperty(inst, "Rack", NULL);
      char rack_name[128];
      take_text(rack.value.string, rack_name, sizeof rack_name);
      if (strcmp(rack_name, key) != 0 || (!links && !passes(device, result_class))) continue;
      if (links) {
        return_link(rslt, op, device, names);
      } else if (names) {
        CMReturnObjectPath(rslt, device);
      } else {
        CMReturnInstance(rslt, inst);
      }
    }
    return ok_status();
  }
  if (CMClassPathIsA(broker_, op, "Test_Device", NULL)) {
    CMPIInstance *device = CBGetInstance(broker_, ctx, op, NULL, &st);
    if (device == NULL) return failed_upcall(st, "the device");
    CMPIData rack_name = CMGetProperty(device, "Rack", NULL);
    char name[128];
    take_text(rack_name.value.string, name, sizeof name);
    CMPIObjectPath *rack_path = path_of("Test_Rack", "Name", name);
    CMPIInstance *rack = CBGetInstance(broker_, ctx, rack_path, NULL, &st);
    if (rack == NULL) {
      CMRelease(rack_path);
      return failed_upcall(st, "the rack");
    }
    if (links) {
      return_link(rslt, rack_path, op, names);
    } else if (passes(rack_path, result_class)) {
      if (names) {
        CMReturnObjectPath(rslt, rack_path);
      } else {
        CMReturnInstance(rslt, rack);
      }
    }
    CMRelease(rack_path);
  }
  return ok_status();
}

static CMPIStatus assoc_cleanup(CMPIAssociationMI *mi, const CMPIContext *ctx,
                                CMPIBoolean terminating) {
  (void)mi, (void)ctx, (void)terminating;
  return ok_status();
}

/* Only Test_RackDevice is served: another association class named by the caller gets nothing. */
static int wrong_association(const char *assoc_class) {
  return assoc_class != NULL && strcasecmp(assoc_class, "Test_RackDevice") != 0;
}

static CMPIStatus associators(CMPIAssociationMI *mi, const CMPIContext *ctx,
                              const CMPIResult *rslt, const CMPIObjectPath *op,
                              const char *assoc_class, const char *result_class,
                              const char *role, const char *result_role,
                              const char **properties) {
  (void)mi, (void)role, (void)result_role, (void)properties;
  if (wrong_association(assoc_class)) return ok_status();
  return walk(ctx, rslt, op, result_class, 0, 0);
}

static CMPIStatus associator_names(CMPIAssociationMI *mi, const CMPIContext *ctx,
                                   const CMPIResult *rslt, const CMPIObjectPath *op,
                                   const char *assoc_class, const char *result_class,
                                   const char *role, const char *result_role) {
  (void)mi, (void)role, (void)result_role;
  if (wrong_association(assoc_class)) return ok_status();
  return walk(ctx, rslt, op, result_class, 0, 1);
}

static CMPIStatus references(CMPIAssociationMI *mi, const CMPIContext *ctx,
                             const CMPIResult *rslt, const CMPIObjectPath *op,
                             const char *result_class, const char *role,
                             const char **properties) {
  (void)mi, (void)role, (void)properties;
  if (wrong_association(result_class)) return ok_status();
  return walk(ctx, rslt, op, NULL, 1, 0);
}

static CMPIStatus reference_names(CMPIAssociationMI *mi, const CMPIContext *ctx,
                                  const CMPIResult *rslt, const CMPIObjectPath *op,
                                  const char *result_class, const char *role) {
  (void)mi, (void)role;
  if (wrong_association(result_class)) return ok_status();
  return walk(ctx, rslt, op, NULL, 1, 1);
}

static CMPIAssociationMIFT association_ft = {
    100, 100, "links", assoc_cleanup, associators, associator_names, references,
    reference_names,
};

EXPORTED CMPIAssociationMI *TestLinks_Create_AssociationMI(const CMPIBroker *broker,
                                                          const CMPIContext *ctx,
                                                          CMPIStatus *rc) {
  static CMPIAssociationMI mi = {NULL, &association_ft};
  (void)ctx;
  broker_ = broker;
  if (rc != NULL) *rc = ok_status();
  return &mi;
}

static CMPIStatus method_cleanup(CMPIMethodMI *mi, const CMPIContext *ctx,
                                 CMPIBoolean terminating) {
  (void)mi, (void)ctx, (void)terminating;
  return ok_status();
}

static CMPIStatus invoke_method(CMPIMethodMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                                const CMPIObjectPath *op, const char *method, const CMPIArgs *in,
                                CMPIArgs *out) {
  (void)mi, (void)in;
  if (strcmp(method, "Probe") != 0) {
    return status_with(CMPI_RC_ERR_METHOD_NOT_FOUND, method);
  }
  CMPIUint32 value = 5;
  CMPIStatus set = CBSetProperty(broker_, ctx, op, "Anything", &value, CMPI_uint32);
  CMAddArg(out, "SetPropertyMessage", CMGetCharsPtr(set.msg, NULL), CMPI_chars);
  CMPIStatus indication = CBDeliverIndication(broker_, ctx, "root/cimv2", NULL);
  CMAddArg(out, "IndicationMessage", CMGetCharsPtr(indication.msg, NULL), CMPI_chars);
  CMPIObjectPath *disk = path_of("Test_Disk", "Id", "d1");
  CMPIUint32 is_device = CMClassPathIsA(broker_, disk, "Test_Device", NULL) ? 1 : 0;
  CMPIUint32 is_rack = CMClassPathIsA(broker_, disk, "Test_Rack", NULL) ? 1 : 0;
  CMRelease(disk);
  CMAddArg(out, "DiskIsDevice", &is_device, CMPI_uint32);
  CMAddArg(out, "DiskIsRack", &is_rack, CMPI_uint32);
  CMPIUint32 zero = 0;
  CMReturnData(rslt, &zero, CMPI_uint32);
  return ok_status();
}

static CMPIMethodMIFT method_ft = {100, 100, "links", method_cleanup, invoke_method};

EXPORTED CMPIMethodMI *TestLinks_Create_MethodMI(const CMPIBroker *broker, const CMPIContext *ctx,
                                                CMPIStatus *rc) {
  static CMPIMethodMI mi = {NULL, &method_ft};
  (void)ctx;
  broker_ = broker;
  if (rc != NULL) *rc = ok_status();
  return &mi;
}

#endif
