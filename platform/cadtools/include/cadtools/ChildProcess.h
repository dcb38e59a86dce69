#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

// Runs kernel algorithms on untrusted input in forked child processes. A fault, an endless loop or a
// leak inside the algorithm then ends with the child, and the caller's process stays as it was: no
// signal handler or memory limit of the caller is touched, nothing the child allocated is lost.
class ChildProcess
{
public:
  // Bounds of one run.
  struct Limits
  {
    std::chrono::milliseconds time;  // the child is killed when it has not finished by then
    std::size_t extraAddressSpace{}; // address space a child may add to what it inherits; 0: no cap
  };

  // How a run ended.
  enum class End
  {
    Returned, // text is what the work returned
    Threw,    // text is the what() (or the kernel's message) of what the work threw
    Failed    // text says how the child ended without a result: killed at the time limit, a signal
  };

  struct Outcome
  {
    End end = End::Failed;
    std::string text;
  };

  // Work a long-lived child serves: the reply to one request.
  using Handler = std::string (*)(const std::string& request);

  // Returns how `work` ended in a child forked for it. The child converts the kernel's faults into
  // exceptions, so that a fault is reported by the kernel's own message where it can be.
  static Outcome Run(const std::function<std::string()>& work, const Limits& limits);

  // Returns how `handler` ended on `request` in one of the long-lived children kept for it (forked on
  // first need, one per caller at a time, each with `limits.extraAddressSpace`): the isolation of Run
  // without a fork per call, for work that is small and frequent. A child that throws, faults or runs
  // past `limits.time` ends, and the next request gets a new one.
  static Outcome Serve(Handler handler, const std::string& request, const Limits& limits);
};
