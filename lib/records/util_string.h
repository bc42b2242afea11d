// util_string.h - the library's string copy.
#ifndef CMPIUTILITY_RECORDS_UTIL_STRING_H
#define CMPIUTILITY_RECORDS_UTIL_STRING_H

// A null or empty text gives null; otherwise a heap copy of length + 1 bytes with its NUL, or
// null when memory runs out. Logs nothing: callers that treat null as a failure write
// "ERROR: utilString_strdup failed" themselves. The copy is freed with free().
char *utilString_strdup(const char *text);

#endif
