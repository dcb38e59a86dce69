// Built into the tool and its tests only in sanitizer builds. The STEP and IGES libraries keep
// registries for the life of the process; only a full unwind of each allocation lets the leak
// suppressions attribute them to those libraries.
#include <cstdlib>

// A damaged part file can make the kernel's reader ask for more memory than the read's budget
// allows; the kernel expects malloc to answer null then (and raises its own error), which the
// sanitizer's allocator does only when told to.
extern "C" const char* __asan_default_options()
{
  return "fast_unwind_on_malloc=0:allocator_may_return_null=1";
}

namespace
{
// `workpiece render` loads the graphics driver. Mesa's llvmpipe compiles its shaders with LLVM, which
// registers unwind tables while the unwinder holds its lock, and full unwinding of that allocation
// then waits on the same lock for ever. Mesa's softpipe draws the same pictures without compiling.
const int SoftpipeChosen = setenv("GALLIUM_DRIVER", "softpipe", 0);
} // namespace
