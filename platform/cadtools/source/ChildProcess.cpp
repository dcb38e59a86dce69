// With this defined, OCC_CATCH_SIGNALS turns an access violation in the kernel into a Standard_Failure
// (the kernel's exported targets define it already in some build types).
#ifndef OCC_CONVERT_SIGNALS
#define OCC_CONVERT_SIGNALS
#endif

#include <cadtools/ChildProcess.h>

#include <OSD.hxx>
#include <Standard_ErrorHandler.hxx>
#include <Standard_Failure.hxx>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <exception>
#include <fstream>
#include <map>
#include <mutex>
#include <new>
#include <sstream>
#include <vector>

#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
using Clock = std::chrono::steady_clock;

// First byte of a reply: how the work ended.
constexpr char ReturnedMark = 'R';
constexpr char ThrewMark = 'T';

// The descriptor a child talks to its parent through; every other one above stderr is closed in it.
constexpr int ChildSocket = 3;

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

// Sends `data` as one frame (its size, then its bytes); returns whether the peer took it all.
bool SendFrame(int fd, const std::string& data)
{
  const std::uint64_t size = data.size();
  std::string frame(reinterpret_cast<const char*>(&size), sizeof size);
  frame += data;
  std::size_t done = 0;
  while (done < frame.size())
  {
    const ssize_t n = ::send(fd, frame.data() + done, frame.size() - done, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
      return false;
    done += std::size_t(n);
  }
  return true;
}

// How receiving a frame ended.
enum class Received
{
  Frame,
  Late,
  Closed
};

// Reads `size` bytes into `out` unless the peer closes first or `deadline` passes.
Received ReceiveBytes(int fd, char* out, std::size_t size, Clock::time_point deadline)
{
  std::size_t done = 0;
  while (done < size)
  {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0)
      return Received::Late;
    pollfd ready{fd, POLLIN, 0};
    const int polled = ::poll(&ready, 1, static_cast<int>(std::min<long long>(left.count(), 1000)));
    if (polled == 0 || (polled < 0 && errno == EINTR))
      continue;
    const ssize_t n = polled < 0 ? -1 : ::read(fd, out + done, size - done);
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
      return Received::Closed;
    done += std::size_t(n);
  }
  return Received::Frame;
}

// Reads one frame into `data`.
Received ReceiveFrame(int fd, std::string& data, Clock::time_point deadline)
{
  std::uint64_t size = 0;
  if (const Received header = ReceiveBytes(fd, reinterpret_cast<char*>(&size), sizeof size, deadline);
      header != Received::Frame)
    return header;
  data.assign(size, '\0');
  return ReceiveBytes(fd, data.data(), data.size(), deadline);
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

// A child: its process and the socket to it.
struct Child
{
  pid_t pid = -1;
  int socket = -1;
};

// Forks a child that runs `life` on ChildSocket and ends. Every other descriptor is closed in the
// child, so that it holds no end of another child's socket (whose parent would wait on it), and the
// child ends without running the parent's exit handlers (a leak check among them) or flushing its
// buffered output. Returns a child with pid -1 when no process could be made.
template <typename Life>
Child Fork(std::size_t extraAddressSpace, Life life)
{
  int pair[2] = {-1, -1};
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0)
    return {};
  const pid_t pid = ::fork();
  if (pid == 0)
  {
    if (::dup2(pair[1], ChildSocket) < 0)
      ::_exit(1);
    ::close_range(ChildSocket + 1, ~0U, 0);
    ::signal(SIGPIPE, SIG_IGN);
    OSD::SetSignal(OSD_SignalMode_Set, false);
    CapAddressSpace(extraAddressSpace);
    life();
    ::_exit(0);
  }
  ::close(pair[1]);
  if (pid < 0)
  {
    ::close(pair[0]);
    return {};
  }
  return {pid, pair[0]};
}

// Returns how a child that closed its socket without a reply ended, once it has.
std::string EndOf(const Child& child)
{
  int status = 0;
  while (::waitpid(child.pid, &status, 0) < 0 && errno == EINTR)
  {
  }
  if (WIFSIGNALED(status))
    return "it ended on signal " + std::to_string(WTERMSIG(status)) + " (" + ::strsignal(WTERMSIG(status)) + ")";
  return "it ended without a result (exit code " + std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1) + ")";
}

