// Built into the tool and its tests only in sanitizer builds. The STEP and IGES libraries keep
// registries for the life of the process; only a full unwind of each allocation lets the leak
// suppressions attribute them to those libraries. Neither program loads a graphics driver, whose
// dlopen does not mix with full unwinding.
extern "C" const char* __asan_default_options()
{
  return "fast_unwind_on_malloc=0";
}
