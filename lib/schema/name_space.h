// name_space.h - the namespace look-up used when requests are parsed (internal to the library).
#ifndef CMPIUTILITY_SCHEMA_NAME_SPACE_H
#define CMPIUTILITY_SCHEMA_NAME_SPACE_H

// The NameSpace column of the class stored exactly as className (case counts), as a plain heap
// copy (an empty namespace gives an empty string), or nullptr when the class is not listed or
// the database cannot be opened. The caller frees the copy with free().
char *GetNameSpace(const char *className);

#endif
