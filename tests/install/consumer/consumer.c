/*
 * A program written the way a user of the installed package writes one: the request record of a
 * GetInstance of Demo_Fan.DeviceID="fan0",SystemName="bmc0" becomes a request frame, printed on
 * standard output. It includes the headers as consumers do (<cmpidt.h>, <cmpiutility/...>,
 * <dlog.h>) and uses one function of each installed library.
 */
#include <cmpidt.h>
#include <cmpift.h>
#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <cmpiutility/request.h>
#include <dlog.h>

#include <stdio.h>
#include <stdlib.h>

int main(void) {
  CMPIStatus rc = {CMPI_RC_OK, NULL};
  CMPIObjectPath *cop = makeNewObjectPath("root/cimv2", "Demo_Fan", &rc);
  if (cop == NULL || rc.rc != CMPI_RC_OK) {
    fprintf(stderr, "makeNewObjectPath failed: %d\n", (int)rc.rc);
    return 1;
  }
  CMAddKey(cop, "DeviceID", "fan0", CMPI_chars);
  CMAddKey(cop, "SystemName", "bmc0", CMPI_chars);

  ClientReq *req = NULL;
  if (getClientReq(&req, "root", GETINST, cop, NULL, NULL, NULL, NULL) != 0) {
    fprintf(stderr, "getClientReq failed\n");
    CMRelease(cop);
    return 1;
  }
  /* The record owns cop from here on. */

  char fixed[FRAME_BUFFER_SIZE];
  char *dyn = malloc(FRAME_BUFFER_SIZE);
  int status = 0;
  if (dyn == NULL || doSerialization(req, fixed, &dyn) != 0) {
    fprintf(stderr, "doSerialization failed\n");
    status = 1;
  } else {
    printf("%s\n", fixed);
  }
  /* Level 4: written only when DLOG_LEVEL asks for traces. */
  dlog_printf(4, 230, "consumer: frame written");

  releaseRequestData(req);
  free(dyn);
  return status;
}