// Ends the child: kills it, closes its socket and reaps it.
void EndChild(const Child& child)
{
  ::kill(child.pid, SIGKILL);
  ::close(child.socket);
  EndOf(child);
}

// Returns the outcome of the reply the child sends by `deadline`. A child that returned is left
// serving; any other has ended or is ended here.
ChildProcess::Outcome Await(const Child& child, Clock::time_point deadline, std::chrono::milliseconds limit)
{
  std::string reply;
  const Received received = ReceiveFrame(child.socket, reply, deadline);
  if (received == Received::Late)
  {
    EndChild(child);
    std::ostringstream text;
    text << "it ran past its limit of " << limit.count() / 1000.0 << " s";
    return {ChildProcess::End::Failed, text.str()};
  }
  if (received == Received::Closed || reply.empty() || (reply[0] != ReturnedMark && reply[0] != ThrewMark))
  {
    ::close(child.socket);
    return {ChildProcess::End::Failed, EndOf(child)};
  }
  const ChildProcess::End end = reply[0] == ReturnedMark ? ChildProcess::End::Returned : ChildProcess::End::Threw;
  if (end == ChildProcess::End::Threw)
    EndChild(child);
  reply.erase(0, 1);
  return {end, std::move(reply)};
}

// Serves requests on ChildSocket until the parent closes it or a request throws: a fault jumps over
// the frames of the work it stops, which may leave the child's state damaged.
void ServeRequests(ChildProcess::Handler handler)
{
  for (;;)
  {
    std::string request;
    if (ReceiveFrame(ChildSocket, request, Clock::time_point::max()) != Received::Frame)
      return;
    const std::string reply = Perform([&] { return handler(request); });
    if (!SendFrame(ChildSocket, reply) || reply[0] != ReturnedMark)
      return;
  }
}

// The idle long-lived children of each handler. They end when the process does: their sockets close.
struct IdleChildren
{
  std::mutex mutex;
  pid_t owner = ::getpid();
  std::map<ChildProcess::Handler, std::vector<Child>> children;

  // Returns the idle children of `handler`. A process forked by the host inherits the list of its
  // parent, whose children it must not talk to (their replies would go to either): it starts its own.
  std::vector<Child>& Of(ChildProcess::Handler handler)
  {
    if (owner != ::getpid())
    {
      for (const auto& [served, list] : children)
        for (const Child& child : list)
          ::close(child.socket);
      children.clear();
      owner = ::getpid();
    }
    return children[handler];
  }
};

IdleChildren& Idle()
{
  static IdleChildren idle;
  return idle;
}
} // namespace

ChildProcess::Outcome ChildProcess::Run(const std::function<std::string()>& work, const Limits& limits)
{
  const auto deadline = Clock::now() + limits.time;
  const Child child = Fork(limits.extraAddressSpace, [&work] { SendFrame(ChildSocket, Perform(work)); });
  if (child.pid < 0)
    return {End::Failed, std::string("no child process: ") + std::strerror(errno)};
  const Outcome outcome = Await(child, deadline, limits.time);
  if (outcome.end == End::Returned)
    EndChild(child);
  return outcome;
}

ChildProcess::Outcome ChildProcess::Serve(Handler handler, const std::string& request, const Limits& limits)
{
  const auto deadline = Clock::now() + limits.time;
  IdleChildren& idle = Idle();
  // An idle child may have been ended meanwhile (by the system, for memory); a fresh one then serves.
  for (int attempt = 0; attempt < 2; ++attempt)
  {
    Child child;
    {
      const std::lock_guard<std::mutex> lock(idle.mutex);
      std::vector<Child>& children = idle.Of(handler);
      if (attempt == 0 && !children.empty())
      {
        child = children.back();
        children.pop_back();
      }
    }
    if (child.pid < 0)
      child = Fork(limits.extraAddressSpace, [handler] { ServeRequests(handler); });
    if (child.pid < 0)
      return {End::Failed, std::string("no child process: ") + std::strerror(errno)};
    if (!SendFrame(child.socket, request))
    {
      EndChild(child);
      continue;
    }
    Outcome outcome = Await(child, deadline, limits.time);
    if (outcome.end == End::Returned)
    {
      const std::lock_guard<std::mutex> lock(idle.mutex);
      idle.Of(handler).push_back(child);
    }
    return outcome;
  }
  return {End::Failed, "no child process took the request"};
}
