// What the sanitizers are asked for, in the program itself: the same however the program is started. Linked into every
// executable of a sanitized build, and into no other.

extern "C"
{
    const char* __asan_default_options();
    const char* __ubsan_default_options();
    const char* __tsan_default_options();

    const char* __asan_default_options()
    {
        return "external_symbolizer_path=" VEL_SYMBOLIZER
               ":detect_stack_use_after_return=1:strict_string_checks=1:check_initialization_order=1";
    }

    const char* __ubsan_default_options()
    {
        return "external_symbolizer_path=" VEL_SYMBOLIZER ":print_stacktrace=1";
    }

    const char* __tsan_default_options()
    {
        return "external_symbolizer_path=" VEL_SYMBOLIZER ":halt_on_error=1:second_deadlock_stack=1:history_size=4";
    }
}
