// With this defined, OCC_CATCH_SIGNALS turns an access violation in the kernel into a Standard_Failure.
#define OCC_CONVERT_SIGNALS

#include <cadtools/ChildProcess.h>

#include <OSD.hxx>
#include <Standard_ErrorHandler.hxx>
#include <Standard_Failure.hxx>

#include <cerrno>
#include <cstring>
#include <exception>
#include <fstream>
#include <mutex>
#include <new>
#include <sstream>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
// First byte of what a child writes back: how the work ended.
constexpr char ReturnedMark = 'R';
constexpr char ThrewMark = 'T';

// Returns the address space the process holds now, 0 when it cannot tell.
rlim_t AddressSpaceInUse()
{
  std::ifstream statm("/proc/self/statm");
  unsigned long long pages = 0;
  statm >> pages;
  return statm ? rlim_t(pages) * rlim_t(::sysconf(_SC_PAGESIZE)) : 0;
}

// Caps the address space at what the process holds plus `extra` bytes; a lower cap is kept.
void CapAddressSpace(std::size_t extra)
{
  rlimit limit{};
  const rlim_t used = AddressSpaceInUse();
  if (extra == 0 || used == 0 || ::getrlimit(RLIMIT_AS, &limit) != 0)
    return;
  const rlim_t cap = used + rlim_t(extra);
  if (limit.rlim_cur == RLIM_INFINITY || limit.rlim_cur > cap)
  {
    limit.rlim_cur = cap;
    ::setrlimit(RLIMIT_AS, &limit);
  }
}

// Writes all of `data` to `fd`; returns whether it could.
bool WriteAll(int fd, const std::string& data)
{
  std::size_t done = 0;
  while (done < data.size())
  {
    const ssize_t n = ::write(fd, data.data() + done, data.size() - done);
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
      return false;
    done += std::size_t(n);
  }
  return true;
}

// Returns `work`'s result or what it threw, marked; faults in the kernel arrive as Standard_Failure.
std::string Perform(const std::function<std::string()>& work)
{
  try
  {
    OCC_CATCH_SIGNALS
    return ReturnedMark + work();
  }
  catch (const Standard_Failure& failure)
  {
    return ThrewMark + std::string(failure.GetMessageString());
  }
  catch (const std::bad_alloc&)
  {
    return ThrewMark + std::string("it needs more memory than it may take");
  }
  catch (const std::exception& error)
  {
    return ThrewMark + std::string(error.what());
  }
  catch (...)
  {
    return ThrewMark + std::string("an exception of unknown type");
  }
}

// The child's whole life: it never returns into the caller's code, and it ends without running the
// parent's exit handlers (a leak check among them) or flushing the parent's buffered output.
[[noreturn]] void RunChild(int out, const std::function<std::string()>& work, std::size_t extraAddressSpace)
{
  ::signal(SIGPIPE, SIG_IGN);
  OSD::SetSignal(OSD_SignalMode_Set, false);
  CapAddressSpace(extraAddressSpace);
  const bool written = WriteAll(out, Perform(work));
  ::_exit(written ? 0 : 1);
}

// Returns everything the child writes to `in` before it closes its end, or stops at `deadline`;
// `late` tells which.
std::string ReadUntil(int in, std::chrono::steady_clock::time_point deadline, bool& late)
{
  std::string data;
  char buffer[1 << 16];
  late = false;
  for (;;)
  {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0)
    {
      late = true;
      return data;
    }
    pollfd ready{in, POLLIN, 0};
    const int polled = ::poll(&ready, 1, static_cast<int>(std::min<long long>(left.count(), 1000)));
    if (polled == 0 || (polled < 0 && errno == EINTR))
      continue;
    const ssize_t n = polled < 0 ? -1 : ::read(in, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
      return data;
    data.append(buffer, std::size_t(n));
  }
}

// Returns the child's exit status once it has ended.
int Reap(pid_t child)
{
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR)
  {
  }
  return status;
}

// Forks are taken one at a time: a child forked by another thread while a pipe's write end is still
// open here would hold that end, and its reader would wait for that child's end as well.
std::mutex& ForkMutex()
{
  static std::mutex mutex;
  return mutex;
}
} // namespace

ChildProcess::Outcome ChildProcess::Run(const std::function<std::string()>& work, const Limits& limits)
{
  const auto deadline = std::chrono::steady_clock::now() + limits.time;
  int pipe[2] = {-1, -1};
  pid_t child = -1;
  {
    const std::lock_guard<std::mutex> lock(ForkMutex());
    if (::pipe2(pipe, O_CLOEXEC) != 0)
      return {End::Failed, std::string("no pipe to a child process: ") + std::strerror(errno)};
    child = ::fork();
    if (child == 0)
    {
      ::close(pipe[0]);
      RunChild(pipe[1], work, limits.extraAddressSpace);
    }
    ::close(pipe[1]);
  }
  if (child < 0)
  {
    const int error = errno;
    ::close(pipe[0]);
    return {End::Failed, std::string("no child process: ") + std::strerror(error)};
  }
  bool late = false;
  std::string data = ReadUntil(pipe[0], deadline, late);
  if (late)
    ::kill(child, SIGKILL);
  ::close(pipe[0]);
  const int status = Reap(child);
  if (late)
  {
    std::ostringstream text;
    text << "it ran past its limit of " << limits.time.count() / 1000.0 << " s";
    return {End::Failed, text.str()};
  }
  if (WIFSIGNALED(status))
    return {End::Failed, "it ended on signal " + std::to_string(WTERMSIG(status)) + " (" + ::strsignal(WTERMSIG(status)) + ")"};
  if (data.empty() || (data[0] != ReturnedMark && data[0] != ThrewMark) || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
    return {End::Failed, "it ended without a result (exit code " + std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1) + ")"};
  const End end = data[0] == ReturnedMark ? End::Returned : End::Threw;
  data.erase(0, 1);
  return {end, std::move(data)};
}
