/*
 * schema.h - look-ups in the schema database: which provider serves a class and which providers
 * must never be unloaded.
 *
 * The database is the read-only SQLite file "/etc/wsman/Database/Schema/CIMSchema.db" (the
 * environment variable CMPIUTILITY_SCHEMA_DB overrides it outside set-user-ID programs), table
 * "Tbl_ClassMetadata" with the columns ClassName, ProviderName, NameSpace and UnloadNever. Every
 * call opens its own connection, runs one statement, reads at most the first row and closes the
 * connection again; nothing is cached, so the functions may be called from any thread.
 *
 * These functions have C++ linkage: existing callers link against their mangled names, so the
 * parameter types must stay exactly as they are. Returned strings are heap copies that the
 * caller frees with free(). Each writes "Enter function = <name>" and "Exit  function = <name>"
 * at level 4.
 */
#ifndef CMPIUTILITY_SCHEMA_H
#define CMPIUTILITY_SCHEMA_H

#ifdef __cplusplus

/* The first class marked UnloadNever = 1, or NULL (none, empty name, or no database). */
char *GetPersistentProviderClassName();

/* The provider of the first class marked UnloadNever = 1, or NULL (none, empty name, or no
 * database). */
char *GetPersistentProviderName();

/* mode 1: the UnloadNever value of className (exact, case-sensitive match), 0 when the class is
 * not listed. mode 0: 1 when any class at all is marked UnloadNever = 1 (className is ignored),
 * else 0. Any other mode gives 0. An unreadable database gives 0. */
int GetProviderUnloadStatus(char *className, int mode);

/* The provider of className, matched without regard to case, or NULL (no row, empty provider
 * name, or a NULL className).
 * Kept for compatibility: an unreadable database is fatal; the process ends with exit status 1
 * (existing callers never see a failure return for it). */
char *GetProviderName(const char *className);

#endif /* __cplusplus */

#endif /* CMPIUTILITY_SCHEMA_H */
