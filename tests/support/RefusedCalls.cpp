#include "support/RefusedCalls.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <stddef.h>
#include <sys/prctl.h>

#include <thread>

namespace {

sock_filter Load(std::size_t offset) {
  return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset));
}

// The lower half of an argument: flags have no more.
std::size_t OffsetOf(int argument) {
  return offsetof(seccomp_data, args) + static_cast<std::size_t>(argument) * 8;
}

// For each call: does the number match, and a bit? If not, on to the next.
std::vector<sock_filter> FilterOf(const std::vector<RefusedCall>& calls) {
  std::vector<sock_filter> filter;
  for (const RefusedCall& call : calls) {
    const auto number = static_cast<std::uint32_t>(call.number);
    const bool any = call.bits == 0;
    filter.push_back(Load(offsetof(seccomp_data, nr)));
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, std::uint8_t(any ? 1 : 3)));
    if (!any) {
      filter.push_back(Load(OffsetOf(call.argument)));
      filter.push_back(BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, call.bits, 0, 1));
    }
    const std::uint32_t answer = SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(call.error);
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, answer));
  }
  filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  return filter;
}

// Of this thread, until its end.
bool Refuse(const std::vector<RefusedCall>& calls) {
  std::vector<sock_filter> filter = FilterOf(calls);
  const sock_fprog program = {static_cast<unsigned short>(filter.size()), filter.data()};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

}  // namespace

bool RunWithRefused(const std::vector<RefusedCall>& calls, const std::function<void()>& body) {
  bool has_run = false;
  std::thread([&] {
    if (!Refuse(calls)) return;
    body();
    has_run = true;
  }).join();
  return has_run;
}
