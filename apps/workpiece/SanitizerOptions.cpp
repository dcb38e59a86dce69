// Built into the tool only in sanitizer builds. The STEP and IGES libraries keep registries for the
// life of the process; only a full unwind of each allocation lets the leak suppressions attribute
// them to those libraries. The tool loads no graphics driver, whose dlopen would not mix with it.
extern "C" const char* __asan_default_options()
{
  return "fast_unwind_on_malloc=0";
}
