/*
 * lifetime_provider.c - instance providers for the end-to-end tests of the daemon's workers and
 * their limits. One source, built once per behaviour:
 *
 *   LIFETIME_PROVIDER  the provider name; the factory is <name>_Create_InstanceMI
 *   LIFETIME_MODE      what enumerateInstances does:
 *     MODE_COUNTER  returns one instance "Id" = "count" with "Count" (how often this loaded copy
 *                   of the provider has been called, uint32), "Pid" (the serving process,
 *                   uint32) and "Created" (how many MIs this loaded copy has made, uint32)
 *     MODE_HOG      allocates and touches 64 MiB blocks until 3 GiB are held, then returns one
 *                   instance; an allocation that fails is written through (so it crashes)
 *     MODE_SPIN     returns one instance, then spins the CPU, returning one more instance about
 *                   every half second, for 60 s
 *     MODE_FORK     starts a detached process (setsid, forked twice) that sleeps for 10 minutes,
 *                   returns one instance whose "Pid" is that process, then hangs
 *     MODE_SLOW     returns 10 instances, one every 200 ms, then completes
 *     MODE_LINGER   as MODE_COUNTER, but its cleanup takes a second
 *     MODE_BURST    returns 3 instances at once, then waits 2 s before it completes
 *     MODE_SCATTER  as MODE_COUNTER, after filling 8 MiB of the heap with 1 KiB blocks and freeing
 *                   them all but the last one made, which it keeps until its cleanup:
 *                   the heap cannot shrink from its top, so the 8 MiB stay resident until the
 *                   process hands the free pages back itself
 *   createInstance, modifyInstance and deleteInstance fail with CMPI_RC_ERR_NOT_SUPPORTED and a
 *   message of 20,000 characters ("refused: " followed by 'x's), longer than any frame buffer.
 */
#include <cmpimacs.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#define MODE_COUNTER 1
#define MODE_HOG 2
#define MODE_SPIN 3
#define MODE_FORK 4
#define MODE_SLOW 5
#define MODE_LINGER 6
#define MODE_BURST 7
#define MODE_SCATTER 8

#define EXPORTED __attribute__((visibility("default")))
#define JOIN2(a, b) a##b
#define JOIN(a, b) JOIN2(a, b)

static const CMPIBroker *broker_;
static CMPIUint32 calls_;
static CMPIUint32 created_;

static CMPIStatus ok_status(void) {
  CMPIStatus st = {CMPI_RC_OK, NULL};
  return st;
}

static CMPIInstance *new_instance(const CMPIObjectPath *op, const char *id) {
  CMPIString *ns = CMGetNameSpace(op, NULL);
  CMPIString *cn = CMGetClassName(op, NULL);
  CMPIObjectPath *path = CMNewObjectPath(broker_, CMGetCharPtr(ns), CMGetCharPtr(cn), NULL);
  CMAddKey(path, "Id", id, CMPI_chars);
  CMPIInstance *inst = CMNewInstance(broker_, path, NULL);
  CMSetProperty(inst, "Id", id, CMPI_chars);
  CMRelease(path);
  CMRelease(ns);
  CMRelease(cn);
  return inst;
}

static void return_one(const CMPIResult *rslt, const CMPIObjectPath *op, const char *id,
                       CMPIUint32 pid) {
  CMPIInstance *inst = new_instance(op, id);
  CMPIUint32 count = calls_;
  CMPIUint32 made = created_;
  CMSetProperty(inst, "Count", &count, CMPI_uint32);
  CMSetProperty(inst, "Pid", &pid, CMPI_uint32);
  CMSetProperty(inst, "Created", &made, CMPI_uint32);
  CMReturnInstance(rslt, inst);
  CMRelease(inst);
}

__attribute__((unused)) static double seconds_now(void) {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return (double)ts.tv_sec + (double)ts.tv_nsec / 1e9;
}

#if LIFETIME_MODE == MODE_SCATTER
/* The blocks kept above the freed ones, one per call, freed by cleanup. */
struct pin {
  struct pin *next;
};
static struct pin *pins_;

/* The last block made is the one kept: it lies above the others. */
static void scatter(void) {
  enum { kBlocks = 8192, kBlockSize = 1024 };
  static void *blocks[kBlocks];
  for (int i = 0; i < kBlocks; ++i) {
    blocks[i] = malloc(kBlockSize);
    if (blocks[i] != NULL) memset(blocks[i], 1, kBlockSize);
  }
  struct pin *p = (struct pin *)blocks[kBlocks - 1];
  if (p != NULL) {
    p->next = pins_;
    pins_ = p;
  }
  for (int i = 0; i < kBlocks - 1; ++i) free(blocks[i]);
}
#endif

static CMPIStatus cleanup(CMPIInstanceMI *mi, const CMPIContext *ctx, CMPIBoolean terminating) {
  (void)mi;
  (void)ctx;
  (void)terminating;
#if LIFETIME_MODE == MODE_SCATTER
  while (pins_ != NULL) {
    struct pin *next = pins_->next;
    free(pins_);
    pins_ = next;
  }
#endif
#if LIFETIME_MODE == MODE_LINGER
  /* Like a provider whose library waits for its sampling thread when unloaded. */
  struct timespec second = {1, 0};
  nanosleep(&second, NULL);
#endif
  return ok_status();
}

