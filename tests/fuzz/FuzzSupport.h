#ifndef XAN_TEST_FUZZ_SUPPORT_H
#define XAN_TEST_FUZZ_SUPPORT_H

namespace XAN_Test
{
// A property every input must keep: the fuzzer reports the input that breaks it.
inline void Require(bool bCondition)
{
    if (!bCondition)
    {
        __builtin_trap();
    }
}
} // namespace XAN_Test

#endif
