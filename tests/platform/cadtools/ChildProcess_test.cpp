#include <cadtools/ChildProcess.h>

#include <cadtools/WorkpieceError.h>

#include <BRep_Tool.hxx>
#include <TopoDS_Face.hxx>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include <signal.h>
#include <unistd.h>
#include <sys/resource.h>
#include <sys/wait.h>

using namespace std::chrono_literals;

namespace
{
const ChildProcess::Limits Generous{10s, 0};

// Returns the serving child's process id, after doing what the request asks.
std::string ServeRequest(const std::string& request)
{
  if (request == "throw")
    throw WorkpieceError("asked to throw");
  if (request == "fault")
    return std::to_string(BRep_Tool::Surface(TopoDS_Face()).IsNull());
  if (request == "sleep")
    std::this_thread::sleep_for(60s);
  return std::to_string(::getpid());
}
} // namespace

TEST(ChildProcess, PassesBackResultsThrownTextsAndKernelFaults)
{
  // More than a pipe holds at once, with every byte value, NUL among them.
  std::string large(3 << 20, '\0');
  for (std::size_t i = 0; i < large.size(); ++i)
    large[i] = static_cast<char>(i * 7);
  const ChildProcess::Outcome returned = ChildProcess::Run([&] { return large; }, Generous);
  EXPECT_EQ(returned.end, ChildProcess::End::Returned);
  EXPECT_TRUE(returned.text == large);
  EXPECT_EQ(ChildProcess::Run([] { return std::string(); }, Generous).end, ChildProcess::End::Returned);

  const ChildProcess::Outcome threw = ChildProcess::Run([]() -> std::string { throw WorkpieceError("no such part"); }, Generous);
  EXPECT_EQ(threw.end, ChildProcess::End::Threw);
  EXPECT_EQ(threw.text, "no such part");

  // A face without its topology: the kernel reads through a null pointer.
  const ChildProcess::Outcome fault =
    ChildProcess::Run([] { return std::to_string(BRep_Tool::Surface(TopoDS_Face()).IsNull()); }, Generous);
  EXPECT_EQ(fault.end, ChildProcess::End::Threw);
  EXPECT_NE(fault.text.find("SIGSEGV"), std::string::npos) << fault.text;

  const ChildProcess::Outcome killed = ChildProcess::Run([]() -> std::string { ::raise(SIGKILL); return {}; }, Generous);
  EXPECT_EQ(killed.end, ChildProcess::End::Failed);
  EXPECT_EQ(killed.text, "it ended on signal 9 (Killed)");
}

TEST(ChildProcess, StopsAtItsLimitsAndLeavesTheCallerAsItWas)
{
  struct sigaction before{}, after{};
  rlimit limitBefore{}, limitAfter{};
  ::sigaction(SIGSEGV, nullptr, &before);
  ::getrlimit(RLIMIT_AS, &limitBefore);

  const auto start = std::chrono::steady_clock::now();
  const ChildProcess::Outcome late = ChildProcess::Run([] { std::this_thread::sleep_for(60s); return std::string("late"); }, {250ms, 0});
  EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
  EXPECT_EQ(late.end, ChildProcess::End::Failed);
  EXPECT_EQ(late.text, "it ran past its limit of 0.25 s");

  // Beyond the child's address space; the sanitizers' allocator ends the child instead of throwing.
  const ChildProcess::Outcome greedy = ChildProcess::Run(
    [] { return std::to_string(std::vector<char>(std::size_t(8) << 30, 'x').back()); }, {10s, std::size_t(256) << 20});
  EXPECT_NE(greedy.end, ChildProcess::End::Returned) << greedy.text;

  // What the child leaks is not the caller's: a leak check at its exit would change its exit code.
  const ChildProcess::Outcome leaked = ChildProcess::Run([] { return *new std::string("kept"); }, Generous);
  EXPECT_EQ(leaked.end, ChildProcess::End::Returned);
  EXPECT_EQ(leaked.text, "kept");

  ::sigaction(SIGSEGV, nullptr, &after);
  ::getrlimit(RLIMIT_AS, &limitAfter);
  EXPECT_EQ(after.sa_handler, before.sa_handler);
  EXPECT_EQ(limitAfter.rlim_cur, limitBefore.rlim_cur);
}

TEST(ChildProcess, RunsFromManyThreadsAtOnce)
{
  // A child forked by one thread must not hold another's pipe open, or that reader would wait on it.
  const auto start = std::chrono::steady_clock::now();
  std::vector<std::thread> threads;
  std::vector<ChildProcess::Outcome> outcomes(8);
  for (std::size_t i = 0; i < outcomes.size(); ++i)
    threads.emplace_back([&outcomes, i] {
      outcomes[i] = ChildProcess::Run(
        [i] {
          std::this_thread::sleep_for(std::chrono::milliseconds(i % 2 == 0 ? 10 : 4000));
          return std::to_string(i);
        },
        {20s, 0});
    });
  for (std::size_t i = 0; i < threads.size(); i += 2)
    threads[i].join();
  // The quick children's readers are not held up by the slow ones forked around them.
  EXPECT_LT(std::chrono::steady_clock::now() - start, 3s);
  for (std::size_t i = 1; i < threads.size(); i += 2)
    threads[i].join();
  for (std::size_t i = 0; i < outcomes.size(); ++i)
    EXPECT_EQ(outcomes[i].text, std::to_string(i));
}

TEST(ChildProcess, ServesFromOneChildUntilItThrowsFaultsOrRunsLate)
{
  const auto serve = [](const std::string& request, std::chrono::milliseconds limit = 10s) {
    return ChildProcess::Serve(&ServeRequest, request, {limit, 0});
  };
  const ChildProcess::Outcome first = serve("pid");
  ASSERT_EQ(first.end, ChildProcess::End::Returned) << first.text;
  EXPECT_NE(first.text, std::to_string(::getpid()));
  EXPECT_EQ(serve("pid").text, first.text) << "the same child serves again";

  EXPECT_EQ(serve("throw").text, "asked to throw");
  const std::string afterThrow = serve("pid").text;
  EXPECT_NE(afterThrow, first.text) << "a child that threw is replaced";

  const ChildProcess::Outcome fault = serve("fault");
  EXPECT_EQ(fault.end, ChildProcess::End::Threw);
  EXPECT_NE(fault.text.find("SIGSEGV"), std::string::npos) << fault.text;
  const std::string afterFault = serve("pid").text;
  EXPECT_NE(afterFault, afterThrow);

  const ChildProcess::Outcome late = serve("sleep", 200ms);
  EXPECT_EQ(late.end, ChildProcess::End::Failed);
  EXPECT_EQ(late.text, "it ran past its limit of 0.2 s");
  const std::string current = serve("pid").text;
  EXPECT_NE(current, afterFault);

  // A process the host forks serves from children of its own, and leaves its parent's be.
  const pid_t forked = ::fork();
  if (forked == 0)
  {
    const ChildProcess::Outcome own = serve("pid");
    ::_exit(own.end == ChildProcess::End::Returned && own.text != current ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(forked, &status, 0), forked);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(serve("pid").text, current);
}