static CMPIStatus not_supported(void) {
  CMPIStatus st = {CMPI_RC_ERR_NOT_SUPPORTED, NULL};
  return st;
}

static CMPIStatus enum_names(CMPIInstanceMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                             const CMPIObjectPath *op) {
  (void)mi;
  (void)ctx;
  (void)rslt;
  (void)op;
  return not_supported();
}

static CMPIStatus enum_instances(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                 const CMPIResult *rslt, const CMPIObjectPath *op,
                                 const char **properties) {
  (void)mi;
  (void)ctx;
  (void)properties;
  ++calls_;
  CMPIUint32 self = (CMPIUint32)getpid();
  (void)self;
#if LIFETIME_MODE == MODE_COUNTER || LIFETIME_MODE == MODE_LINGER
  return_one(rslt, op, "count", self);
#elif LIFETIME_MODE == MODE_SCATTER
  scatter();
  return_one(rslt, op, "count", self);
#elif LIFETIME_MODE == MODE_HOG
  const size_t block = 64u << 20;
  for (int i = 0; i < 48; ++i) {
    char *p = (char *)malloc(block);
    memset(p, 1, block); /* a failed allocation crashes here, as such providers do */
  }
  return_one(rslt, op, "hog", self);
#elif LIFETIME_MODE == MODE_SPIN
  return_one(rslt, op, "spin0", self);
  double start = seconds_now();
  double last = start;
  volatile unsigned long sink = 0;
  int n = 1;
  while (seconds_now() - start < 60.0) {
    for (int i = 0; i < 100000; ++i) sink += (unsigned long)i;
    if (seconds_now() - last >= 0.5) {
      char id[32];
      snprintf(id, sizeof id, "spin%d", n++);
      return_one(rslt, op, id, self);
      last = seconds_now();
    }
  }
#elif LIFETIME_MODE == MODE_FORK
  int fds[2];
  if (pipe(fds) != 0) return not_supported();
  pid_t child = fork();
  if (child == 0) {
    setsid();
    pid_t grandchild = fork();
    if (grandchild == 0) {
      close(fds[0]);
      close(fds[1]);
      sleep(600);
      _exit(0);
    }
    CMPIUint32 gp = (CMPIUint32)grandchild;
    ssize_t w = write(fds[1], &gp, sizeof gp);
    _exit(w == (ssize_t)sizeof gp ? 0 : 1);
  }
  close(fds[1]);
  CMPIUint32 detached = 0;
  ssize_t r = read(fds[0], &detached, sizeof detached);
  close(fds[0]);
  waitpid(child, NULL, 0);
  if (r != (ssize_t)sizeof detached) return not_supported();
  return_one(rslt, op, "forked", detached);
  for (;;) pause();
#elif LIFETIME_MODE == MODE_SLOW
  for (int i = 0; i < 10; ++i) {
    char id[32];
    snprintf(id, sizeof id, "slow%d", i);
    return_one(rslt, op, id, self);
    usleep(200 * 1000);
  }
#elif LIFETIME_MODE == MODE_BURST
  return_one(rslt, op, "burst0", self);
  return_one(rslt, op, "burst1", self);
  return_one(rslt, op, "burst2", self);
  sleep(2);
#endif
  CMReturnDone(rslt);
  return ok_status();
}

static CMPIStatus get_instance(CMPIInstanceMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                               const CMPIObjectPath *op, const char **properties) {
  return enum_instances(mi, ctx, rslt, op, properties);
}

static CMPIStatus create_instance(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                  const CMPIResult *rslt, const CMPIObjectPath *op,
                                  const CMPIInstance *inst) {
  (void)mi;
  (void)ctx;
  (void)rslt;
  (void)op;
  (void)inst;
  static char message[20001];
  memset(message, 'x', 20000);
  memcpy(message, "refused: ", 9);
  message[20000] = '\0';
  CMReturnWithChars(broker_, CMPI_RC_ERR_NOT_SUPPORTED, message);
}

static CMPIStatus modify_instance(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                  const CMPIResult *rslt, const CMPIObjectPath *op,
                                  const CMPIInstance *inst, const char **properties) {
  (void)properties;
  return create_instance(mi, ctx, rslt, op, inst);
}

static CMPIStatus delete_instance(CMPIInstanceMI *mi, const CMPIContext *ctx,
                                  const CMPIResult *rslt, const CMPIObjectPath *op) {
  return create_instance(mi, ctx, rslt, op, NULL);
}

static CMPIStatus exec_query(CMPIInstanceMI *mi, const CMPIContext *ctx, const CMPIResult *rslt,
                             const CMPIObjectPath *op, const char *query, const char *lang) {
  (void)mi;
  (void)ctx;
  (void)rslt;
  (void)op;
  (void)query;
  (void)lang;
  return not_supported();
}

static CMPIInstanceMIFT instance_ft = {
    100,          100,           "lifetime",      cleanup,         enum_names, enum_instances,
    get_instance, create_instance, modify_instance, delete_instance, exec_query,
};

EXPORTED CMPIInstanceMI *JOIN(LIFETIME_PROVIDER, _Create_InstanceMI)(const CMPIBroker *broker,
                                                                      const CMPIContext *ctx,
                                                                      CMPIStatus *rc) {
  static CMPIInstanceMI mi = {NULL, &instance_ft};
  (void)ctx;
  broker_ = broker;
  ++created_;
  if (rc != NULL) *rc = ok_status();
  return &mi;
}
