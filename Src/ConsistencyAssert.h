#ifndef CONSISTENCY_ASSERT_H
#define CONSISTENCY_ASSERT_H

// Reports a failed check of code that has no host at hand: the IL utilities and, through
// CCLMetadata::SetConsistencyReport, the kernel metadata. The debug library writes
// "Assert: <function> SDU_Assert( <condition> )" to its consistency log.
void SDU_ReportConsistencyAssert(const char* pFunction, const char* pCondition);

// A failed check of the IL utilities is reported, and the code behind it takes its own failure
// path.
#define SDU_ConsistencyAssert(condition)                                                           \
    do                                                                                             \
    {                                                                                              \
        if (!(condition))                                                                          \
        {                                                                                          \
            SDU_ReportConsistencyAssert(__func__, #condition);                                     \
        }                                                                                          \
    } while (0)

#endif
