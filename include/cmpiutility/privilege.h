/*
 * privilege.h - switching the process to a named local user before serving a request.
 *
 * Both operations act on the whole process (all threads): a process serves one user at a time.
 * They first return to baseUid (normally root, 0) so the switch is allowed, look the user up
 * with getpwnam, change the group before the user (afterwards the process could no longer
 * change its groups), load the user's supplementary groups, set the file mode creation mask to
 * 007 (new files get no permissions for others, whatever the user's own mask), and change the
 * user last. The first failure ends the call and leaves the changes already made in place
 * (e.g. a failed initgroups leaves the effective uid baseUid and the user's group).
 *
 * Failure lines, all level 2 (the trailing blanks and the module numbers are as listed):
 *   "seteuid to root failed "  module 229  returning to baseUid
 *   "getpwnam failed"          module 230  unknown user (or userName NULL)
 *   "setgid failed "           module 230  changing the group
 *   "initgroups failed "       module 229  loading the supplementary groups
 *   "seteuid in main failed"   module 230  changing the user
 * Every function writes "Enter function = <name>" and "Exit  function = <name>" at level 4.
 */
#ifndef CMPIUTILITY_PRIVILEGE_H
#define CMPIUTILITY_PRIVILEGE_H

#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Changes only the effective identity (seteuid, setegid), so a later call with baseUid 0 brings
 * the process back to root. Returns 0 on success, 1 on failure. */
int initPriv(uid_t baseUid, const char *userName);

/* Changes the real, effective and saved identities (setresuid, setresgid); this cannot be
 * undone, so a later call fails at its first step. Returns 0 on success, 1 on failure. */
int assignBasePriv(uid_t baseUid, const char *userName);

#ifdef __cplusplus
}
#endif

#endif /* CMPIUTILITY_PRIVILEGE_H */
