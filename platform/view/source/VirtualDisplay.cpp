#include <view/VirtualDisplay.h>

#include <cadtools/WorkpieceError.h>

#include <Aspect_DisplayConnection.hxx>
#include <Standard_Failure.hxx>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
// Smallest screen we start: the default picture size fits on it.
constexpr int MinScreenWidth = 1280;
constexpr int MinScreenHeight = 1024;
// How long Xvfb may take to report its display number before we give up on it.
constexpr int StartTimeoutMs = 10000;
// A server started without -noreset (xvfb-run starts it so) refuses connections for a moment while
// it resets after its last client left: tries and pause between them before a display counts as dead.
constexpr int ConnectTries = 10;
constexpr int ConnectPauseMs = 50;

const char* const HowToGetOne =
  "no X display answers and a private Xvfb could not be started; install it (apt-get install xvfb) "
  "or run the command under `xvfb-run -a -s \"-screen 0 1280x1024x24\"`";

// Returns a connection to `name`, or null when the server does not answer.
Handle(Aspect_DisplayConnection) Connect(const std::string& name)
{
  try
  {
    const Handle(Aspect_DisplayConnection) connection = new Aspect_DisplayConnection(name.c_str());
    if (connection->GetDisplayAspect() != nullptr)
      return connection;
  }
  catch (const Standard_Failure&)
  {
  }
  return Handle(Aspect_DisplayConnection)();
}

// Returns a connection to `name`, trying again while the server may be resetting; null when it stays silent.
Handle(Aspect_DisplayConnection) ConnectPatiently(const std::string& name)
{
  for (int attempt = 0; attempt < ConnectTries; ++attempt)
  {
    if (attempt > 0)
      std::this_thread::sleep_for(std::chrono::milliseconds(ConnectPauseMs));
    if (Handle(Aspect_DisplayConnection) connection = Connect(name); !connection.IsNull())
      return connection;
  }
  return Handle(Aspect_DisplayConnection)();
}

// The connection held for the life of the process: while it is open the server has a client and
// does not reset under the views' own connections.
Handle(Aspect_DisplayConnection)& Held()
{
  static Handle(Aspect_DisplayConnection)* const held = new Handle(Aspect_DisplayConnection)();
  return *held;
}

std::mutex& Lock()
{
  static std::mutex lock;
  return lock;
}

// Returns the display number Xvfb writes on `fd` once it accepts connections, or -1 when it exits
// or stays silent past the timeout.
int ReadDisplayNumber(int fd, pid_t server)
{
  std::string text;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(StartTimeoutMs);
  while (text.find('\n') == std::string::npos)
  {
    const auto left =
      std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
    if (left <= 0)
      return -1;
    pollfd wait{fd, POLLIN, 0};
    const int ready = poll(&wait, 1, static_cast<int>(left));
    if (ready < 0 && errno == EINTR)
      continue;
    if (ready <= 0)
      return -1;
    char chunk[32];
    const ssize_t got = read(fd, chunk, sizeof chunk);
    if (got <= 0)
      return -1;
    text.append(chunk, static_cast<std::size_t>(got));
  }
  int status = 0;
  if (waitpid(server, &status, WNOHANG) != 0)
    return -1;
  try
  {
    return std::stoi(text);
  }
  catch (const std::exception&)
  {
    return -1;
  }
}

// Starts Xvfb on a free display of its own choosing (-displayfd) and returns its name, or "" when it
// cannot be started. The server gets SIGTERM when the starting thread ends, so it never outlives us;
// offscreen views keep their connection for the life of the process, so it must not end sooner.
std::string StartXvfb(int width, int height)
{
  int pipeFds[2];
  if (pipe(pipeFds) != 0)
    return std::string();
  const std::string screen = std::to_string(std::max(width, MinScreenWidth)) + "x" +
                             std::to_string(std::max(height, MinScreenHeight)) + "x24";
  const std::string fd = std::to_string(pipeFds[1]);
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child < 0)
  {
    close(pipeFds[0]);
    close(pipeFds[1]);
    return std::string();
  }
  if (child == 0)
  {
    close(pipeFds[0]);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent)
      _exit(1);
    // The server's start-up chatter is not ours to print, and it must not hold our output open.
    const int quiet = open("/dev/null", O_RDWR);
    if (quiet >= 0)
    {
      dup2(quiet, STDIN_FILENO);
      dup2(quiet, STDOUT_FILENO);
      dup2(quiet, STDERR_FILENO);
    }
    execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", screen.c_str(), "-nolisten", "tcp",
           "-noreset", static_cast<char*>(nullptr));
    _exit(127);
  }
  close(pipeFds[1]);
  const int number = ReadDisplayNumber(pipeFds[0], child);
  close(pipeFds[0]);
  if (number < 0)
  {
    kill(child, SIGTERM);
    waitpid(child, nullptr, 0);
    return std::string();
  }
  return ":" + std::to_string(number);
}
} // namespace

std::string VirtualDisplay::Ensure(int width, int height)
{
  const std::lock_guard<std::mutex> guard(Lock());
  const char* present = std::getenv("DISPLAY");
  if (!Held().IsNull() && present != nullptr)
    return present;
  if (present != nullptr && *present != '\0')
  {
    Held() = ConnectPatiently(present);
    if (!Held().IsNull())
      return present;
  }
  const std::string name = StartXvfb(width, height);
  if (!name.empty())
    Held() = ConnectPatiently(name);
  if (Held().IsNull())
    throw WorkpieceError(HowToGetOne);
  setenv("DISPLAY", name.c_str(), 1);
  return name;
}
