// PoCL runs beside our platform in these tests, and LeakSanitizer's tracer crashes on its worker
// threads at exit: leaks are looked for in the other suites and in the compiler's fuzz target.
extern "C" int __lsan_is_turned_off()
{
    return 1;
}
