#ifndef XAN_TEST_FAKE_EXPORT_H
#define XAN_TEST_FAKE_EXPORT_H

// An exported function of a fake library: only its name matters to the loader's tests.
#define FAKE_EXPORT(name)                                                                          \
    extern "C" __attribute__((visibility("default"))) int name(void)                               \
    {                                                                                              \
        return 0;                                                                                  \
    }

#endif
