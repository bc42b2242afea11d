/* dlog.h used from C: it must compile as C and link with C linkage. */
#include <dlog.h>

int dlog_from_c(int value);

int dlog_from_c(int value) {
  dlog_printf(4, 230, "from C %d", value);
  return dlog_threshold();
}
