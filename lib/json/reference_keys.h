// reference_keys.h - the "key" text of a reference object: the keys of its object path as
// «name=value,...,», as getCMPIArgsRef writes it.
#ifndef CMPIUTILITY_JSON_REFERENCE_KEYS_H
#define CMPIUTILITY_JSON_REFERENCE_KEYS_H

#include <cmpift.h>

#include <string>

namespace cmpiutility {

// Reads the keys of path (not NULL) into *text, in index order. Keys are read as string values;
// a key of another type, or without a value text, stops the text where it stands (kept so: peers
// read key texts cut short this way). Traces "count = <n>"; a path without keys traces "INFO: No
// key associated with args reference'" and sets *has_keys false (the "key" member is then JSON
// null). Otherwise the text is echoed on standard output with a newline and flushed (kept for
// compatibility). Returns 0, or 1 after "ERROR: __getCMPIArgsRef#471: 'unable to get the key'"
// for a key that cannot be read or has no name (nothing is echoed then).
unsigned int reference_key_text(CMPIObjectPath *path, std::string *text, bool *has_keys);

}  // namespace cmpiutility

#endif  // CMPIUTILITY_JSON_REFERENCE_KEYS_H
