// Tests of admission: who may connect, which kind of peer it is, and as whom it may act. The
// users are the real local ones: root (uid 0) and nobody (looked up).
#include "admission.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

namespace hostd {
namespace {

constexpr uid_t kStranger = 4242;  // a uid no test gives any right
constexpr uid_t kProxyUid = 4343;
constexpr gid_t kProxyGid = 5353;
constexpr char kNoSuchName[] = "hostd-test-no-such-name";

struct Nobody {
  uid_t uid = 0;
  gid_t gid = 0;
};

Nobody nobody() {
  const struct passwd *pw = getpwnam("nobody");
  EXPECT_NE(pw, nullptr) << "the test needs the local user nobody";
  Nobody n;
  if (pw != nullptr) {
    n.uid = pw->pw_uid;
    n.gid = pw->pw_gid;
  }
  return n;
}

PeerCredentials peer(uid_t uid, gid_t gid, std::vector<gid_t> groups = {}) {
  PeerCredentials p;
  p.pid = 77;
  p.uid = uid;
  p.gid = gid;
  p.groups = std::move(groups);
  return p;
}

// ---- PeerSet -----------------------------------------------------------------------------------

TEST(PeerSet, EmptySetContainsNobody) {
  PeerSet set;
  EXPECT_TRUE(set.empty());
  EXPECT_FALSE(set.contains(peer(0, 0)));
  EXPECT_FALSE(set.contains(peer(kStranger, 10, {20, 30})));
}

TEST(PeerSet, MatchesByUid) {
  PeerSet set;
  set.add_uid(kStranger);
  EXPECT_FALSE(set.empty());
  EXPECT_TRUE(set.contains(peer(kStranger, 10)));
  EXPECT_FALSE(set.contains(peer(kStranger + 1, 10)));
  // A uid is not a gid.
  EXPECT_FALSE(set.contains(peer(1, static_cast<gid_t>(kStranger))));
}

TEST(PeerSet, MatchesByPrimaryGroup) {
  PeerSet set;
  set.add_gid(500);
  EXPECT_FALSE(set.empty());
  EXPECT_TRUE(set.contains(peer(kStranger, 500)));
  EXPECT_FALSE(set.contains(peer(kStranger, 501)));
  EXPECT_FALSE(set.contains(peer(500, 501)));  // a gid is not a uid
}

TEST(PeerSet, MatchesBySupplementaryGroup) {
  PeerSet set;
  set.add_gid(500);
  set.add_gid(700);
  EXPECT_TRUE(set.contains(peer(kStranger, 10, {20, 700, 30})));
  EXPECT_TRUE(set.contains(peer(kStranger, 10, {500})));
  EXPECT_FALSE(set.contains(peer(kStranger, 10, {20, 30, 501})));
}

// ---- AdmissionPolicy ---------------------------------------------------------------------------

AdmissionPolicy policy_with_proxy(uid_t daemon_uid = 0, bool proxies_may_be_root = false) {
  AdmissionPolicy policy;
  policy.daemon_uid = daemon_uid;
  policy.proxies_may_be_root = proxies_may_be_root;
  policy.proxies.add_uid(kProxyUid);
  policy.proxies.add_gid(kProxyGid);
  return policy;
}

TEST(AdmissionPolicy, AdmitsRootTheDaemonsUserTheAllowedAndProxies) {
  AdmissionPolicy policy = policy_with_proxy(3000);
  policy.allowed.add_uid(3100);
  policy.allowed.add_gid(3200);
  EXPECT_TRUE(policy.admits(peer(0, 0)));
  EXPECT_TRUE(policy.admits(peer(3000, 3000)));
  EXPECT_TRUE(policy.admits(peer(3100, 1)));
  EXPECT_TRUE(policy.admits(peer(kStranger, 3200)));
  EXPECT_TRUE(policy.admits(peer(kStranger, 1, {3200})));
  EXPECT_TRUE(policy.admits(peer(kProxyUid, 1)));
  EXPECT_TRUE(policy.admits(peer(kStranger, 1, {kProxyGid})));
  EXPECT_FALSE(policy.admits(peer(kStranger, 1, {2, 3})));
}

TEST(AdmissionPolicy, RootDaemonWithEmptyListsAdmitsOnlyRoot) {
  AdmissionPolicy policy;
  EXPECT_TRUE(policy.admits(peer(0, 0)));
  EXPECT_FALSE(policy.admits(peer(kStranger, 0)));  // group root is no pass
  EXPECT_FALSE(policy.admits(peer(kStranger, 1, {0})));
}

TEST(AdmissionPolicy, KindOfAPeer) {
  AdmissionPolicy policy = policy_with_proxy();
  policy.allowed.add_uid(kStranger);
  EXPECT_EQ(policy.kind_of(peer(0, 0)), PeerKind::kRoot);
  EXPECT_EQ(policy.kind_of(peer(kProxyUid, 1)), PeerKind::kProxy);
  EXPECT_EQ(policy.kind_of(peer(kStranger, kProxyGid)), PeerKind::kProxy);
  EXPECT_EQ(policy.kind_of(peer(kStranger, 1, {kProxyGid})), PeerKind::kProxy);
  EXPECT_EQ(policy.kind_of(peer(kStranger, 1)), PeerKind::kSelf);
  // root stays root even when it is also named a proxy.
  policy.proxies.add_uid(0);
  EXPECT_EQ(policy.kind_of(peer(0, 0)), PeerKind::kRoot);
}

TEST(AdmissionPolicy, PeerKindNames) {
  EXPECT_STREQ(peer_kind_name(PeerKind::kRoot), "root");
  EXPECT_STREQ(peer_kind_name(PeerKind::kProxy), "proxy");
  EXPECT_STREQ(peer_kind_name(PeerKind::kSelf), "self");
}

// ---- decide_principal --------------------------------------------------------------------------

using Verdict = PrincipalVerdict;

struct PrincipalCase {
  const char *name;
  bool daemon_is_nobody;  // else the daemon runs as root
  bool proxies_may_be_root;
  enum Peer { kRootPeer, kProxyPeer, kNobodyPeer, kStrangerPeer } who;
  const char *user;
  Verdict verdict;
};

const PrincipalCase kPrincipalCases[] = {
    {"RootAsRoot", false, false, PrincipalCase::kRootPeer, "root", Verdict::kServe},
    {"RootAsNobody", false, false, PrincipalCase::kRootPeer, "nobody", Verdict::kServe},
    {"ProxyAsNobody", false, false, PrincipalCase::kProxyPeer, "nobody", Verdict::kServe},
    {"ProxyAsRoot", false, false, PrincipalCase::kProxyPeer, "root", Verdict::kNotAllowed},
    {"ProxyAsRootWhenAllowed", false, true, PrincipalCase::kProxyPeer, "root", Verdict::kServe},
    {"SelfAsItself", false, false, PrincipalCase::kNobodyPeer, "nobody", Verdict::kServe},
    {"SelfAsRoot", false, false, PrincipalCase::kNobodyPeer, "root", Verdict::kNotAllowed},
    {"SelfAsRootWhenProxiesMayBeRoot", false, true, PrincipalCase::kNobodyPeer, "root",
     Verdict::kNotAllowed},
    {"SelfAsAnother", false, false, PrincipalCase::kStrangerPeer, "nobody", Verdict::kNotAllowed},
    {"EmptyUser", false, false, PrincipalCase::kRootPeer, "", Verdict::kMissing},
    {"EmptyUserOfASelfPeer", false, false, PrincipalCase::kStrangerPeer, "", Verdict::kMissing},
    {"UnknownUser", false, false, PrincipalCase::kRootPeer, kNoSuchName, Verdict::kUnknownUser},
    {"UnknownUserOfAProxy", false, false, PrincipalCase::kProxyPeer, kNoSuchName,
     Verdict::kUnknownUser},
    // A daemon running as nobody serves only nobody, whoever asks.
    {"NonRootDaemonRootAsRoot", true, false, PrincipalCase::kRootPeer, "root",
     Verdict::kNotOwnUser},
    {"NonRootDaemonProxyAsRoot", true, true, PrincipalCase::kProxyPeer, "root",
     Verdict::kNotOwnUser},
    {"NonRootDaemonRootAsItsUser", true, false, PrincipalCase::kRootPeer, "nobody",
     Verdict::kServe},
    {"NonRootDaemonProxyAsItsUser", true, false, PrincipalCase::kProxyPeer, "nobody",
     Verdict::kServe},
    {"NonRootDaemonItsUserAsItself", true, false, PrincipalCase::kNobodyPeer, "nobody",
     Verdict::kServe},
    {"NonRootDaemonStrangerAsItsUser", true, false, PrincipalCase::kStrangerPeer, "nobody",
     Verdict::kNotAllowed},
    {"NonRootDaemonUnknownUser", true, false, PrincipalCase::kNobodyPeer, kNoSuchName,
     Verdict::kUnknownUser},
};

void PrintTo(const PrincipalCase &c, std::ostream *out) { *out << c.name; }

class DecidePrincipal : public ::testing::TestWithParam<PrincipalCase> {};

TEST_P(DecidePrincipal, Verdict) {
  const PrincipalCase &c = GetParam();
  const Nobody nb = nobody();
  AdmissionPolicy policy = policy_with_proxy(c.daemon_is_nobody ? nb.uid : 0,
                                             c.proxies_may_be_root);
  PeerCredentials who;
  switch (c.who) {
    case PrincipalCase::kRootPeer:
      who = peer(0, 0);
      break;
    case PrincipalCase::kProxyPeer:
      who = peer(kProxyUid, 1);
      break;
    case PrincipalCase::kNobodyPeer:
      who = peer(nb.uid, nb.gid);
      break;
    case PrincipalCase::kStrangerPeer:
      who = peer(kStranger, 1);
      break;
  }
  Principal principal;
  principal.name = "untouched";
  const Verdict verdict = decide_principal(policy, who, c.user, &principal);
  ASSERT_EQ(static_cast<int>(verdict), static_cast<int>(c.verdict));
  if (verdict != Verdict::kServe) return;
  const struct passwd *pw = getpwnam(c.user);
  ASSERT_NE(pw, nullptr);
  EXPECT_EQ(principal.name, c.user);
  EXPECT_EQ(principal.uid, pw->pw_uid);
  EXPECT_EQ(principal.gid, pw->pw_gid);
}

INSTANTIATE_TEST_SUITE_P(Cases, DecidePrincipal, ::testing::ValuesIn(kPrincipalCases),
                         [](const ::testing::TestParamInfo<PrincipalCase> &info) {
                           return std::string(info.param.name);
                         });

TEST(DecidePrincipalDetail, RootPrincipalIsUidZero) {
  AdmissionPolicy policy;
  Principal principal;
  ASSERT_EQ(decide_principal(policy, peer(0, 0), "root", &principal), Verdict::kServe);
  EXPECT_EQ(principal.name, "root");
  EXPECT_EQ(principal.uid, 0u);
  EXPECT_EQ(principal.gid, 0u);
}

TEST(DecidePrincipalDetail, ProxyByGroupMayActForOthers) {
  const Nobody nb = nobody();
  AdmissionPolicy policy = policy_with_proxy();
  Principal principal;
  EXPECT_EQ(decide_principal(policy, peer(kStranger, 1, {kProxyGid}), "nobody", &principal),
            Verdict::kServe);
  EXPECT_EQ(principal.uid, nb.uid);
  EXPECT_EQ(decide_principal(policy, peer(kStranger, 1, {kProxyGid}), "root", &principal),
            Verdict::kNotAllowed);
}

// ---- build_admission_policy --------------------------------------------------------------------

TEST(BuildAdmissionPolicy, ResolvesUsersAndGroups) {
  const Nobody nb = nobody();
  const struct group *root_group = getgrnam("root");
  ASSERT_NE(root_group, nullptr);
  AdmissionOptions options;
  options.allow_users = {"nobody"};
  options.allow_groups = {"root"};
  options.proxy_users = {"nobody"};
  options.proxy_root = true;
  AdmissionPolicy policy;
  std::string error;
  ASSERT_TRUE(build_admission_policy(options, 1234, &policy, &error)) << error;
  EXPECT_EQ(policy.daemon_uid, 1234u);
  EXPECT_TRUE(policy.proxies_may_be_root);
  EXPECT_TRUE(policy.allowed.contains(peer(nb.uid, 1)));
  EXPECT_TRUE(policy.allowed.contains(peer(kStranger, root_group->gr_gid)));
  EXPECT_FALSE(policy.allowed.contains(peer(kStranger, 1)));
  EXPECT_TRUE(policy.proxies.contains(peer(nb.uid, 1)));
  EXPECT_FALSE(policy.proxies.contains(peer(kStranger, root_group->gr_gid)));
  EXPECT_EQ(policy.kind_of(peer(nb.uid, 1)), PeerKind::kProxy);
}

TEST(BuildAdmissionPolicy, NothingGivenLeavesTheSetsEmpty) {
  AdmissionPolicy policy;
  std::string error;
  ASSERT_TRUE(build_admission_policy(AdmissionOptions{}, 0, &policy, &error));
  EXPECT_TRUE(policy.allowed.empty());
  EXPECT_TRUE(policy.proxies.empty());
  EXPECT_FALSE(policy.proxies_may_be_root);
  EXPECT_TRUE(error.empty());
}

TEST(BuildAdmissionPolicy, UnknownNamesAreErrorsNamingTheOptionAndTheName) {
  struct Case {
    std::vector<std::string> AdmissionOptions::*list;
    const char *expected;
  };
  const Case cases[] = {
      {&AdmissionOptions::allow_users,
       "--allow-user: no local user 'hostd-test-no-such-name'"},
      {&AdmissionOptions::allow_groups,
       "--allow-group: no local group 'hostd-test-no-such-name'"},
      {&AdmissionOptions::proxy_users,
       "--allow-proxy-user: no local user 'hostd-test-no-such-name'"},
      {&AdmissionOptions::proxy_groups,
       "--allow-proxy-group: no local group 'hostd-test-no-such-name'"},
  };
  for (const Case &c : cases) {
    AdmissionOptions options;
    (options.*c.list) = {"root", kNoSuchName};
    AdmissionPolicy policy;
    std::string error;
    EXPECT_FALSE(build_admission_policy(options, 0, &policy, &error));
    EXPECT_EQ(error, c.expected);
  }
}

// ---- read_peer_credentials ---------------------------------------------------------------------

TEST(ReadPeerCredentials, OfTheOtherEndOfASocketpair) {
  int fd[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fd), 0);
  PeerCredentials cred;
  std::string error;
  ASSERT_TRUE(read_peer_credentials(fd[0], &cred, &error)) << error;
  EXPECT_EQ(cred.pid, getpid());
  EXPECT_EQ(cred.uid, getuid());
  EXPECT_EQ(cred.gid, getgid());
  // Where the kernel reports supplementary groups, ours are among them.
  if (!cred.groups.empty()) {
    std::vector<gid_t> ours(static_cast<std::size_t>(getgroups(0, nullptr)));
    ours.resize(static_cast<std::size_t>(getgroups(static_cast<int>(ours.size()), ours.data())));
    for (gid_t g : ours) {
      EXPECT_NE(std::find(cred.groups.begin(), cred.groups.end(), g), cred.groups.end()) << g;
    }
  }
  close(fd[0]);
  close(fd[1]);
}

TEST(ReadPeerCredentials, WithoutGroupsLeavesThemEmptyAndReadsTheRest) {
  int fd[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fd), 0);
  PeerCredentials cred;
  cred.groups = {4242};
  std::string error;
  ASSERT_TRUE(read_peer_credentials(fd[0], &cred, &error, false)) << error;
  EXPECT_EQ(cred.pid, getpid());
  EXPECT_EQ(cred.uid, getuid());
  EXPECT_EQ(cred.gid, getgid());
  EXPECT_TRUE(cred.groups.empty());
  close(fd[0]);
  close(fd[1]);
}

TEST(AdmissionPolicy, NeedsGroupsOnlyWhenAGroupIsAllowed) {
  AdmissionPolicy policy;
  policy.allowed.add_uid(1001);
  policy.proxies.add_uid(1002);
  EXPECT_FALSE(policy.needs_groups());
  policy.proxies.add_gid(50);
  EXPECT_TRUE(policy.needs_groups());
  AdmissionPolicy users_by_group;
  users_by_group.allowed.add_gid(60);
  EXPECT_TRUE(users_by_group.needs_groups());
}

TEST(ReadPeerCredentials, FailsOnWhatIsNoSocket) {
  int fd[2];
  ASSERT_EQ(pipe(fd), 0);
  PeerCredentials cred;
  std::string error;
  EXPECT_FALSE(read_peer_credentials(fd[0], &cred, &error));
  EXPECT_EQ(error.rfind("SO_PEERCRED: ", 0), 0u) << error;
  close(fd[0]);
  close(fd[1]);
}

}  // namespace
}  // namespace hostd
