// A compiler library that offers dnkCompilerInit alone, under the last of the debug library's
// names; its handle tells which library answered.

namespace
{
char s_Handle[] = "libxanhsacl64.so";
}

extern "C" __attribute__((visibility("default"))) void* dnkCompilerInit(void*, void*)
{
    return s_Handle;
}
