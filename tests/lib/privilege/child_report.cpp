#include "child_report.h"

#include <errno.h>
#include <grp.h>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace cmpitest {

std::string ChildReport::value(const std::string &key) const {
  const auto found = values_.find(key);
  return found == values_.end() ? "<missing>" : found->second;
}

long long ChildReport::number(const std::string &key) const {
  const auto found = values_.find(key);
  return found == values_.end() ? -999999 : std::strtoll(found->second.c_str(), nullptr, 10);
}

const std::vector<LogLine> &ChildReport::lines(const std::string &key) const {
  static const std::vector<LogLine> none;
  const auto found = lines_.find(key);
  return found == lines_.end() ? none : found->second;
}

// V<tab>key<tab>value / L<tab>key<tab>level<tab>module<tab>text, one record a line.
std::string ChildReport::serialize() const {
  std::ostringstream out;
  for (const auto &[key, value] : values_) out << "V\t" << key << '\t' << value << '\n';
  for (const auto &[key, lines] : lines_)
    for (const LogLine &line : lines)
      out << "L\t" << key << '\t' << line.level << '\t' << line.module << '\t' << line.text
          << '\n';
  return out.str();
}

ChildReport ChildReport::parse(const std::string &text) {
  ChildReport report;
  std::istringstream in(text);
  std::string record;
  while (std::getline(in, record)) {
    std::vector<std::string> fields;
    std::size_t from = 0;
    for (;;) {
      const std::size_t tab = record.find('\t', from);
      // The text of a line is the last field and may contain anything but a newline.
      if (tab == std::string::npos || (record[0] == 'L' && fields.size() == 4)) {
        fields.push_back(record.substr(from));
        break;
      }
      fields.push_back(record.substr(from, tab - from));
      from = tab + 1;
    }
    if (fields[0] == "V" && fields.size() == 3) {
      report.values_[fields[1]] = fields[2];
    } else if (fields[0] == "L" && fields.size() == 5) {
      report.lines_[fields[1]].push_back(
          LogLine{fields[4], std::atoi(fields[2].c_str()), std::atoi(fields[3].c_str())});
    }
  }
  return report;
}

ChildOutcome RunInChild(const std::function<void(ChildReport &)> &body) {
  ChildOutcome outcome;
  int channel[2];
  if (pipe(channel) != 0) return outcome;
  const pid_t pid = fork();
  if (pid < 0) {
    close(channel[0]);
    close(channel[1]);
    return outcome;
  }
  if (pid == 0) {
    close(channel[0]);
    ChildReport report;
    body(report);
    const std::string text = report.serialize();
    std::size_t done = 0;
    while (done < text.size()) {
      const ssize_t n = write(channel[1], text.data() + done, text.size() - done);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) _exit(3);
      done += static_cast<std::size_t>(n);
    }
    close(channel[1]);
    _exit(0);
  }
  close(channel[1]);
  std::string text;
  char chunk[4096];
  for (;;) {
    const ssize_t n = read(channel[0], chunk, sizeof(chunk));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    text.append(chunk, static_cast<std::size_t>(n));
  }
  close(channel[0]);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  outcome.exited_normally = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  outcome.report = ChildReport::parse(text);
  return outcome;
}

std::string DescribeIdentity() {
  uid_t ruid = 0, euid = 0, suid = 0;
  gid_t rgid = 0, egid = 0, sgid = 0;
  getresuid(&ruid, &euid, &suid);
  getresgid(&rgid, &egid, &sgid);
  std::vector<gid_t> groups(static_cast<std::size_t>(std::max(getgroups(0, nullptr), 0)));
  const int count = getgroups(static_cast<int>(groups.size()), groups.data());
  groups.resize(static_cast<std::size_t>(std::max(count, 0)));
  std::sort(groups.begin(), groups.end());
  std::ostringstream out;
  out << "uid=" << ruid << ',' << euid << ',' << suid << " gid=" << rgid << ',' << egid << ','
      << sgid << " groups=";
  for (std::size_t i = 0; i < groups.size(); ++i) out << (i ? "," : "") << groups[i];
  return out.str();
}

bool DropEffectiveCapability(int capability) {
  struct __user_cap_header_struct header {};
  header.version = _LINUX_CAPABILITY_VERSION_3;
  header.pid = 0;
  struct __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
  if (syscall(SYS_capget, &header, data) != 0) return false;
  data[CAP_TO_INDEX(capability)].effective &= ~CAP_TO_MASK(capability);
  return syscall(SYS_capset, &header, data) == 0;
}

}  // namespace cmpitest
