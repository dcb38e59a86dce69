#include <cadtools/ThreadPool.h>

#include <Message_ProgressRange.hxx>
#include <Message_ProgressScope.hxx>

#include <tbb/blocked_range.h>
#include <tbb/global_control.h>
#include <tbb/info.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <algorithm>
#include <vector>

namespace
{
// How many tasks or loop slices of any pool this thread is running, one inside another.
thread_local unsigned PoolWorkDepth = 0;
// The arena of a pool this thread works in, if any.
thread_local const tbb::task_arena* CurrentArena = nullptr;

// Marks the thread as working in `arena` while it lives.
class InArena
{
public:
  explicit InArena(const tbb::task_arena* arena) : myOuter(CurrentArena) { CurrentArena = arena; }
  ~InArena() { CurrentArena = myOuter; }
  InArena(const InArena&) = delete;
  InArena& operator=(const InArena&) = delete;

private:
  const tbb::task_arena* myOuter;
};

// The hardware threads this process may use.
unsigned HardwareThreads()
{
  return static_cast<unsigned>(std::max(1, tbb::info::default_concurrency()));
}
} // namespace

struct ThreadPool::Arenas
{
  explicit Arenas(unsigned threads) : loops(static_cast<int>(threads), 1), tasks(static_cast<int>(threads), 0), group(context)
  {
  }

  // Loops started outside the pool keep a slot for their caller, who works on them too: were
  // every slot a worker's, a caller finding them all still taken would hand its loop over and
  // wait, and the workers leaving the arena might not take it up.
  tbb::task_arena loops;
  // Submitted tasks leave every slot to a worker: their submitter waits on a future outside.
  tbb::task_arena tasks;
  // Isolated: bound to no caller's context, so that a loop cancelled by an error cancels no task
  // submitted from inside it.
  tbb::task_group_context context{tbb::task_group_context::isolated};
  tbb::task_group group;
};

ThreadPool::ThreadPool(unsigned threads) : mySize(std::clamp(threads, 1u, HardwareThreads()))
{
  // oneTBB starts one worker fewer than the hardware threads, counting on the caller to work
  // too; a caller waiting on a future does not, so the pool is given a worker for every thread.
  static const tbb::global_control workers(tbb::global_control::max_allowed_parallelism, HardwareThreads() + 1);
  myArenas = std::make_unique<Arenas>(mySize);
}

ThreadPool::~ThreadPool()
{
  myArenas->tasks.execute([this] { myArenas->group.wait(); });
}

bool ThreadPool::OnPoolThread()
{
  return PoolWorkDepth > 0;
}

void ThreadPool::RunAsTask(const std::function<void()>& job)
{
  struct Depth
  {
    Depth() { ++PoolWorkDepth; }
    ~Depth() { --PoolWorkDepth; }
  } depth;
  // Isolated: a thread waiting inside `job` takes only work spawned inside it, never a task whose
  // own wait could need the very frames it would sit upon.
  tbb::this_task_arena::isolate(job);
}

void ThreadPool::Enqueue(std::function<void()> job)
{
  myArenas->tasks.enqueue(myArenas->group.defer([this, job = std::move(job)] {
    const InArena in(&myArenas->tasks);
    job();
  }));
}

void ThreadPool::ParallelFor(std::size_t count, std::size_t grain,
                             const std::function<void(std::size_t, std::size_t)>& job)
{
  grain = std::max<std::size_t>(1, grain);
  const std::size_t slices = (count + grain - 1) / grain;
  const auto runSlice = [&](std::size_t slice) {
    RunAsTask([&] { job(slice * grain, std::min(count, (slice + 1) * grain)); });
  };
  if (slices == 1 || mySize == 1)
  {
    for (std::size_t slice = 0; slice < slices; ++slice)
      runSlice(slice);
    return;
  }
  // Its own context: an error in an enclosing loop lets this one finish rather than end it
  // half done under a task whose result someone else may be waiting for.
  tbb::task_group_context context(tbb::task_group_context::isolated);
  // A loop started in a task or slice of this pool stays in the arena it runs in.
  const bool nested = CurrentArena == &myArenas->loops || CurrentArena == &myArenas->tasks;
  const tbb::task_arena* arena = nested ? CurrentArena : &myArenas->loops;
  const auto loop = [&] {
    tbb::this_task_arena::isolate([&] {
      tbb::parallel_for(
        tbb::blocked_range<std::size_t>(0, slices, 1),
        [&](const tbb::blocked_range<std::size_t>& range) {
          const InArena in(arena);
          for (std::size_t slice = range.begin(); slice < range.end(); ++slice)
            runSlice(slice);
        },
        tbb::simple_partitioner(), context);
    });
  };
  if (nested)
    loop();
  else
    myArenas->loops.execute(loop);
}

bool ThreadPool::ParallelFor(std::size_t count, std::size_t grain,
                             const std::function<void(std::size_t, std::size_t)>& job,
                             const Message_ProgressRange& progress)
{
  grain = std::max<std::size_t>(1, grain);
  const std::size_t slices = (count + grain - 1) / grain;
  Message_ProgressScope scope(progress, nullptr, static_cast<double>(std::max<std::size_t>(1, slices)));
  // The ranges are taken here: a progress scope hands them out on one thread only.
  std::vector<Message_ProgressRange> ranges;
  ranges.reserve(slices);
  for (std::size_t i = 0; i < slices; ++i)
    ranges.push_back(scope.Next());
  std::atomic<bool> complete{true};
  ParallelFor(count, grain, [&](std::size_t begin, std::size_t end) {
    Message_ProgressRange& range = ranges[begin / grain];
    if (!complete || range.UserBreak())
    {
      complete = false;
      return;
    }
    job(begin, end);
    range.Close();
  });
  return complete;
}

ThreadPool& GetThreadPool()
{
  static ThreadPool pool(HardwareThreads());
  return pool;
}
